"""A wall clock that is set while the agent waits delays nothing, be it a report, an announcement or
a new connection. The clock is the agent's alone: the machine's is never touched."""
import harness
import pytest
from harness import DISCOVERY, SYSTEM_STATS, SteppedClock

HOUR_S = 3600
LATE_S = 1.5  # a second, as the main loop's deadlines are whole ones, and some ease

pytestmark = pytest.mark.skipif(harness.emulated(), reason="a native library cannot be preloaded")


@pytest.fixture
def clock():
    return SteppedClock()


@pytest.fixture
def stepped_agent(broker, wifi_manager, link, clock, start_agent):
    """An agent with a session over the link and a wall clock of its own."""
    agent = start_agent(**clock.environment())
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
    mark = controller.reports.mark()
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, 2, mark)
    wait_next(controller, SYSTEM_STATS, 5 + LATE_S)
    clock.step(-HOUR_S)
    wait_next(controller, SYSTEM_STATS, 10 + LATE_S)


def test_reconnection(broker, controller, link, clock, stepped_agent):
    wait_next(controller, DISCOVERY, 4)  # 5 s until the main loop looks again
    link.shut()
    link.cut()
    stepped_agent.wait_line("^COULD NOT CONNECT", 3)
    clock.step(-HOUR_S)
    link.open()
    broker.wait_subscribed(2, 2 + LATE_S)
    wait_next(controller, DISCOVERY, 5 + 2 + LATE_S)
    assert broker.agent_sessions() == 2
