"""A wifi manager that is absent or out of order costs the report its numbers, nothing else."""
import pytest
from harness import EASE_S, SYSTEM_STATS

LIBRARY_TIMEOUT = 5  # seconds that the support library waits for a reply


def system_stats(controller, agent, timeout, sound=True):
    """Asks until a report made with a sound wifi manager comes, or one made without.

    The agent's own reports come between, and may have been begun before a fault was switched.
    """

    def wanted(report):
        return report["type"] == SYSTEM_STATS and sound == (
            report["data"]["system_stats"]["uptime"] > 0
        )

    mark = controller.reports.mark()
    controller.send(1034)
    _, report = controller.reports.wait(wanted, timeout, mark, what=f"report, sound: {sound}")
    agent.wait_line(f'^PUB MSG: .*"timestamp": {report["timestamp"]},', EASE_S)
    return report["data"]["system_stats"]


# What is left of the record, and the seconds within which the report must come.
@pytest.mark.parametrize(
    "fault, hw_name, within",
    [
        ("absent", "", 4),
        ("silent", "", LIBRARY_TIMEOUT + EASE_S),
        ("short", "KX7310", 4),
        ("close", "", 4),
        ("long", "", 4),
        ("wrong-id", "", 4),
    ],
)
def test_faulty_wifi_manager(controller, wifi_manager, agent, fault, hw_name, within):
    assert system_stats(controller, agent, EASE_S)["hw_name"] == "KX7310"
    if fault == "absent":
        wifi_manager.stop()
    else:
        wifi_manager.behave(f"4 {fault}")
    mark = agent.log.mark()
    stats = system_stats(controller, agent, within, sound=False)
    assert stats.pop("hw_name") == hw_name
    assert set(stats.values()) == {"", 0}
    assert bool(agent.lines("^qv_get_system_stats: HW Name: ", mark)) == bool(hw_name)

    if fault == "absent":
        wifi_manager.start()
    else:
        wifi_manager.behave("")
    assert system_stats(controller, agent, LIBRARY_TIMEOUT + EASE_S)["hw_name"] == "KX7310"
