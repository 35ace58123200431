#!/usr/bin/python3
"""Keeps an agent busy inside a simulated access point, takes the broker and the wifi manager away
now and then, loses its connection and sets its clock in the middle of firmware commands, and
watches its memory, descriptors and threads. The last agents are ended in the middle of all that.

Exit status 1 when the agent stops answering, ends badly, owes a status, connects too often, or uses
more at the end than in the first rounds of everything. The same seed gives the same order of
things; their moments are those of the machine.
"""
import argparse
import itertools
import os
import pathlib
import random
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[2] / "bench"))
import gauge  # finds the system tests' modules
import contract
import firmware
import harness
import stand_ins
import storm
from harness import SYSTEM_STATS, SteppedClock

# The heap's high-water mark moves with the order of things, up and down; a leak only goes up. What
# the first rounds have reached is where it is measured from.
WARM_ROUNDS = 3
GROWTH_KIB = 384
ANSWER_S = 20

# The part of the time that is left for agents that are stopped, and the fewest of them.
STOPPING = 0.1
STOPS = 2

STORMS = 3  # in a round
# Less is to show that the soak works: two rounds, of one storm and no tool that takes long, and
# one agent that is stopped.
SHORT_MINUTES = 5

# What every text of a command becomes in turn, if it names nothing.
TEXTS = ["", "0", "x" * 19, "'; echo 1; '", "\u00e9\u4e2d\U0001f4e1", '"\\/\n', "y" * 400]
NAMES = {"ifname", "radio_name"}
BROKEN = [b"", b"{", b"[]", b"\xff\xfe", b"null", b'{"type":1024', b'{"type":1e9}', b"7" * 70000]
TOOLS = {"date", "passwd", "updata_rootfs.sh", "wifi"}
READS = [1023, 1024, 1025, 1026, 1027, 1028, 1031, 1034]
ONCE = [1016, 1033]  # a password takes a second, and a flash its tool's time
UPGRADES = [1002, 1032]


def with_text(value, text):
    if isinstance(value, dict):
        return {key: old if key in NAMES else with_text(old, text) for key, old in value.items()}
    if isinstance(value, list):
        return [with_text(entry, text) for entry in value]
    return text if isinstance(value, str) else value


def everything(chance):
    """Every command that leaves the session alone and downloads nothing, with every text, in any
    order; and what is no command."""
    often = [
        example
        for number, example in contract.EXAMPLES.items()
        if number not in (*ONCE, *UPGRADES, *contract.RECONNECTING)
    ]
    deck = [with_text(command, text) for command in often for text in TEXTS] + often
    deck += BROKEN + [contract.EXAMPLES[number] for number in ONCE]
    chance.shuffle(deck)
    return deck


