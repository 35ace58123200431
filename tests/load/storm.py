"""A few seconds in which much happens to an agent at once, at moments drawn beforehand: a flash, an
upgrade, commands that end the session, lost connections, steps of its clock, and SIGTERM. Then the
account: what the agent owes by its log and by what its tools were told to end with, and what of it
has arrived.
"""
import collections
import json
import re
import signal
import time

import firmware
import harness
from firmware import flash, statuses, upgrade

SPAN_S = 4
LONG_TOOL_S = (12, 26)  # about the keep-alive, and what the broker waits for a sign of life
LONG_TOOLS = 0.2  # of all
SETTLED_S = 45  # a pass of the main loop and an attempt to connect, and much ease
LAST_ATTEMPT_S = 3

# Nobody can tell whether a status that was sent within so much of a loss was sent before it: it may
# have gone with the connection.
IN_FLIGHT_S = 0.1

SESSION_ENDERS = [
    {"type": 1014},
    {"type": 1029},
    {"type": 1030},
    {"type": 1011, "data": {"uci_network_lan": {"proto": "static", "gateway": "192.168.1.254"}}},
    {"type": 1012, "data": {"uci_network_wan": {"proto": "dhcp"}}},
    {"type": 1013, "data": {"uci_network_wan6": {"ip6prefix": "fd00::/48"}}},
]
# What an upgrade differs in from one that succeeds.
UPGRADES = [
    {},
    {"md5sum": "0" * 32},
    {"image_name": firmware.MISSING},
    {"image_name": firmware.CUT_SHORT},
]
STALLED = {"image_name": firmware.STALLED}
STEPS_S = [-3600, -30, -1, 1, 30, 3600]

ASKED = r"^process_msg->type (1011|1012|1013|1014|1029|1030)$"
BEGUN = r"^process_msg->type 1002$|^QV_INFO: flashing rootfs:"
DROPPED = re.compile(r"^QV_ERR: (\d+) reports dropped, no session with the broker$")
FLASHED, FLASHING, DONE, FLASHING_FAILED = 2, 202, 203, -3
ENDS = (-1, -2, FLASHING_FAILED, DONE)


