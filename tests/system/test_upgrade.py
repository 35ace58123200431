"""Firmware upgrades from a real download server: what the controller, the wifi manager and the
device's tools see, and what becomes of the commands that come meanwhile."""
import itertools
import os
import pathlib
import re
import signal
import time

import harness
import pytest
from firmware import BOARD, CUT_SHORT, IMAGE, MISSING, MOVED, NAME, ROOTFS_BOARDS
from firmware import SYSUPGRADE_BOARD, flash, statuses, tools_called, upgrade, wait_statuses
from harness import poll, set_tool

MEBIBYTE = 1 << 20


def notices(wifi_manager, since, expected=False):
    """Notices of a failed upgrade. An expected one may be on its way from the manager's log."""
    if expected:
        wifi_manager.wait_request(8, 2, since)
    return [line for _, line in wifi_manager.log.items(since) if " id=8 " in line]


def wait_served(controller):
    """Until commands are answered; the last status may be ahead of that. The question is one that
    the agent does not ask by itself."""
    mark = controller.reports.mark()
    for _ in range(20):
        controller.send(1026)
        try:
            return controller.wait_report(1007, 0.5, mark)
        except harness.Deadline:
            pass
    raise harness.Deadline("commands are not answered")


def check_discarded(controller, agent, *commands):
    """Sends commands that must be taken off the queue without a trace."""
    mark = agent.log.mark()
    for command in commands:
        controller.send(command)
    agent.wait_line("^hdr.type: ", 2, mark, len(commands))
    time.sleep(0.3)
    assert not agent.lines("^process_msg->type", mark)


# What each board's tool is called, the statuses by the tool's own, whether it ends in a reboot.
SYSUPGRADE = ("sysupgrade", {0: [203], 1: [203]}, False)
UPDATA_ROOTFS = ("updata_rootfs.sh", {0: [202, 203], 1: [202, -3]}, True)


@pytest.mark.parametrize("board", [SYSUPGRADE_BOARD, *ROOTFS_BOARDS])
def test_each_board(controller, wifi_manager, images, agent, board):
    tool, sent, reboots = SYSUPGRADE if board == SYSUPGRADE_BOARD else UPDATA_ROOTFS
    BOARD.write_text(board + "\n")
    for status, keep, reboot in itertools.product((0, 1), ("1", "0"), ("1", "0")):
        for command in (1002, 1032):
            if (command, tool) == (1032, "sysupgrade"):
                continue  # the device is expected to restart: see below
            set_tool(tool, status)
            mark, asked = controller.reports.mark(), wifi_manager.log.mark()
            errors, called = agent.errors.mark(), len(tools_called())
            options = {"image_name": NAME, "save_config": keep, "reboot": reboot}
            controller.send(upgrade(command, images, **options))
            wanted = [201] * (command == 1032) + sent[status]
            wait_statuses(controller, mark, wanted)
            call = f"{tool} {IMAGE}" if keep == "1" else f"{tool} -n {IMAGE}"
            calls = [call] + ["reboot"] * (reboots and reboot == "1" and status == 0)
            poll(lambda: tools_called(called) == calls, 3, f"calls {calls}")
            wait_served(controller)
            assert tools_called(called) == calls
            assert statuses(controller, mark) == wanted
            notice = command == 1002 and not reboots
            assert len(notices(wifi_manager, asked, notice)) == notice
            failure = f"Command '{call}' failed with status 256"
            if reboots and status == 1:
                agent.errors.wait(failure.__eq__, 2, errors, what=failure)
            else:
                assert "Command" not in str(agent.errors.items(errors))
    assert wifi_manager.state()["upgrade_notice"] == (-1 if reboots else 0)
    assert set(images.requests) == {"/fw%201.0%2F%C3%A9.img"}
    assert IMAGE.read_bytes() == images.image


