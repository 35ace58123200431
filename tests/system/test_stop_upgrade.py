"""SIGTERM during a firmware upgrade, before its tool has begun: the download ends, what is owed is
reported, and nothing is flashed on a system that shuts down."""
import signal
import time

import harness
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
def test_checksum(
    broker, controller, wifi_manager, images, rootfs_board, own_tool, start_agent, command
):
    """The image is there and in order: it is not flashed any more."""
    begun = harness.AP_DIR / "tools/checksum"
    own_tool("md5sum", f'echo >{begun}; sleep 1; exec /usr/bin/md5sum "$@"')
    agent = start_agent()
    broker.wait_subscribed()
    mark = controller.reports.mark()
    controller.send(upgrade(command, images))
    poll(begun.exists, 5, "checksum")
    assert agent.stop()[0] == 0
    assert tools_called() == []
    accepted = [201] * (command == 1032)
    poll(lambda: len(statuses(controller, mark)) == len(accepted) + 1, 1, "the end's status")
    assert statuses(controller, mark)[-1] < 0
