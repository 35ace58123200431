"""qvctl brings firmware to agents, and to devices that only pretend to be one."""
import hashlib
import os
import re
import subprocess
import threading
import time

import pytest
from firmware import (
    BOARD,
    IMAGE,
    ROOTFS_BOARDS,
    SYSUPGRADE_BOARD,
    flash,
    tools_called,
    upgrade,
    wait_statuses,
)
from harness import poll, set_tool
from qvctl import (
    ANSWERED,
    MAC,
    MD5,
    NO_ANSWER,
    OTHER,
    REFUSED,
    UNCONFIRMED,
    PretendedDevice,
    Terminal,
    qvctl,
)

BODIES = {1000: "device_discovery_macaddr", 1015: "updata_stats"}


def answers(*reports):
    return [(pause, kind, {BODIES[kind]: value}) for pause, kind, value in reports]


def shown(output):
    return [int(value) for value in re.findall(r"^[#.]{24} +(-?\d+)  \w", output, re.M)]


# Reports of an upgrade in the background, exit status, the statuses shown, what is said.
UPGRADES = [
    (
        [(0, 1015, 201), (0.1, 1015, 202), (0.1, 1015, 203)],
        ANSWERED,
        [201, 202, 203],
        f"device {OTHER}\n  fetches http://localhost:80/i\n    (from its broker's host, as it knows it)\n"
        f"  flashes it when its MD5 sum is {MD5}\n  keeps its configuration\n",
    ),
    ([(0, 1015, 201), (0.1, 1015, -2)], REFUSED, [201, -2], ""),
    (
        [(0, 1015, 201), (0.1, 1015, 202)],
        NO_ANSWER,
        [201, 202],
        "no word of the job within 1 s; the last was 202, image verified, flashing",
    ),
    # A new session in the middle of the job, whose statuses come late.
    (
        [(0, 1015, 201), (0.1, 1000, {"macaddr": OTHER}), (0.1, 1015, 202), (0.1, 1015, 203)],
        ANSWERED,
        [201, 202, 203],
        f"note: device {OTHER} has connected again; its job may still run\n",
    ),
    ([(0, 1015, 202), (0.1, 1015, 203)], REFUSED, [], "another upgrade runs"),
    # No upgrade ends so, but a flashing that another controller asked for.
    (
        [(0, 1015, -256), (0.1, 1015, 201), (0.1, 1015, 2), (0.1, 1015, -3)],
        REFUSED,
        [201, -3],
        "note: status 2 is of another job",
    ),
    ([], NO_ANSWER, [], "no word of the job within 1 s\n"),
]


def test_upgrades(pretend):
    for reports, status, statuses, said in UPGRADES:
        device = pretend(*answers(*reports))
        got = qvctl("-d", OTHER, "--timeout", "1", "upgrade", "i", "--md5", MD5, "--background")
        assert (got[0], shown(got[1])) == (status, statuses), got
        assert said in got[2]
        device.close()
    # Below 0 a flash reports how its tool ended, and nothing else.
    pretend((0, 1015, {"updata_stats": -2}))
    status, output, said = qvctl("-d", OTHER, "flash", "--discard-config")
    assert status == REFUSED and "the flashing tool was ended by signal 2\n" in output
    assert said == (
        f"device {OTHER}\n"
        "  flashes what the last download left, also when its MD5 sum was wrong,\n"
        "    with updata_rootfs.sh, whatever board it is\n"
        "  loses its configuration, its broker's address too\n"
    )


def test_busy_device(pretend, overheard):
    """A 1002 or 1033 waits for a device that may upgrade; a 1032 is the way back from a hanging job."""
    pretend(*answers((0, 1015, 201), (0, 1015, 203)), busy=True)
    for words in (["upgrade", "i", "--md5", MD5], ["flash"]):
        status, _, said = qvctl("-d", OTHER, "--timeout", "0.5", *words)
        assert status == NO_ANSWER and "as while it upgrades; nothing was sent\n" in said
    assert not overheard.times(1002) and not overheard.times(1033)
    status, _, said = qvctl(
        "-d",
        OTHER,
        "--timeout",
        "0.5",
        "upgrade",
        "i",
        "--md5",
        MD5,
        "--background",
        "--no-wait-back",
    )
    assert status == ANSWERED and f"note: device {OTHER} does not answer" in said


