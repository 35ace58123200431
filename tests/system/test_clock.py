"""A wall clock that is set while the agent waits delays nothing, be it a report, an announcement or
a new connection. The clock is the agent's alone: the machine's is never touched."""
import struct

import harness
import pytest
from harness import DISCOVERY, SYSTEM_STATS

HOUR_S = 3600
LATE_S = 1.5  # a second, as the main loop's deadlines are whole ones, and some ease
LIBRARY = harness.BUILD_DIR / "stepped_clock.so"

pytestmark = pytest.mark.skipif(harness.emulated(), reason="a native library cannot be preloaded")


class SteppedClock:
    FILE = harness.AP_DIR / "stepped_clock"

    def __init__(self):
        self._ahead = 0
        self.FILE.write_bytes(bytes(8))

    def step(self, seconds):
        self._ahead += seconds
        with open(self.FILE, "r+b") as file:
            file.write(struct.pack("=q", self._ahead * 10**9))


@pytest.fixture
def clock():
    return SteppedClock()


@pytest.fixture
def stepped_agent(broker, wifi_manager, link, clock, start_agent, monkeypatch):
    """An agent with a session over the link and a wall clock of its own."""
    assert LIBRARY.exists()
    with monkeypatch.context() as environment:
        environment.setenv("STEPPED_CLOCK", str(clock.FILE))
        environment.setenv("LD_PRELOAD", str(LIBRARY))
        environment.setenv("ASAN_OPTIONS", "verify_asan_link_order=0")
        agent = start_agent()
    broker.wait_subscribed()
    return agent


def wait_next(controller, kind, seconds):
    mark = controller.reports.mark()
    return controller.wait_report(kind, seconds, mark)


def test_announcements_and_reports(controller, clock, stepped_agent):
    _, announced = wait_next(controller, DISCOVERY, 4)
    clock.step(-HOUR_S)
    _, later = wait_next(controller, DISCOVERY, 5 + LATE_S)
    passed_ms = later["timestamp"] - announced["timestamp"]
    assert -HOUR_S * 1000 < passed_ms < (20 - HOUR_S) * 1000  # the agent really saw it
    clock.step(2 * HOUR_S)
    wait_next(controller, DISCOVERY, LATE_S)
    controller.send(1034)
    wait_next(controller, SYSTEM_STATS, 2)
    wait_next(controller, SYSTEM_STATS, 5 + LATE_S)
    clock.step(-HOUR_S)
    wait_next(controller, SYSTEM_STATS, 10 + LATE_S)


def test_reconnection(broker, controller, link, clock, stepped_agent):
    link.shut()
    link.cut()
    stepped_agent.wait_line("^COULD NOT CONNECT", 3)
    clock.step(-HOUR_S)
    link.open()
    broker.wait_subscribed(2, 2 + LATE_S)
    wait_next(controller, DISCOVERY, 5 + 2 + LATE_S)
    assert broker.agent_sessions() == 2
