"""qvctl brings firmware to agents, and to devices that only pretend to be one."""
import hashlib
import re
import subprocess

from firmware import BOARD, IMAGE, ROOTFS_BOARDS, SYSUPGRADE_BOARD, UPDATA_STATS
from firmware import flash, tools_called, upgrade, wait_statuses
from firmware import statuses as statuses_of
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, poll, set_tool
from qvctl import ANSWERED, MAC, MD5, NO_ANSWER, OTHER, REFUSED, UNCONFIRMED
from qvctl import Terminal, qvctl

BACK = (0, DISCOVERY, {"device_discovery_macaddr": {"macaddr": OTHER}})
UPGRADE = ["upgrade", "i", "--md5", MD5]


def answers(*statuses):
    return [(0.05, UPDATA_STATS, {"updata_stats": status}) for status in statuses]


def shown(output):
    return [int(value) for value in re.findall(r"^[#.]{24} +(-?\d+)  \w", output, re.M)]


def upgrade_other(*options, timeout="1", words=UPGRADE):
    """Exit status, the statuses shown, and all that was said."""
    status, output, said = qvctl("-d", OTHER, "--timeout", timeout, *words, *options)
    return status, shown(output), output + said


# Reports of an upgrade in the background, exit status, the statuses shown, what is said.
UPGRADES = [
    (
        answers(201, 202, 203),
        ANSWERED,
        [201, 202, 203],
        f"device {OTHER}\n  fetches http://localhost:80/i\n    (from its broker's host, as it knows it)\n"
        f"  flashes it when its MD5 sum is {MD5}\n  keeps its configuration\n",
    ),
    (answers(201, -2), REFUSED, [201, -2], ""),
    (
        answers(201, 202),
        NO_ANSWER,
        [201, 202],
        "no word of the job within 1 s; the last was 202, image verified, flashing",
    ),
    # A new session in the middle of the job, whose statuses come late.
    (
        [*answers(201), BACK, *answers(202, 203)],
        ANSWERED,
        [201, 202, 203],
        f"note: device {OTHER} has connected again; its job may still run\n",
    ),
    (answers(202, 203), REFUSED, [], "another upgrade runs"),
    # No upgrade ends so, but a flashing that another controller asked for.
    (answers(-256, 201, 2, -3), REFUSED, [201, -3], "note: status 2 is of another job"),
    ([], NO_ANSWER, [], "no word of the job within 1 s\n"),
]


def test_upgrades(pretend):
    for reports, *wanted, said in UPGRADES:
        device = pretend(*reports)
        # A device that falls silent is waited for; one that does not may take its time.
        *got, text = upgrade_other("--background", timeout="1" if NO_ANSWER in wanted else "9")
        assert got == wanted and said in text, (reports, got, text)
        device.close()
    # Below 0 a flash reports how its tool ended, and nothing else.
    pretend(*answers(-2))
    status, _, text = upgrade_other(words=["flash", "--discard-config"])
    assert status == REFUSED and "the flashing tool was ended by signal 2\n" in text
    assert text.endswith(
        f"device {OTHER}\n"
        "  flashes what the last download left, also when its MD5 sum was wrong,\n"
        "    with updata_rootfs.sh, whatever board it is\n"
        "  loses its configuration, its broker's address too\n"
    )


def test_busy_device(pretend, overheard):
    """A 1002 or 1033 waits for a device that may upgrade; a 1032 is the way back from a hanging job."""
    pretend(*answers(201, 203), busy=True)
    for words in (UPGRADE, ["flash"]):
        status, _, text = upgrade_other(timeout="0.5", words=words)
        assert status == NO_ANSWER and "as while it upgrades; nothing was sent\n" in text
    assert not overheard.times(1002) and not overheard.times(1033)
    status, _, text = upgrade_other("--background", "--no-wait-back", timeout="0.5")
    assert status == ANSWERED and f"note: device {OTHER} does not answer" in text


def test_another_controller(pretend, images):
    """It is faster: its command comes between the question and the upgrade. Both have an end."""
    # Each 1002 waits for the one before; what a 1033 does beside it cannot be told from it.
    for rival, statuses, status, said in (
        (upgrade(1002, images), [-2], REFUSED, "status -2 is of an upgrade that was sent before"),
        (
            flash(save_config=1, reboot=0),
            [202, 203],
            UNCONFIRMED,
            "whose status that was, it does not tell",
        ),
    ):
        device = pretend(*answers(*statuses), rival=rival)
        got, ends, text = upgrade_other(timeout="9")
        assert (got, ends[-1]) == (status, statuses[-1]) and said in text, text
        device.close()


def test_blind_controller(pretend, broker, tmp_path):
    """The broker grants the subscription to the commands, and delivers none of them."""
    (tmp_path / "acl").write_text("topic qv/dev_to_controller\ntopic write qv/+\n")
    config = f"{broker.CONFIG.read_text()}listener 1884\nacl_file {tmp_path}/acl\n"
    (tmp_path / "conf").write_text(f"per_listener_settings true\n{config}allow_anonymous true\n")
    broker.kill()
    broker.CONFIG = tmp_path / "conf"
    broker.start()
    pretend(*answers(202, 203))
    for port, is_blind in (("1883", False), ("1884", True)):
        status, _, text = upgrade_other("-p", port)
        assert status == ANSWERED and ("whether another controller" in text) == is_blind, text


