"""A wifi manager that is absent or out of order costs the report its numbers, nothing else."""
import pytest
from harness import SYSTEM_STATS

TEXTS = ["hw_name", "fwinfo", "hostname", "model", "kernel_version", "loadavg", "equipment_notes"]
NUMBERS = ["cpu_usage", "max_memory", "max_memory_used", "max_disk_space", "max_disk_space_used"]
ORDER = ["hw_name", "fwinfo", "hostname", *NUMBERS, "uptime"]
ORDER += ["model", "kernel_version", "loadavg", "equipment_notes"]
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
    agent.wait_line(f'^PUB MSG: .*"timestamp": {report["timestamp"]},', 2)
    return report["data"]["system_stats"]


def assert_sound(stats):
    assert list(stats) == ORDER
    assert stats["hw_name"] == "KX7310"


# What is left of the record, and the seconds within which the report must come.
@pytest.mark.parametrize(
    "fault, hw_name, within",
    [
        ("absent", "", 2),
        ("silent", "", LIBRARY_TIMEOUT + 2),
        ("wrong-id", "", 2),
        ("short", "KX7310", 2),
        ("close", "", 2),
    ],
)
def test_faulty_wifi_manager(controller, wifi_manager, agent, fault, hw_name, within):
    assert_sound(system_stats(controller, agent, 2))
    if fault == "absent":
        wifi_manager.stop()
    else:
        wifi_manager.behave(f"4 {fault}")
    mark = agent.log.mark()
    stats = system_stats(controller, agent, within, sound=False)
    assert list(stats) == ORDER
    assert {key: stats[key] for key in NUMBERS + ["uptime"]} == dict.fromkeys(
        NUMBERS + ["uptime"], 0
    )
    assert [stats[key] for key in TEXTS] == [hw_name] + [""] * (len(TEXTS) - 1)
    assert bool(agent.lines("^qv_get_system_stats: HW Name: ", mark)) == bool(hw_name)

    if fault == "absent":
        wifi_manager.start()
    else:
        wifi_manager.behave("")
    assert_sound(system_stats(controller, agent, LIBRARY_TIMEOUT + 2))


def test_reply_longer_than_offered_harms_nothing(controller, wifi_manager, agent):
    wifi_manager.behave("4 long")
    mark = controller.reports.mark()
    controller.send(1034)
    _, report = controller.wait_report(SYSTEM_STATS, 2, mark)
    assert list(report["data"]["system_stats"]) == ORDER
    wifi_manager.behave("")
    assert_sound(system_stats(controller, agent, 2))


@pytest.mark.parametrize("fault", ["close", "wrong-id"])
def test_failed_poll_is_logged_and_publishes_nothing(controller, wifi_manager, agent, fault):
    wifi_manager.behave(f"1 {fault}")
    controller.send(1035)
    agent.wait_line("^QV_ERR: failed to fetch wifi stats..$", 2)
    wifi_manager.behave("")
    assert_sound(system_stats(controller, agent, 2))
    lines = [line for _, line in agent.log.items()]
    handled = lines.index("process_msg->type 1035")
    following = next(i for i in range(handled + 1, len(lines)) if lines[i].startswith("process_msg"))
    between = lines[handled:following]
    assert not [line for line in between if line.startswith("PUB MSG") and "discovery" not in line]