# What the command says, whether that keeps the contract, the board, the status, whether the server
# was asked, and a line that the agent leaves.
BOARD_NAME = ROOTFS_BOARDS[0]
WRONG_SUM = {"md5sum": "0" * 32}
LONG_ADDRESS = {"server_ip": "x" * 64}
FAILURES = [
    ({"image_name": MISSING}, True, BOARD_NAME, -1, True, "HTTP status 404$"),
    ({"image_name": MOVED}, True, BOARD_NAME, -1, True, "HTTP status 302$"),
    ({"image_name": CUT_SHORT}, True, BOARD_NAME, -1, True, "^QV_ERR: firmware download of "),
    ({"server_port": 0}, False, BOARD_NAME, -1, False, "^QV_ERR: .* port not valid$"),
    ({"server_port": "1"}, True, BOARD_NAME, -1, False, "^QV_ERR: firmware download of "),
    ({"md5sum": None}, False, BOARD_NAME, -1, False, "^server_port: $"),
    ({"reboot": 8 * "1"}, False, BOARD_NAME, -1, False, "^QV_ERR: .* reboot longer than 7 bytes$"),
    (LONG_ADDRESS, False, BOARD_NAME, -1, False, "^QV_ERR: .* server_ip longer than 63 bytes$"),
    ({"more": "x" * 99}, False, BOARD_NAME, -1, False, "^QV_ERR: .* text longer than 300 bytes$"),
    (WRONG_SUM, True, BOARD_NAME, -2, True, f"^md5 cmd = md5sum {IMAGE}$"),
    ({"md5sum": str.upper}, False, BOARD_NAME, -2, True, f"^md5 cmd = md5sum {IMAGE}$"),
    ({}, True, "qcom,other", -3, True, "^Unsupported board: qcom,other$"),
    ({}, True, SYSUPGRADE_BOARD + " ", -3, True, f"^Unsupported board: {SYSUPGRADE_BOARD} $"),
    ({}, True, None, -4, True, "^Failed to get board name$"),
]


@pytest.mark.parametrize("command", [1002, 1032])
def test_failures(controller, wifi_manager, images, agent, command):
    for given, valid, board, status, asked, line in FAILURES:
        changes = {key: given[key] for key in given}
        if given.get("md5sum") is str.upper:
            changes["md5sum"] = images.md5().upper()
        BOARD.unlink(missing_ok=True)
        if board is not None:
            BOARD.write_text(board)
        IMAGE.write_text("stale")
        images.requests.clear()
        mark, noted = controller.reports.mark(), wifi_manager.log.mark()
        log, errors = agent.log.mark(), agent.errors.mark()
        controller.send(upgrade(command, images, **changes), valid)
        wanted = [201, status] if command == 1032 else [status]
        wait_statuses(controller, mark, wanted)
        wait_served(controller)
        assert statuses(controller, mark) == wanted, given
        notice = command == 1002 and status == -1
        assert len(notices(wifi_manager, noted, notice)) == notice, given
        assert len(images.requests) == asked, given
        timeline, since = (agent.errors, errors) if status < -2 else (agent.log, log)
        timeline.wait(re.compile(line).search, 2, since, what=line)
        if asked:
            assert IMAGE.exists() == (status != -1), given
    assert wifi_manager.state()["upgrade_notice"] == (1 if command == 1002 else -1)
    assert tools_called() == []


def test_commands_during_a_background_upgrade(controller, wifi_manager, images, agent):
    BOARD.write_text(ROOTFS_BOARDS[0])
    images.hold()
    mark, log = controller.reports.mark(), agent.log.mark()
    controller.send(upgrade(1032, images))
    poll(lambda: images.requests, 5, "request")
    wait_statuses(controller, mark, [201])
    check_discarded(controller, agent, upgrade(1002, images), 1034, 1025)
    controller.send(upgrade(1032, images))
    agent.wait_line("^QV_ERR: firmware upgrade refused: another one runs", 2, log)
    images.let_go()
    wait_statuses(controller, mark, [201, 202, 203])
    wait_served(controller)
    assert statuses(controller, mark) == [201, 202, 203]
    assert len(images.requests) == 1
    assert notices(wifi_manager, 0) == []