class Storm:
    """What is to happen, drawn from `chance`; and what did, with the agent, link, controller,
    images and clock of the soak."""

    def __init__(self, chance, soak, stops):
        self.soak = soak
        self.stops = stops
        long = soak.long_tools and chance.random() < LONG_TOOLS
        self.tool_s = round(chance.uniform(*(LONG_TOOL_S if long else (0.1, SPAN_S))), 1)
        self.exit_status = chance.choice([0, chance.randrange(1, 256)])
        self.losses, self.lost = [], 0
        self.calls_allowed = None
        self.plan = self._draw(chance)

    def _draw(self, chance):
        plan = []

        def add(what, *details, at=None):
            plan.append((chance.uniform(0, SPAN_S) if at is None else at, what, *details))

        add("send", flash(save_config=0))
        ending = chance.choice(UPGRADES + [STALLED] * self.stops)
        add("send", upgrade(chance.choice([1002, 1032]), self.soak.images, **ending))
        for _ in range(chance.randrange(3)):
            add("send", chance.choice(SESSION_ENDERS))
        for _ in range(chance.randrange(4)):
            lost = chance.uniform(0, SPAN_S)
            add("lose", at=lost)
            add("restore", at=lost + chance.choice([0, 0, 1, 3]))
        for _ in range(chance.randrange(3)):
            add("step", chance.choice(STEPS_S))
        if self.stops:
            stop = chance.uniform(SPAN_S / 4, SPAN_S)
            add("stop", at=stop)
            add("allow_no_more", at=stop + 1)
        return sorted(plan, key=lambda event: event[0])

    def __str__(self):
        events = "\n".join(f"  {at:4.1f} s {what} {details}" for at, what, *details in self.plan)
        return f"tools last {self.tool_s} s and end with {self.exit_status}\n{events}"

    # --- What happens ---

    def send(self, command):
        self.soak.send(command)

    def lose(self):
        self.losses.append(time.monotonic())
        self.soak.link.shut()
        self.lost += self.soak.link.cut()

    def restore(self):
        self.soak.link.open()

    def step(self, seconds):
        if self.soak.clock is not None:
            self.soak.clock.step(seconds)

    def stop(self):
        self.soak.agent.process.send_signal(signal.SIGTERM)

    def allow_no_more(self):
        self.calls_allowed = len(harness.tool_calls())

    def run(self):
        """Until all is settled; fails when something is owed then."""
        harness.set_tool("updata_rootfs.sh", self.exit_status, self.tool_s)
        self.log = self.soak.agent.log.mark()
        self.reports = self.soak.controller.reports.mark()
        self.calls = len(harness.tool_calls())
        self.accepted = len(self.soak.link.accepted)
        begin = time.monotonic()
        for at, what, *details in self.plan:
            time.sleep(max(0.0, begin + at - time.monotonic()))
            getattr(self, what)(*details)
        if self.stops:
            self._end()
        else:
            self.soak.answers(SETTLED_S + 2 * self.tool_s)
        try:
            harness.poll(lambda: not self.owed(), 2 if self.stops else SETTLED_S, "balance")
        except harness.Deadline:
            raise AssertionError(f"owed: {self.owed()}\n{self}\n{self._log()}") from None
        faults = self._faults()
        assert not faults, f"{faults}\n{self}\n{self._log()}"
        harness.set_tool("updata_rootfs.sh")

    def _end(self):
        """A tool of each kind may be under way."""
        status = self.soak.agent.exit_status(2 * self.tool_s + LAST_ATTEMPT_S + 2)
        assert status == 0, f"the agent ended with {status}\n{self}"

    # --- The account ---

    def _lines(self, pattern):
        return self.soak.agent.lines(pattern, self.log)

    def _log(self):
        kept = (
            r"^(PUB MSG|process_msg->type 1[^0]|process_msg->type 10[012]|hdr|QV|COULD|Disc|sm->)"
        )
        return "\n".join(f"{at:.2f} {line[:300]}" for at, line in self._lines(kept)[-60:])

    def _published(self):
        """Times and numbers of the statuses that the agent says it published."""
        lines = self._lines(r'^PUB MSG: .*"type": 1015,')
        return [
            (at, json.loads(line.partition(" msg=")[2])["data"]["updata_stats"])
            for at, line in lines
        ]

    def _in_flight(self):
        return collections.Counter(
            status
            for at, status in self._published()
            if any(abs(at - loss) < IN_FLIGHT_S for loss in self.losses)
        )

    def _dropped(self):
        return sum(int(DROPPED.match(line)[1]) for _, line in self._lines(DROPPED.pattern))

    def _of_tools(self):
        """The statuses that the tools' calls and outcomes owe. An upgrade keeps configurations."""
        flashes = upgrades = 0
        for call in harness.tool_calls()[self.calls :]:
            if call["tool"] == "updata_rootfs.sh":
                flashes += call["args"][0] == "-n"
                upgrades += call["args"][0] != "-n"
        flashed = FLASHED if self.exit_status == 0 else -256 * self.exit_status
        end = DONE if self.exit_status == 0 else FLASHING_FAILED
        return collections.Counter({flashed: flashes, FLASHING: upgrades, end: upgrades})

    def owed(self):
        """What is still to come, in words; empty when nothing is."""
        published = collections.Counter(status for _, status in self._published())
        arrived = collections.Counter(statuses(self.soak.controller, self.reports))
        missing = published - arrived - self._in_flight()
        owed = []
        if unsaid := self._of_tools() - published:
            owed.append(f"of tools: {dict(unsaid)}")
        begun = len(self._lines(BEGUN))
        if (ended := sum(published[end] for end in ENDS)) != begun:
            owed.append(f"ends of upgrades: {begun} begun, {ended} ended")
        if missing.total() > self._dropped():
            owed.append(f"on their way: {dict(missing)}, {self._dropped()} dropped")
        asked = self._lines(ASKED)
        if asked and not self.stops and asked[-1][0] > self.soak.link.accepted[-1]:
            owed.append("a session that was asked for")
        return owed

    def _faults(self):
        faults = []
        published = collections.Counter(status for _, status in self._published())
        arrived = collections.Counter(statuses(self.soak.controller, self.reports))
        if twice := arrived - published:
            faults.append(f"arrived more often than published: {dict(twice)}")
        made = len(self.soak.link.accepted) - self.accepted
        if made > self.lost + len(self._lines(ASKED)):
            faults.append(f"{made} connections for {self.lost} lost ones")
        calls = len(harness.tool_calls())
        if self.stops and calls > self.calls_allowed:
            faults.append(f"{calls - self.calls_allowed} tools called after SIGTERM")
        return faults

    def totals(self):
        """Of this storm, for the sum of all."""
        arrived = statuses(self.soak.controller, self.reports)
        lost = len(self._published()) - len(arrived) - self._dropped()
        return collections.Counter(
            storms=1,
            losses=self.lost,
            asks=len(self._lines(ASKED)),
            connections=len(self.soak.link.accepted) - self.accepted,
            statuses=len(arrived),
            dropped=self._dropped(),
            in_flight=max(lost, 0),
            stops=int(self.stops),
        )
