"""SIGTERM while a flashing tool is at work: the tool is waited for, and its status delivered before
the agent leaves, or named as dropped. And during an upgrade whose tool has not begun: the download
ends, what is owed is reported, and nothing is flashed on a system that shuts down."""
import signal
import time

import pytest
from firmware import IMAGE, STALLED
from firmware import flash, statuses, tools_called, upgrade, wait_statuses
from harness import EASE_S, poll, set_tool

KEEP_ALIVE_S = 15
LAST_ATTEMPT_S = 3
TOOL_S = 3
DROPPED = r"^QV_ERR: 1 reports dropped, no session with the broker$"


def stop_during_flash(controller, agent, seconds):
    """Returns when the tool will be done."""
    set_tool("updata_rootfs.sh", delay=seconds)
    for _ in range(2):
        controller.send(flash(save_config=1))
    poll(tools_called, EASE_S, "flashing tool")
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
    end(agent, stop_during_flash(controller, agent, KEEP_ALIVE_S + 1), 2.5)
    wait_statuses(controller, mark, [2])
    poll(lambda: broker.agent_farewells() == 1, EASE_S, "DISCONNECT")
    assert broker.agent_sessions() == 1
    assert not agent.lines("reports dropped")


@pytest.mark.parametrize("end_of_broker", ["back", "absent", "mute"])
def test_session_lost_meanwhile(
    broker, controller, link, device_tools, linked_agent, end_of_broker
):
    """The broker is there again when the tool ends, or is not."""
    mark = controller.reports.mark()
    done = stop_during_flash(controller, linked_agent, TOOL_S)
    link.hold() if end_of_broker == "mute" else link.shut()
    link.cut()
    if end_of_broker == "back":
        time.sleep(max(0, done - time.monotonic() - 0.5))
        link.open()
    end(linked_agent, done, LAST_ATTEMPT_S + 1)
    if end_of_broker == "back":
        wait_statuses(controller, mark, [2])
        poll(lambda: broker.agent_farewells() == 1, EASE_S, "DISCONNECT")
        assert broker.agent_sessions() == 2
    else:
        assert len(linked_agent.lines(DROPPED)) == 1
        assert statuses(controller, mark) == []


@pytest.mark.parametrize("name", ["unanswered", STALLED])
@pytest.mark.parametrize("commands", [[1002], [1032], [1002, 1032]])
def test_download(broker, controller, images, agent, commands, name):
    """Alone, and with an upgrade that waits for the first one's end."""
    if name == "unanswered":
        images.hold()
    mark, log = controller.reports.mark(), agent.log.mark()
    for command in commands:
        controller.send(upgrade(command, images, image_name=name))
        poll(lambda: images.requests, 5, "request")
    accepted = [201] * (1032 in commands)
    if accepted:
        wait_statuses(controller, mark, accepted)
    time.sleep(0.3)  # the download is well under way
    asked = time.monotonic()
    agent.process.send_signal(signal.SIGTERM)
    at, _ = agent.wait_line("^QV_ERR: firmware download of .* failed: ", 3, log)
    assert at - asked < 1.5
    assert agent.exit_status(3) == 0
    poll(lambda: broker.agent_farewells() == 1, EASE_S, "DISCONNECT")
    # A waiting upgrade that is given up owes its end, too.
    wait_statuses(controller, mark, accepted + [-1] * len(commands))
    assert len(images.requests) == 1
    assert tools_called() == []
    assert not IMAGE.exists()
