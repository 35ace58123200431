"""Firmware upgrades from a real download server: what the controller, the wifi manager and the
device's tools see, and what becomes of the commands that come meanwhile. What each board, option
and failure comes to is the unit tests' matter."""
import os
import signal
import time

import harness
import pytest
from firmware import BOARD, CUT_SHORT, IMAGE, MISSING, NAME, ROOTFS_BOARDS
from firmware import SYSUPGRADE_BOARD, flash, statuses, tools_called, upgrade, wait_statuses
from harness import EASE_S, poll, set_tool

SLOW_S = 6  # of a reboot
REFUSED = "^QV_ERR: firmware upgrade refused: another one runs"


def wait_served(controller):
    """Until commands are answered; the last status may be ahead of that. The question is one that
    the agent does not ask by itself."""
    controller.ask_until_answered(1026, 1007)


# The command, the board, what it differs in, how the tool ends, the statuses, the tools' calls, the
# notice that the wifi manager gets.
KEEP = {"image_name": NAME, "reboot": "1"}
FORGET = {"save_config": "0", "reboot": "1"}
ROOTFS, ROOTFS_ANEW = f"updata_rootfs.sh {IMAGE}", f"updata_rootfs.sh -n {IMAGE}"
UPGRADES = [
    (1002, ROOTFS_BOARDS[0], KEEP, 0, [202, 203], [ROOTFS, "reboot"], None),
    (1032, ROOTFS_BOARDS[1], FORGET, 0, [201, 202, 203], [ROOTFS_ANEW, "reboot"], None),
    (1002, ROOTFS_BOARDS[1], KEEP, 1, [202, -3], [ROOTFS], None),
    (1002, SYSUPGRADE_BOARD, FORGET, 1, [203], [f"sysupgrade -n {IMAGE}"], 0),
    (1002, ROOTFS_BOARDS[0], {"image_name": MISSING}, 0, [-1], [], 1),
    (1032, ROOTFS_BOARDS[0], {"image_name": CUT_SHORT}, 0, [201, -1], [], None),
    (1032, ROOTFS_BOARDS[0], {"server_port": "1"}, 0, [201, -1], [], None),
    (1002, ROOTFS_BOARDS[0], {"md5sum": "0" * 32}, 0, [-2], [], None),
    (1032, "qcom,other", {}, 0, [201, -3], [], None),
]


def test_upgrades(controller, wifi_manager, images, agent):
    for command, board, changes, status, sent, called, notice in UPGRADES:
        BOARD.write_text(board + "\n")
        IMAGE.write_text("stale")
        set_tool(called[0].split()[0] if called else "updata_rootfs.sh", status)
        mark, before, log = controller.reports.mark(), len(tools_called()), agent.log.mark()
        noted = wifi_manager.log.mark()
        controller.send(upgrade(command, images, **changes))
        wait_statuses(controller, mark, sent)
        poll(lambda: tools_called(before) == called, EASE_S, f"calls {called}")
        wait_served(controller)
        assert statuses(controller, mark) == sent
        assert tools_called(before) == called
        if notice is not None:
            wifi_manager.wait_request(8, EASE_S, noted)
            assert wifi_manager.state()["upgrade_notice"] == notice
        notices = [line for _, line in wifi_manager.log.items(noted) if " id=8 " in line]
        assert len(notices) == (notice is not None), (command, changes)
        assert IMAGE.exists() == (-1 not in sent)
        assert bool(agent.lines("^QV_ERR: firmware download of ", log)) == (-1 in sent)
    assert images.requests[0] == "/fw%201.0%2F%C3%A9.img"
    assert IMAGE.read_bytes() == images.image


def test_servers_that_are_none(controller, images, agent):
    """One that never answers, and a port that is none: not what is left of it in 16 bits."""
    images.hold()
    for port, least, most in ((images.port, 10, 15), (images.port + 65536, 0, 5)):
        mark, begin = controller.reports.mark(), time.monotonic()
        controller.send(upgrade(1002, images, server_port=port), valid=port < 65536)
        wait_statuses(controller, mark, [-1], most)
        assert time.monotonic() - begin > least
    assert len(images.requests) == 1


def test_commands_during_background_upgrades(controller, wifi_manager, images, agent):
    """An upgrade that waits for another; its end leaves the next undisturbed."""
    images.hold()
    mark, log = controller.reports.mark(), agent.log.mark()
    controller.send(upgrade(1002, images, md5sum="0" * 32))
    poll(lambda: images.requests, EASE_S, "request")
    controller.send(upgrade(1032, images))
    wait_statuses(controller, mark, [201])
    images.let_go()
    wait_statuses(controller, mark, [201, -2])
    poll(lambda: len(images.requests) == 2, EASE_S, "second request")
    before = agent.log.mark()
    for command in (upgrade(1002, images), 1034, 1025):
        controller.send(command)
    agent.wait_line("^hdr.type: ", EASE_S, before, 3)
    time.sleep(0.3)
    assert not agent.lines("^process_msg->type", before)  # taken off the queue without a trace
    controller.send(upgrade(1032, images))
    agent.wait_line(REFUSED, EASE_S, log)
    images.let_go()
    wait_statuses(controller, mark, [201, -2, 202, 203])
    wait_served(controller)
    assert statuses(controller, mark) == [201, -2, 202, 203]
    assert len(images.requests) == 2


def test_nobody_waits_for_a_slow_reboot(controller, images, agent):
    set_tool("reboot", delay=SLOW_S)
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images, reboot="1"))
    wait_statuses(controller, mark, [201, 202, 203])
    poll(lambda: tools_called()[-1:] == ["reboot"], EASE_S, "reboot")
    log = agent.log.mark()
    controller.send(upgrade(1032, images, reboot="1"))
    agent.wait_line(REFUSED, SLOW_S / 3, log)
    controller.send({"type": 1017, "timestamp": 1, "data": {"general_data": "roof"}})
    agent.wait_line("^qv_set_equipment_notes: uciDestroy$", SLOW_S / 3, log)
    controller.ask(1034, harness.SYSTEM_STATS, SLOW_S / 3)
    assert statuses(controller, mark) == [201, 202, 203]


@pytest.mark.parametrize("command", [1002, 1032, 1033])
def test_flashing_outlives_signals_to_the_agent(
    controller, images, own_tool, broker, start_agent, command
):
    progress = harness.AP_DIR / "tools/progress"
    own_tool("updata_rootfs.sh", f"echo begun >{progress}; sleep 1; echo done >>{progress}")
    agent = start_agent()
    broker.wait_subscribed()
    mark = controller.reports.mark()
    controller.send(flash() if command == 1033 else upgrade(command, images))
    poll(progress.exists, EASE_S, "flashing tool")
    for signal_number in (signal.SIGINT, signal.SIGTERM):  # Ctrl-C goes to the whole group
        os.killpg(agent.process.pid, signal_number)
    assert agent.exit_status(2 * EASE_S) == 0
    assert progress.read_text() == "begun\ndone\n"
    wait_statuses(controller, mark, {1002: [202, 203], 1032: [201, 202, 203], 1033: [2]}[command])
