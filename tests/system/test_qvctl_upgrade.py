"""qvctl brings firmware to agents, and to devices that only pretend to be one."""
import re

from firmware import BOARD, ROOTFS_BOARDS, SYSUPGRADE_BOARD
from qvctl import ANSWERED, MAC, MD5, NO_ANSWER, OTHER, REFUSED, qvctl


UPGRADE_BODIES = {1000: "device_discovery_macaddr", 1015: "updata_stats"}

# Reports of an upgrade, exit status, the statuses shown, what is said at the end.
UPGRADES = [
    ([(0, 1015, 201), (0.1, 1015, 202), (0.1, 1015, 203)], ANSWERED, [201, 202, 203], ""),
    ([(0, 1015, 201), (0.1, 1015, -2)], REFUSED, [201, -2], ""),
    ([(0, 1015, -256)], REFUSED, [-256], ""),
    ([(0, 1015, 201), (0.1, 1015, 202)], NO_ANSWER, [201, 202],
     "no word of the job within 1 s; the last was 202, image verified, flashing"),
    # A new session in the middle of the job, whose statuses come late.
    ([(0, 1015, 201), (0.1, 1000, {"macaddr": OTHER}), (0.1, 1015, 202), (0.1, 1015, 203)], ANSWERED,
     [201, 202, 203], f"note: device {OTHER} has connected again; its job may still run\n"),
    ([(0, 1015, 202), (0.1, 1015, 203)], REFUSED, [], "another upgrade runs"),
    ([], NO_ANSWER, [], "no word of the job within 1 s\n"),
]


def test_upgrades(pretend):
    for answers, status, shown, said in UPGRADES:
        data = [(pause, kind, {UPGRADE_BODIES[kind]: value})
                for pause, kind, value in answers]
        device = pretend(*data)
        got = qvctl("-d", OTHER, "--timeout", "1", "upgrade", "i", "--md5", MD5, "--background")
        statuses = [int(value) for value in re.findall(r"^[#.]{24} +(-?\d+)  \w", got[1], re.M)]
        assert (got[0], statuses) == (status, shown), got
        assert said in got[2]
        device.close()
    # Below 0 a flash reports how its tool ended, and nothing else.
    pretend((0, 1015, {"updata_stats": -2}))
    status, output, _ = qvctl("-d", OTHER, "flash")
    assert status == REFUSED and "the flashing tool was ended by signal 2\n" in output


def test_upgrade_of_an_agent(overheard, wifi_manager, agent, images):
    """A real download from a real server, beside the pretended ones above."""
    for board, command, statuses in (
        (ROOTFS_BOARDS[0], ["--save-config", "--reboot"], [202, 203]),
        (SYSUPGRADE_BOARD, [], [203]),
        # The last: the agent discards commands for a moment after the job's end.
        (ROOTFS_BOARDS[0], ["--background"], [201, 202, 203]),
    ):
        BOARD.write_text(board)
        got = qvctl("-d", MAC, "upgrade", "fw.img", "--md5", images.md5().upper(), "--server-port",
                    str(images.port), *command)
        shown = [int(value) for value in re.findall(r"^[#.]{24} +(-?\d+)  \w", got[1], re.M)]
        assert (got[0], shown, got[2]) == (ANSWERED, statuses, "")
        assert got[1].splitlines()[-1].startswith(24 * "#")