class ContestedDevice(PretendedDevice):
    """Another controller is faster: its command comes between the question and the upgrade."""

    def __init__(self, statuses, rival):
        super().__init__()
        self._statuses = iter(statuses)
        self._rival = rival
        self._job = threading.Lock()  # one after the other

    def idle(self):
        self.command(self._rival)
        super().idle()

    def act(self):
        with self._job:
            time.sleep(0.3)
            for status in next(self._statuses):
                self.report(1015, {"updata_stats": status})


def test_another_controller(pretend, images):
    # Each 1002 waits for the one before; what a 1033 does beside it cannot be told from it.
    pretend([202, 203], [202, -2], kind=ContestedDevice, rival=upgrade(1002, images))
    got = qvctl("-d", OTHER, "--timeout", "5", "upgrade", "i", "--md5", MD5)
    assert (got[0], shown(got[1])) == (REFUSED, [202, -2]), got
    assert "note: status 203 is of an upgrade that was sent before" in got[2]


def test_another_flash(pretend):
    pretend([], [202, 203], kind=ContestedDevice, rival=flash(save_config=1, reboot=0))
    got = qvctl("-d", OTHER, "--timeout", "5", "upgrade", "i", "--md5", MD5)
    assert (got[0], shown(got[1])) == (UNCONFIRMED, [202, 203]), got


# What follows the last status, options, exit status, what is said.
RETURNS = [
    ([("Z", 1000)], [], ANSWERED, f"device {OTHER} is back with Z\n"),
    ([("Y", 1000)], [], UNCONFIRMED, "still names its firmware Y after 1 s"),
    ([("Y", 1003)], [], NO_ANSWER, "not back within 1 s"),
    ([], ["--no-wait-back"], ANSWERED, "keeps its configuration\n"),
]


@pytest.mark.parametrize("reports, options, status, said", RETURNS)
def test_return_of_the_device(pretend, reports, options, status, said):
    device = pretend(*answers((0, 1015, 203)))  # without 202: the tool restarts the device

    def come_back():
        time.sleep(0.5)
        for device.fwname, kind in reports:
            device.idle() if kind == 1003 else device.report(
                1000, {"device_discovery_macaddr": {"macaddr": OTHER}}
            )

    threading.Thread(target=come_back).start()
    got = qvctl("-d", OTHER, "--timeout", "1", "upgrade", "i", "--md5", MD5, *options)
    assert got[0] == status and said in got[2], got
    time.sleep(0.5)


def test_interrupted_upgrade(pretend):
    pretend(*answers((0, 1015, 202)))
    terminal = Terminal("-d", OTHER, "upgrade", "i", "--md5", MD5)
    terminal.wait("image verified, flashing")
    terminal.type("\x03")
    assert terminal.end() == REFUSED
    terminal.wait(f"interrupted; the job goes on at device {OTHER}")


def test_upgrade_of_an_agent(overheard, wifi_manager, agent, images):
    """A real download from a real server, beside the pretended ones above."""
    for board, command, statuses, called in (
        (
            ROOTFS_BOARDS[0],
            ["--reboot", "--no-wait-back"],
            [202, 203],
            ["updata_rootfs.sh /tmp/qv_firmware.img", "reboot"],
        ),
        (SYSUPGRADE_BOARD, ["--no-wait-back"], [203], ["sysupgrade /tmp/qv_firmware.img"]),
        (
            ROOTFS_BOARDS[0],
            ["--discard-config"],
            [202, 203],
            ["updata_rootfs.sh -n /tmp/qv_firmware.img"],
        ),
        # The last: the agent discards commands for a moment after the job's end.
        (
            ROOTFS_BOARDS[0],
            ["--background"],
            [201, 202, 203],
            ["updata_rootfs.sh /tmp/qv_firmware.img"],
        ),
    ):
        BOARD.write_text(board)
        before = len(tools_called())
        got = qvctl(
            "-d",
            MAC,
            "upgrade",
            "fw.img",
            "--md5",
            images.md5().upper(),
            "--server-port",
            str(images.port),
            *command,
        )
        assert (got[0], shown(got[1])) == (ANSWERED, statuses), got
        assert got[1].splitlines()[-1].startswith(24 * "#")
        wait_until_called(before, called)
    status, _, said = qvctl("-d", MAC, "upgrade", "a b.img", "--md5", MD5, "--server-port", "9")
    assert status == REFUSED
    assert "qvctl: the device was told to fetch http://localhost:9/a%20b.img\n" in said


