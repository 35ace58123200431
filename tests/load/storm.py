"""A few seconds in which much happens to an agent at once, at moments drawn beforehand: a flash, an
upgrade, commands that end the session, lost connections, steps of its clock, and SIGTERM. Then the
account: what the agent owes by its log and by what its tools were told to end with, and what of it
has arrived.
"""
import re
import signal
import time
from collections import Counter

import contract
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

# What an upgrade differs in from one that succeeds.
UPGRADES = [
    {},
    {"md5sum": "0" * 32},
    {"image_name": firmware.MISSING},
    {"image_name": firmware.CUT_SHORT},
]
STALLED = {"image_name": firmware.STALLED}
STEPS_S = [-3600, -30, -1, 1, 30, 3600]

ASKED = rf"^process_msg->type ({'|'.join(map(str, sorted(contract.RECONNECTING)))})$"
BEGUN = r"^process_msg->type 1002$|^QV_INFO: flashing rootfs:"
PUBLISHED = r'^PUB MSG: .*"type": 1015,.*"updata_stats": (-?\d+)'
DROPPED = r"^QV_ERR: (\d+) reports dropped, no session with the broker$"
FLASHED, FLASHING, DONE, FLASHING_FAILED = 2, 202, 203, -3
ENDS = (-1, -2, FLASHING_FAILED, DONE)


class Storm:
    """What is to happen, drawn from `chance`; and what did, with the agent, link, controller,
    images and clock of the soak."""

    def __init__(self, chance, soak, stops):
        self.soak, self.agent, self.link = soak, soak.agent, soak.link
        self.stops = stops
        long = soak.long_tools and chance.random() < LONG_TOOLS
        self.tool_s = round(chance.uniform(*(LONG_TOOL_S if long else (0.1, SPAN_S))), 1)
        self.exit_status = chance.choice([0, chance.randrange(1, 256)])
        self.losses, self.lost = [], 0
        self.plan = sorted(self._draw(chance), key=lambda event: event[0])

    def _draw(self, chance):
        """Moment, what happens, and its details."""

        def any_time():
            return chance.uniform(0, SPAN_S)

        yield any_time(), self.soak.send, flash(save_config=0)
        ending = chance.choice(UPGRADES + [STALLED] * self.stops)
        command = chance.choice([1002, 1032])
        yield any_time(), self.soak.send, upgrade(command, self.soak.images, **ending)
        for _ in range(chance.randrange(3)):
            command = chance.choice(sorted(contract.RECONNECTING))
            yield any_time(), self.soak.send, contract.EXAMPLES[command]
        for _ in range(chance.randrange(4)):
            lost = any_time()
            yield lost, self.lose
            yield lost + chance.choice([0, 0, 1, 3]), self.link.open
        for _ in range(chance.randrange(3) if self.soak.clock else 0):
            yield any_time(), self.soak.clock.step, chance.choice(STEPS_S)
        if self.stops:
            stop = chance.uniform(SPAN_S / 4, SPAN_S)
            yield stop, self.agent.process.send_signal, signal.SIGTERM

    def lose(self):
        self.losses.append(time.monotonic())
        self.link.shut()
        self.lost += self.link.cut()

    def run(self):
        """Until all is settled; fails when something is owed then."""
        harness.set_tool("updata_rootfs.sh", self.exit_status, self.tool_s)
        self.log = self.agent.log.mark()
        self.reports = self.soak.controller.reports.mark()
        self.calls = len(harness.tool_calls())
        self.accepted = len(self.link.accepted)
        begin = time.monotonic()
        for at, do, *details in self.plan:
            time.sleep(max(0.0, begin + at - time.monotonic()))
            do(*details)
        if self.stops:  # a tool of each kind may be under way
            status = self.agent.exit_status(2 * self.tool_s + LAST_ATTEMPT_S + 2)
            assert status == 0, f"the agent ended with {status}\n{self}"
        else:
            self.soak.answers(SETTLED_S + 2 * self.tool_s)
        try:
            harness.poll(lambda: not self.owed(), 2 if self.stops else SETTLED_S, "balance")
        except harness.Deadline:
            raise AssertionError(f"owed: {self.owed()}\n{self}") from None
        faults = self._faults()
        assert not faults, f"{faults}\n{self}"
        harness.set_tool("updata_rootfs.sh")

    def __str__(self):
        events = [f"{at:4.1f} s {do.__name__} {details}" for at, do, *details in self.plan]
        kept = self._lines(r"^(PUB MSG|process_msg->type 1(?!03[45])|hdr|QV|COULD|Disc|sm->)")
        log = [f"{at:.2f} {line[:300]}" for at, line in kept[-60:]]
        tools = f"tools last {self.tool_s} s and end with {self.exit_status}"
        return "\n".join([tools, *events, *log])

    # --- The account ---

    def _lines(self, pattern):
        return self.agent.lines(pattern, self.log)

    def _published(self):
        """Times and numbers of the statuses that the agent says it published."""
        return [(at, int(re.match(PUBLISHED, line)[1])) for at, line in self._lines(PUBLISHED)]

    def _statuses(self):
        """How often each was published, and arrived."""
        arrived = statuses(self.soak.controller, self.reports)
        return Counter(status for _, status in self._published()), Counter(arrived)

    def _in_flight(self):
        return Counter(
            status
            for at, status in self._published()
            if any(abs(at - loss) < IN_FLIGHT_S for loss in self.losses)
        )

    def _dropped(self):
        return sum(int(re.match(DROPPED, line)[1]) for _, line in self._lines(DROPPED))

    def _of_tools(self):
        """The statuses that the tools' calls and outcomes owe. An upgrade keeps configurations."""
        calls = harness.tool_calls()[self.calls :]
        flashing = [call["args"][0] == "-n" for call in calls if call["tool"] == "updata_rootfs.sh"]
        flashes, upgrades = flashing.count(True), flashing.count(False)
        flashed = FLASHED if self.exit_status == 0 else -256 * self.exit_status
        end = DONE if self.exit_status == 0 else FLASHING_FAILED
        return Counter({flashed: flashes, FLASHING: upgrades, end: upgrades})

    def owed(self):
        """What is still to come, in words; empty when nothing is."""
        published, arrived = self._statuses()
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
        if asked and not self.stops and asked[-1][0] > self.link.accepted[-1]:
            owed.append("a session that was asked for")
        return owed

    def _faults(self):
        faults = []
        published, arrived = self._statuses()
        if twice := arrived - published:
            faults.append(f"arrived more often than published: {dict(twice)}")
        made = len(self.link.accepted) - self.accepted
        if made > self.lost + len(self._lines(ASKED)):
            faults.append(f"{made} connections for {self.lost} lost ones")
        return faults
