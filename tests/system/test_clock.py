"""A wall clock that is set while the agent waits delays nothing, be it a report, an announcement or
a new connection. The clock is the agent's alone: the machine's is never touched."""
import harness
import pytest
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, SteppedClock

HOUR_S = 3600
LATE_S = 3  # a second, as the main loop's deadlines are whole ones, and ease below its pause

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


def wait_next(controller, kind, seconds, cause=lambda: None):
    mark = controller.reports.mark()
    cause()
    return controller.wait_report(kind, seconds, mark)


def test_announcements_and_reports(controller, clock, stepped_agent):
    _, announced = controller.wait_report(DISCOVERY, EASE_S)
    clock.step(-HOUR_S)
    _, later = wait_next(controller, DISCOVERY, 5 + LATE_S)
    passed_ms = later["timestamp"] - announced["timestamp"]
    assert -HOUR_S * 1000 < passed_ms < (20 - HOUR_S) * 1000  # the agent really saw it
    wait_next(controller, DISCOVERY, LATE_S, lambda: clock.step(2 * HOUR_S))
    controller.ask(1034, SYSTEM_STATS)
    wait_next(controller, SYSTEM_STATS, 5 + LATE_S)
    clock.step(-HOUR_S)
    wait_next(controller, SYSTEM_STATS, 10 + LATE_S)


def test_reconnection(broker, controller, link, clock, stepped_agent):
    controller.wait_report(DISCOVERY, EASE_S)  # 5 s until the main loop looks again
    link.shut()
    link.cut()
    stepped_agent.wait_line("^COULD NOT CONNECT", EASE_S)
    clock.step(-HOUR_S)
    link.open()
    broker.wait_subscribed(2, 2 + LATE_S)
    wait_next(controller, DISCOVERY, 5 + 2 + LATE_S)
    assert broker.agent_sessions() == 2