def wait_until_called(before, called):
    deadline = time.monotonic() + 3
    while tools_called(before) != called:
        assert time.monotonic() < deadline, tools_called(before)
        time.sleep(0.05)


def test_second_upgrade_of_an_agent(overheard, wifi_manager, agent, images):
    """The first one's success is not the second one's."""
    BOARD.write_text(ROOTFS_BOARDS[0])
    set_tool("updata_rootfs.sh", delay=2)
    mark = overheard.reports.mark()
    overheard.send(upgrade(1002, images))
    wait_statuses(overheard, mark, [202])
    got = qvctl("-d", MAC, "upgrade", "fw.img", "--md5", MD5, "--server-port", str(images.port))
    assert (got[0], shown(got[1])) == (REFUSED, [-2]), got
    wait_statuses(overheard, mark, [202, 203, -2])


def test_served_image(overheard, wifi_manager, agent, images, tmp_path):
    BOARD.write_text(ROOTFS_BOARDS[0])
    file = tmp_path / "new firmware.img"
    file.write_bytes(bytes(range(256)) * 20000)
    status, output, said = qvctl("-d", MAC, "upgrade", "--serve", str(file))
    assert (status, shown(output)) == (ANSWERED, [202, 203])
    assert re.search(r"^#{24} +5\.1 MB of 5\.1 MB, \d+\.\d MB/s$", output, re.M)
    assert "/new%20firmware.img\n" in said
    assert IMAGE.read_bytes() == file.read_bytes()
    # Without --serve a local file still tells its name and sum.
    mark = overheard.reports.mark()
    qvctl("-d", MAC, "upgrade", str(file), "--server-port", "9")
    _, command = overheard.wait_report(1002, 3, mark)
    params = command["data"]["fw_params"]
    assert (params["image_name"], params["md5sum"]) == (
        file.name,
        hashlib.md5(file.read_bytes()).hexdigest(),
    )


def test_serve_for_a_broker_elsewhere(tmp_path):
    """Devices download from their broker's host, where this qvctl is not."""
    config, file = tmp_path / "mosquitto.conf", tmp_path / "fw.img"
    config.write_text("listener 1883 10.9.0.2\nallow_anonymous true\nuser root\n")
    file.write_bytes(b"image")
    broker = subprocess.Popen(
        [
            "unshare",
            "--net",
            "bash",
            "-c",
            f"""
        until ip link set away up 2>/dev/null; do sleep 0.05; done
        ip address add 10.9.0.2/24 dev away
        exec mosquitto -c {config}""",
        ],
        stderr=subprocess.DEVNULL,
    )
    try:
        own = os.readlink("/proc/self/ns/net")
        poll(lambda: os.readlink(f"/proc/{broker.pid}/ns/net") != own, 3, "a network of its own")
        for words in (
            f"link add here type veth peer name away netns {broker.pid}",
            "address add 10.9.0.1/24 dev here",
            "link set here up",
        ):
            poll(
                lambda: subprocess.run(["ip", *words.split()], check=False).returncode == 0,
                3,
                words,
            )
        poll(
            lambda: qvctl("-h", "10.9.0.2", "devices", "--listen", "0.1")[0] == NO_ANSWER,
            5,
            "broker",
        )
        assert qvctl("-h", "10.9.0.2", "-d", OTHER, "upgrade", "--serve", str(file)) == (
            REFUSED,
            "",
            "qvctl: --serve: broker 10.9.0.2:1883 is not on this host, and devices "
            "download from its host\n",
        )
    finally:
        broker.kill()
        broker.wait()


def test_broker_restart(pretend, broker):
    """The job goes on, and its statuses come in the next session."""
    device = pretend(*answers((0, 1015, 201)))
    job = Terminal("-d", OTHER, "upgrade", "i", "--md5", MD5, "--background")
    job.wait("accepted, downloading")
    broker.kill()
    job.wait("connection lost; trying again")
    broker.start()
    job.wait("connected again")
    device.reconnect()
    device.report(1015, {"updata_stats": -2})
    assert job.end() == REFUSED
    job.wait("MD5 sum is wrong")