def test_nobody_waits_for_a_slow_reboot(controller, images, agent):
    set_tool("reboot", delay=4)
    BOARD.write_text(ROOTFS_BOARDS[0])
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images, reboot="1"))
    wait_statuses(controller, mark, [201, 202, 203])
    poll(lambda: tools_called()[-1:] == ["reboot"], 3, "reboot")
    log = agent.log.mark()
    controller.send(upgrade(1032, images, reboot="1"))
    agent.wait_line("^QV_ERR: firmware upgrade refused: another one runs", 1, log)
    controller.send({"type": 1017, "timestamp": 1, "data": {"general_data": "roof"}})
    agent.wait_line("^qv_set_equipment_notes: uciDestroy$", 1, log)
    asked = controller.reports.mark()
    controller.send(1034)
    controller.wait_report(harness.SYSTEM_STATS, 1, asked)
    assert statuses(controller, mark) == [201, 202, 203]


def test_background_upgrade_behind_another(controller, images, agent):
    """Upgrades wait for one another, and the end of the first leaves the second undisturbed."""
    BOARD.write_text(ROOTFS_BOARDS[1])
    images.hold()
    mark, log = controller.reports.mark(), agent.log.mark()
    controller.send(upgrade(1002, images, md5sum="0" * 32))
    poll(lambda: images.requests, 5, "request")
    controller.send(upgrade(1032, images))
    wait_statuses(controller, mark, [201])
    images.let_go()
    wait_statuses(controller, mark, [201, -2])
    poll(lambda: len(images.requests) == 2, 5, "second request")
    check_discarded(controller, agent, 1034, 1025)
    controller.send(upgrade(1032, images))
    agent.wait_line("^QV_ERR: firmware upgrade refused: another one runs", 2, log)
    images.let_go()
    wait_statuses(controller, mark, [201, -2, 202, 203])
    wait_served(controller)
    assert len(images.requests) == 2


def test_after_sysupgrade_in_the_background_the_device_restarts(controller, images, agent):
    BOARD.write_text(SYSUPGRADE_BOARD)
    set_tool("sysupgrade", 1)
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images, save_config="true", reboot="1"), valid=False)
    wait_statuses(controller, mark, [201, 203])
    poll(lambda: tools_called() == [f"sysupgrade -n {IMAGE}"], 3, "sysupgrade")
    check_discarded(controller, agent, 1034, upgrade(1002, images))


def test_flash_again(controller, images, own_tool, start_agent, broker, wifi_manager):
    """The tool really looks at the image, on a board that no upgrade supports."""
    own_tool(
        "updata_rootfs.sh",
        f'echo "$*" >>{harness.AP_DIR}/tools/flashed\n'
        'for image; do :; done\n[ -s "$image" ] || exit 1',
    )
    flashed = harness.AP_DIR / "tools/flashed"
    agent = start_agent()
    broker.wait_subscribed()
    BOARD.write_text("other")
    for present, params, valid, arguments, status, reboot in (
        (False, {"save_config": 1, "reboot": 1}, True, f"{IMAGE}", -256, False),
        (True, {"save_config": 1, "reboot": True}, True, f"{IMAGE}", 2, True),
        (True, {"save_config": 0, "reboot": 0}, True, f"-n {IMAGE}", 2, False),
        (True, {"reboot": 1}, False, f"-n {IMAGE}", 2, False),
        (True, {"save_config": "1"}, True, f"{IMAGE}", 2, False),
        (True, {}, True, f"-n {IMAGE}", 2, False),
    ):
        IMAGE.write_text("image" if present else "")
        flashed.write_text("")
        called, mark = len(tools_called()), controller.reports.mark()
        controller.send(flash(**params), valid)
        wait_statuses(controller, mark, [status])
        log = agent.log.mark()
        controller.send(1034)
        agent.wait_line("^hdr.type: 1034", 3, log)  # read behind it, on the same thread
        assert flashed.read_text() == arguments + "\n"
        if reboot:
            poll(lambda: tools_called(called) == ["reboot"], 3, "reboot")
        assert tools_called(called) == ["reboot"] * reboot


