"""SIGTERM while a flashing tool is at work: the tool is waited for, and its status delivered before
the agent leaves, or named as dropped."""
import signal
import time

import pytest
from firmware import flash, statuses, tools_called, wait_statuses
from harness import poll, set_tool

KEEP_ALIVE_S = 15
LAST_ATTEMPT_S = 3
TOOL_S = 3
DROPPED = r"^QV_ERR: 1 reports dropped, no session with the broker$"


def stop_during_flash(controller, agent, seconds):
    """Returns when the tool will be done."""
    set_tool("updata_rootfs.sh", delay=seconds)
    for _ in range(2):
        controller.send(flash(save_config=1))
    poll(tools_called, 3, "flashing tool")
    begin = time.monotonic()
    time.sleep(0.2)
    agent.process.send_signal(signal.SIGTERM)
    return begin + seconds


def end(agent, done, within):
    """The agent ends so soon after the tool, and has not begun the other command."""
    assert agent.exit_status(done - time.monotonic() + within) == 0
    assert time.monotonic() > done - 0.1
    assert len(tools_called()) == 1


def test_flash_longer_than_the_keep_alive(broker, controller, device_tools, agent):
    mark = controller.reports.mark()
    end(agent, stop_during_flash(controller, agent, KEEP_ALIVE_S + 1), 1.5)
    wait_statuses(controller, mark, [2], 1)
    poll(lambda: broker.agent_farewells() == 1, 1, "DISCONNECT")
    assert broker.agent_sessions() == 1
    assert not agent.lines("reports dropped")


def test_session_lost_meanwhile(broker, controller, link, device_tools, linked_agent):
    """The broker is there again when the tool ends."""
    mark = controller.reports.mark()
    done = stop_during_flash(controller, linked_agent, TOOL_S)
    link.shut()
    link.cut()
    time.sleep(done - time.monotonic() - 0.5)
    link.open()
    end(linked_agent, done, LAST_ATTEMPT_S + 1)
    wait_statuses(controller, mark, [2], 1)
    poll(lambda: broker.agent_farewells() == 1, 1, "DISCONNECT")
    assert broker.agent_sessions() == 2


@pytest.mark.parametrize("broker_kind", ["absent", "mute"])
def test_no_session_any_more(controller, link, device_tools, linked_agent, broker_kind):
    mark = controller.reports.mark()
    done = stop_during_flash(controller, linked_agent, TOOL_S)
    if broker_kind == "absent":
        link.shut()
    else:
        link.hold()
    link.cut()
    end(linked_agent, done, LAST_ATTEMPT_S + 1)
    assert len(linked_agent.lines(DROPPED)) == 1
    assert statuses(controller, mark) == []
