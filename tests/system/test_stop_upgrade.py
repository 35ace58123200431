"""SIGTERM during a firmware upgrade, before its tool has begun: the download ends, what is owed is
reported, and nothing is flashed on a system that shuts down."""
import signal
import time

import pytest
from firmware import BOARD, IMAGE, ROOTFS_BOARDS, STALLED
from firmware import statuses, tools_called, upgrade, wait_statuses
from harness import poll

DOWNLOAD_END_S = 1
AGENT_END_S = 3


@pytest.fixture
def rootfs_board():
    BOARD.write_text(ROOTFS_BOARDS[0])


def wait_download(images, agent):
    """Until a download is well under way."""
    poll(lambda: images.requests, 5, "request")
    time.sleep(0.3)
    return agent.log.mark()


@pytest.mark.parametrize("name", ["unanswered", STALLED])
@pytest.mark.parametrize("commands", [[1002], [1032], [1002, 1032]])
def test_download(broker, controller, images, rootfs_board, agent, commands, name):
    """Alone, and with an upgrade that waits for the first one's end."""
    if name == "unanswered":
        images.hold()
    mark = controller.reports.mark()
    for command in commands:
        controller.send(upgrade(command, images, image_name=name))
        poll(lambda: images.requests, 5, "request")
    accepted = [201] * (1032 in commands)
    if accepted:
        wait_statuses(controller, mark, accepted)
    log = wait_download(images, agent)
    asked = time.monotonic()
    agent.process.send_signal(signal.SIGTERM)
    at, _ = agent.wait_line("^QV_ERR: firmware download of .* failed: ", AGENT_END_S, log)
    assert at - asked < DOWNLOAD_END_S + 0.5
    assert agent.exit_status(AGENT_END_S) == 0
    poll(lambda: broker.agent_farewells() == 1, 1, "DISCONNECT")
    # A waiting upgrade that is given up owes its end, too.
    assert statuses(controller, mark) == accepted + [-1] * len(commands)
    assert len(images.requests) == 1
    assert tools_called() == []
    assert not IMAGE.exists()


@pytest.mark.parametrize("command", [1002, 1032])
def test_download_that_succeeds_meanwhile(controller, images, rootfs_board, agent, command):
    images.hold()
    controller.send(upgrade(command, images))
    wait_download(images, agent)
    agent.process.send_signal(signal.SIGTERM)
    images.let_go()
    assert agent.exit_status(AGENT_END_S) == 0
    assert tools_called() == []