# What the device, which restarts after the last status, says and names as its firmware then;
# options, exit status, what is said.
RETURNS = [
    (DISCOVERY, "Z", [], ANSWERED, f"device {OTHER} is back with Z\n"),
    (DISCOVERY, "Y", [], UNCONFIRMED, "still names its firmware Y after 2 s"),
    (SYSTEM_STATS, "Y", [], NO_ANSWER, "not back within 2 s"),
    (None, "Y", ["--no-wait-back"], ANSWERED, "keeps its configuration\n"),
]


def test_return_of_the_device(pretend):
    for kind, fwname, options, status, said in RETURNS:

        def come_back():
            device.fwname = fwname
            device.report(*BACK[1:]) if kind == DISCOVERY else kind and device.idle()

        device = pretend(*answers(203), then=come_back)  # without 202: the tool restarts the device
        got, _, text = upgrade_other(*options, timeout="2")
        assert got == status and said in text, text
        device.close()


# The board, options, the statuses shown, the tools called. The last one is in the background: the
# agent discards commands for a moment after its end.
TOOL = "updata_rootfs.sh /tmp/qv_firmware.img"
OF_AN_AGENT = [
    (ROOTFS_BOARDS[0], ["--reboot", "--no-wait-back"], [202, 203], [TOOL, "reboot"]),
    (SYSUPGRADE_BOARD, ["--no-wait-back"], [203], ["sysupgrade /tmp/qv_firmware.img"]),
    (ROOTFS_BOARDS[0], ["--discard-config"], [202, 203], [TOOL.replace(" ", " -n ")]),
    (ROOTFS_BOARDS[0], ["--background"], [201, 202, 203], [TOOL]),
]


def test_upgrade_of_an_agent(overheard, wifi_manager, agent, images):
    """A real download from a real server, beside the pretended ones above."""
    port = ["--server-port", str(images.port)]
    for board, options, statuses, called in OF_AN_AGENT:
        BOARD.write_text(board)
        before = len(tools_called())
        words = ["upgrade", "fw.img", "--md5", images.md5().upper(), *port, *options]
        got = qvctl("-d", MAC, *words)
        assert (got[0], shown(got[1])) == (ANSWERED, statuses), got
        assert got[1].splitlines()[-1].startswith(24 * "#")
        poll(lambda: tools_called(before) == called, EASE_S, f"calls {called}")
    status, _, said = qvctl("-d", MAC, "upgrade", "a b.img", "--md5", MD5, "--server-port", "9")
    assert status == REFUSED
    assert "qvctl: the device was told to fetch http://localhost:9/a%20b.img\n" in said
    poll(lambda: statuses_of(overheard, 0)[-1:] == [-1], EASE_S, "the status of the one before")
    # The success of one that was sent before is not this one's.
    set_tool("updata_rootfs.sh", delay=1)
    mark = overheard.reports.mark()
    overheard.send(upgrade(1002, images))
    wait_statuses(overheard, mark, [202])
    got = qvctl("-d", MAC, "upgrade", "fw.img", "--md5", MD5, *port)
    assert (got[0], shown(got[1])) == (REFUSED, [-2]), got
    wait_statuses(overheard, mark, [202, 203, -2])


def test_served_image(overheard, wifi_manager, agent, images, tmp_path):
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
    _, command = overheard.wait_report(1002, EASE_S, mark)
    params = command["data"]["fw_params"]
    sum_ = hashlib.md5(file.read_bytes()).hexdigest()
    assert (params["image_name"], params["md5sum"]) == (file.name, sum_)


NETWORK_ELSEWHERE = """
    netns add away
    link add here type veth peer name there netns away
    -n away address add 10.9.0.2/24 dev there
    -n away link set there up
    address add 10.9.0.1/24 dev here
    link set here up"""


def test_serve_for_a_broker_elsewhere(tmp_path):
    """Devices download from their broker's host, where this qvctl is not."""
    file = tmp_path / "fw.img"
    file.write_bytes(b"image")
    config = tmp_path / "mosquitto.conf"
    config.write_text("listener 1883 10.9.0.2\nallow_anonymous true\nuser root\n")
    for words in NETWORK_ELSEWHERE.strip().splitlines():
        subprocess.run(["ip", *words.split()], check=True)
    command = ["ip", "netns", "exec", "away", "mosquitto", "-c", config]
    broker = subprocess.Popen(command, stderr=subprocess.DEVNULL)
    try:
        listing = ("-h", "10.9.0.2", "devices", "--listen", "0.1")
        poll(lambda: qvctl(*listing)[0] == NO_ANSWER, EASE_S, "broker")
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
    device = pretend(*answers(201))
    job = Terminal("-d", OTHER, *UPGRADE, "--background")
    job.wait("accepted, downloading")
    broker.kill()
    job.wait("connection lost; trying again")
    broker.start()
    job.wait("connected again")
    device.reconnect()
    device.report(UPDATA_STATS, {"updata_stats": -2})
    assert job.end() == REFUSED
    job.wait("MD5 sum is wrong")