def test_tools_inherit_nothing(controller, images, own_tool, start_agent, broker, wifi_manager):
    seen = harness.AP_DIR / "tools/seen"
    own_tool(
        "updata_rootfs.sh",
        f"exec >{seen}\nls /proc/self/fd\ngrep -E 'Sig(Blk|Ign)' /proc/self/status",
    )
    start_agent()
    broker.wait_subscribed()
    BOARD.write_text(ROOTFS_BOARDS[0])
    images.hold()
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images))
    poll(lambda: images.requests, 5, "request")  # so a download's descriptors are open, too
    controller.send(flash())
    wait_statuses(controller, mark, [201, 2])
    # 3 is the folder that ls itself reads.
    none = "0" * 16
    assert seen.read_text().split() == ["0", "1", "2", "3", "SigBlk:", none, "SigIgn:", none]
    images.let_go()
    wait_statuses(controller, mark, [201, 2, 202, 203])


def test_flashing_outlives_signals_to_the_agent(
    controller, images, own_tool, start_agent, broker, wifi_manager
):
    progress = harness.AP_DIR / "tools/progress"
    own_tool("updata_rootfs.sh", f"echo begun >{progress}; sleep 2; echo done >>{progress}")
    BOARD.write_text(ROOTFS_BOARDS[0])
    runs = ((1002, [202, 203]), (1032, [201, 202, 203]), (1033, [2]))
    for number, (command, wanted) in enumerate(runs, 1):
        progress.unlink(missing_ok=True)
        agent = start_agent()
        broker.wait_subscribed(number)
        mark = controller.reports.mark()
        controller.send(flash() if command == 1033 else upgrade(command, images))
        poll(progress.exists, 5, "flashing tool")
        for signal_number in (signal.SIGINT, signal.SIGTERM):  # Ctrl-C goes to the whole group
            os.killpg(agent.process.pid, signal_number)
        assert agent.exit_status(8) == 0
        assert progress.read_text() == "begun\ndone\n"
        wait_statuses(controller, mark, wanted)


def test_statuses_wait_for_the_broker(broker, controller, images, agent):
    BOARD.write_text(ROOTFS_BOARDS[0])
    images.hold()
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images, reboot="1"))
    wait_statuses(controller, mark, [201])
    broker.kill()
    agent.wait_line("^Disconnected from MQTT broker", 2)
    images.let_go()
    poll(lambda: tools_called()[-1:] == ["reboot"], 5, "reboot")
    assert statuses(controller, mark) == [201]
    # Between two of the agent's attempts there is time for the controller to be first.
    agent.wait_line("^COULD NOT CONNECT", 5, agent.log.mark())
    broker.start()
    controller.reconnect()
    wait_statuses(controller, mark, [201, 202, 203], 8)
    wait_served(controller)


def memory_kib(agent, *entries):
    status = pathlib.Path(f"/proc/{agent.process.pid}/status").read_text()
    return [int(re.search(rf"^{entry}:\s+(\d+)", status, re.M)[1]) for entry in entries]


def test_large_image_passes_through_little_memory(controller, images, agent):
    BOARD.write_text(ROOTFS_BOARDS[0])
    images.image = bytes(MEBIBYTE)
    wait_served(controller)
    (own,) = memory_kib(agent, "RssAnon")
    for repeats in (1, 64):
        # The first download also maps the pages of the libraries' code that it needs.
        (peak,) = memory_kib(agent, "VmHWM")
        images.repeats = repeats
        mark = controller.reports.mark()
        controller.send(upgrade(1002, images))
        wait_statuses(controller, mark, [202, 203], 40)
        assert IMAGE.stat().st_size == repeats * MEBIBYTE
    IMAGE.unlink()
    if not harness.sanitized() and not harness.emulated():
        new_own, new_peak = memory_kib(agent, "RssAnon", "VmHWM")
        assert new_own - own <= 1024
        assert new_peak - peak <= 1024
