"""A flash that lasts longer than the broker waits for a sign of life, and reboots at its end: the
session lives, what is asked before it is answered during it, and its status is not lost."""
import time

import harness
import pytest
from firmware import BOARD, SYSUPGRADE_BOARD, UPDATA_STATS
from firmware import flash, statuses, tools_called, upgrade, wait_statuses
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, poll, set_tool

KEEP_ALIVE_S = 15
STATUS_LIMIT_S = 2  # how long a last status without a session holds up what may end the agent
BROKER_LIMIT_S = 1.5 * KEEP_ALIVE_S
STATIONS = 1005
AGENT_PID = harness.AP_DIR / "agent.pid"
# As a reboot that is faster than anything the agent might do after it.
FAST_REBOOT = f"kill -KILL $(cat {AGENT_PID})"


@pytest.fixture
def rebooted_agent(broker, device_tools, wifi_manager, own_tool, start_agent):
    """An agent whose end is the tool reboot."""
    own_tool("reboot", FAST_REBOOT)
    agent = start_agent()
    AGENT_PID.write_text(str(agent.process.pid))
    broker.wait_subscribed()
    return agent


def test_session_lives(broker, controller, rebooted_agent):
    controller.ask(1034, SYSTEM_STATS)
    mark = controller.reports.mark()
    tool_s = BROKER_LIMIT_S + 2
    set_tool("wifi", delay=2)
    set_tool("updata_rootfs.sh", delay=tool_s)
    for command in (1021, 1024, flash(save_config=1, reboot=1)):
        controller.send(command)
    poll(lambda: len(tools_called()) == 2, EASE_S, "both tools")
    begin = time.monotonic()
    # The question that was queued before the flash, and what the agent says every 10 s.
    controller.wait_report(STATIONS, EASE_S, mark)
    controller.wait_report(SYSTEM_STATS, KEEP_ALIVE_S, mark)
    controller.send(1026)  # behind the flash
    controller.wait_report(SYSTEM_STATS, 11, mark, 2)
    assert all(8.9 < gap < 11.1 for gap in harness.gaps(controller.times(SYSTEM_STATS, mark)))
    at, _ = controller.wait_report(UPDATA_STATS, tool_s + EASE_S, mark)
    assert tool_s - 0.5 < at - begin < tool_s + 1
    assert statuses(controller, mark) == [2]
    assert rebooted_agent.exit_status(EASE_S) == -9
    assert not controller.times(1007, mark)
    assert not controller.times(DISCOVERY, mark)
    assert broker.agent_sessions() == 1


@pytest.mark.parametrize(
    "command, wanted", [(1002, [202, 203]), (1032, [201, 202, 203]), (1033, [2])]
)
def test_fast_reboot_takes_no_status_along(controller, images, rebooted_agent, command, wanted):
    mark = controller.reports.mark()
    flashing = flash(save_config=1, reboot=1) if command == 1033 else None
    controller.send(flashing or upgrade(command, images, reboot="1"))
    assert rebooted_agent.exit_status(EASE_S) == -9
    wait_statuses(controller, mark, wanted)


@pytest.mark.parametrize("command, tool", [(1033, "reboot"), (1032, "sysupgrade")])
def test_no_session_at_all(controller, link, images, linked_agent, command, tool):
    BOARD.write_text(SYSUPGRADE_BOARD)
    link.shut()
    if command == 1033:
        set_tool("updata_rootfs.sh", delay=1)
        controller.send(flash(save_config=1, reboot=1))
        poll(tools_called, EASE_S, "flashing tool")
    else:
        images.hold()
        controller.send(upgrade(command, images))
        poll(lambda: images.requests, EASE_S, "download")
    link.cut()
    images.let_go()
    said, _ = linked_agent.wait_line('"updata_stats": (2|203) ', EASE_S)
    poll(lambda: (tools_called() or [""])[-1].startswith(tool), STATUS_LIMIT_S + EASE_S, tool)
    assert STATUS_LIMIT_S - 0.5 < time.monotonic() - said < STATUS_LIMIT_S + 2
