"""Firmware commands that last longer than the broker waits for a sign of life, and downloads that
come to nothing by and by. Both take their time, so they take it together."""
import time

from firmware import BOARD, IMAGE, ROOTFS_BOARDS, STALLED, UPDATA_STATS
from firmware import flash, statuses, tools_called, upgrade
from harness import SYSTEM_STATS, poll, set_tool

BUSY_LOOK_S = 4  # at least, between two looks of the main loop at a state that is busy
TOOL_SECONDS = 40
STALL_LIMIT = 30  # seconds below a byte per second,
SPEED_WINDOW = 6  # which libcurl takes as the mean of the last six


def test_statuses_of_slow_commands(broker, controller, wifi_manager, images, agent):
    BOARD.write_text(ROOTFS_BOARDS[0])
    IMAGE.write_text("image of an earlier upgrade")
    set_tool("updata_rootfs.sh", delay=TOOL_SECONDS)
    begin = time.monotonic()
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images, image_name=STALLED))
    poll(lambda: images.requests, 5, "request")
    controller.send(flash(save_config=1))
    poll(tools_called, 5, "flashing tool")
    controller.send(1025)  # waits for the tool, but the session does not
    agent.wait_line("^QV_ERR: firmware download of .* failed: ", STALL_LIMIT + 8)
    stalled_for = time.monotonic() - begin
    assert STALL_LIMIT <= stalled_for < STALL_LIMIT + SPEED_WINDOW + 2
    assert not IMAGE.exists()
    assert len(agent.lines("^sm->state:4$")) <= stalled_for / BUSY_LOOK_S + 1

    at, _ = controller.wait_report(UPDATA_STATS, TOOL_SECONDS, mark, 3)
    assert TOOL_SECONDS < at - begin < TOOL_SECONDS + 2
    assert statuses(controller, mark) == [201, -1, 2]
    controller.wait_report(1006, 5, mark)
    assert time.monotonic() - at < 1
    mark = controller.reports.mark()
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, 3, mark)
    assert broker.agent_sessions() == 1
    assert tools_called() == [f"updata_rootfs.sh {IMAGE}"]