class Soak:
    def __init__(self, seed, short):
        self.chance = random.Random(seed)
        self.storms, self.long_tools = 1 if short else STORMS, not short
        self.broker = harness.Broker().start()
        self.wifi_manager = harness.WifiManager()
        firmware.BOARD.write_text(firmware.ROOTFS_BOARDS[0])  # which does not restart by itself
        self.images = firmware.ImageServer()
        self.start_wifi_manager()
        self.link = stand_ins.Link(1884)
        harness.edit_store("system", "option port '1883'", f"option port '{self.link.port}'")
        self.clock = None if harness.emulated() else SteppedClock()
        self.controller = harness.Controller("qv/device_" + os.environ["AP_MAC"]).connect()
        self.start_agent()
        self.sent = 0
        self.stopped = 0
        self.deck = []

    def start_agent(self):
        subscribed = self.broker.agent_subscriptions()
        self.agent = harness.Agent(**(self.clock.environment() if self.clock else {}))
        self.broker.wait_subscribed(subscribed + 1, ANSWER_S)

    def start_wifi_manager(self):
        self.wifi_manager.start("--stations", "255", "--vaps", "8", "--freqs", "85")

    def send(self, command):
        self.controller.send(command, valid=None)
        self.sent += 1

    def answers(self, limit=2 * ANSWER_S):
        """Until a question is answered."""
        self.controller.ask_until_answered(1034, SYSTEM_STATS, limit)
        assert self.agent.process.poll() is None, "the agent has ended"

    def commands(self, count):
        mark = self.controller.reports.mark()
        for _ in range(count):
            command = self.deck.pop()
            self.send(command)
            if command == contract.EXAMPLES[1033]:  # its status is of no storm
                self.controller.wait_report(firmware.UPDATA_STATS, ANSWER_S, mark)
            time.sleep(0.01)

    def storm(self, stops=False):
        storm.Storm(self.chance, self, stops).run()
        self.stopped += stops

    def stop_and_start(self):
        """An agent that is ended in a storm, and the next one."""
        self.storm(stops=True)
        self.agent.close()
        self.link.open()
        self.start_agent()
        self.forget()

    def upgrades(self):
        """In the foreground and in the background, with every end."""
        endings = self.chance.sample(storm.UPGRADES, len(storm.UPGRADES))
        for command, changes in zip(itertools.cycle(UPGRADES), endings):
            self.send(firmware.upgrade(command, self.images, **changes))
            self.answers()
        # An answer may be to an earlier question: no status may be left for the next account.
        harness.poll(self._upgrades_told, ANSWER_S, "the end of every upgrade")

    def _upgrades_told(self):
        told = [it in storm.ENDS for it in firmware.statuses(self.controller, 0)]
        return sum(told) == len(self.agent.lines(storm.BEGUN))

    def broker_restart(self):
        self.broker.kill()
        time.sleep(self.chance.choice([0, 2.5]))
        self.broker.start()
        self.controller.reconnect()

    def wifi_manager_outage(self):
        self.wifi_manager.stop()
        for command in self.chance.sample(READS, 4):
            self.send(command)
        time.sleep(1)
        self.start_wifi_manager()

    def wifi_manager_faults(self, count):
        fault = self.chance.choice(["wrong-id", "short", "long", "close", "refuse"])
        self.wifi_manager.behave(f"all {fault}")
        self.commands(count)
        self.answers()
        self.wifi_manager.behave("")

    def forget(self):
        for timeline in (self.controller.reports, self.agent.log, self.wifi_manager.log):
            timeline.clear()

    def round(self):
        """Everything once, in an order of its own. Returns what the agent uses when it is done."""
        self.deck = everything(self.chance)
        part = len(self.deck) // 5
        steps = [lambda: self.commands(part)] * 4 + [lambda: self.wifi_manager_faults(part)]
        steps += [self.storm] * self.storms
        steps += [self.broker_restart, self.upgrades, self.wifi_manager_outage]
        self.chance.shuffle(steps)
        for step in steps:
            step()
            self.answers()
            self.forget()
        time.sleep(0.5)
        return gauge.usage(self.agent.process)

    def close(self):
        for part in (self.agent, self.controller, self.link, self.wifi_manager, self.broker):
            part.close()
        self.images.close()
        unused = TOOLS - {call["tool"] for call in harness.tool_calls()}
        assert self.images.requests and not unused, f"never called: {unused}"


def growth(warm, after):
    """What has grown beyond its noise. Only the agent's own memory counts: pages of code come with
    the first outage that needs them. Memory that a sanitizer keeps on purpose does not."""
    noise = {"own": GROWTH_KIB, "descriptors": 0, "threads": 0}
    if harness.sanitized():
        del noise["own"]
    return [
        what
        for what, ease in noise.items()
        if getattr(after, what) > max(getattr(usage, what) for usage in warm) + ease
    ]


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("minutes", type=float, nargs="?", default=30)
    parser.add_argument("--seed", type=int, default=int(time.time()))
    arguments = parser.parse_args()
    gauge.place_guest()
    print(f"soak: {arguments.minutes:g} minutes, seed {arguments.seed}", flush=True)

    begin = time.monotonic()
    short = arguments.minutes < SHORT_MINUTES
    warm_rounds, stops = (1, 1) if short else (WARM_ROUNDS, STOPS)
    soak = Soak(arguments.seed, short)
    usages = []
    end = begin + 60 * arguments.minutes
    rounds_end = end - STOPPING * 60 * arguments.minutes
    while len(usages) <= warm_rounds or time.monotonic() < rounds_end:
        usages.append(soak.round())
        spent = time.monotonic() - begin
        print(f"{spent:6.0f} s  {soak.sent:7} commands  {usages[-1]}", flush=True)
    while soak.stopped < stops or time.monotonic() < end:
        soak.stop_and_start()
    soak.close()
    grown = growth(usages[:warm_rounds], usages[-1])
    print(f"soak: {'grown: ' + ', '.join(grown) if grown else 'no growth'}")
    return int(bool(grown))


if __name__ == "__main__":
    sys.exit(main())
