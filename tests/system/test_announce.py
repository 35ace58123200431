"""An agent comes up, announces itself until it is spoken to, then reports on its own."""
import ctypes
import os
import pathlib
import re
import socket
import time

import harness
from firmware import STALLED, UPDATA_STATS, statuses, upgrade, wait_statuses
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, gaps

ANNOUNCEMENT_S = 5
BUSY_LOOK_S = 4  # at least, between two looks of the main loop at a state that is busy
STALL_LIMIT_S = 30  # below a byte per second,
SPEED_WINDOW_S = 6  # which libcurl takes as the mean of the last six
MAC = os.environ.get("AP_MAC")
ADDRESS = os.environ.get("AP_IP", "").split("/")[0]


def cpu_seconds(agent):
    """Of all threads."""
    threads = pathlib.Path(f"/proc/{agent.process.pid}/task").iterdir()
    return sum(int((thread / "schedstat").read_text().split()[0]) for thread in threads) / 1e9


def test_announces_until_spoken_to_then_reports_every_ten_seconds(
    controller, wifi_manager, start_agent
):
    time.sleep((0.4 - time.time()) % 1)
    agent = start_agent()
    controller.wait_report(DISCOVERY, 18, count=3)
    assert all(4 < gap < 6 for gap in gaps(controller.times(DISCOVERY)))
    # On whole seconds of the clock, although the agent was started between two.
    assert min(report["timestamp"] % 1000 for _, report in controller.reports.items()) < 300
    _, discovery = controller.reports.items()[0]
    assert discovery["macaddr"] == MAC
    assert discovery["data"] == {"device_discovery_macaddr": {"macaddr": MAC}}

    stats = controller.ask(1034, SYSTEM_STATS)
    spoken = controller.reports.mark()
    assert (stats["macaddr"], stats["ip"]) == (MAC, ADDRESS)

    # The first of the agent's own reports comes with the main loop's next pass.
    controller.wait_report(SYSTEM_STATS, ANNOUNCEMENT_S + 3, spoken)
    before = cpu_seconds(agent)
    controller.wait_report(SYSTEM_STATS, 24, spoken, count=3)
    used = cpu_seconds(agent) - before
    times = controller.times(SYSTEM_STATS, spoken)
    assert all(8.9 < gap < 11.1 for gap in gaps(times)), times
    assert not controller.times(DISCOVERY, spoken)
    # Each report followed the periodic pair, in its order.
    asked = [line.split()[-1] for _, line in agent.lines(r"^process_msg->type 103[45]")]
    assert asked[1:5] == ["1035", "1034"] * 2
    if not harness.sanitized():
        assert used < 0.002 * (times[-1] - times[0]), f"{used} s of CPU while idle"


def test_background_upgrade_as_first_command(broker, controller, agent, images):
    """It ends the announcements, and the agent's own reports begin with the next command only. Its
    server falls silent in the middle of the image, for longer than the broker waits for a sign of
    life."""
    mark, begin = controller.reports.mark(), time.monotonic()
    controller.send(upgrade(1032, images, image_name=STALLED))
    wait_statuses(controller, mark, [201])
    controller.wait_report(UPDATA_STATS, STALL_LIMIT_S + SPEED_WINDOW_S + EASE_S, mark, 2)
    assert statuses(controller, mark) == [201, -1]
    stalled_for = time.monotonic() - begin
    assert stalled_for > STALL_LIMIT_S
    assert len(agent.lines("^sm->state:4$")) <= stalled_for / BUSY_LOOK_S + 1
    assert not controller.times(DISCOVERY, mark)
    assert not controller.times(SYSTEM_STATS, mark)
    assert broker.agent_sessions() == 1
    controller.send(1000)
    controller.wait_report(SYSTEM_STATS, ANNOUNCEMENT_S + 3, mark)


def broker_socket(agent):
    """A copy of the agent's end (pidfd_getfd(2))."""
    pidfd_getfd, process = 438, os.pidfd_open(agent.process.pid)
    for file in pathlib.Path(f"/proc/{agent.process.pid}/fd").iterdir():
        if os.readlink(file).startswith("socket:"):
            copy = ctypes.CDLL(None, use_errno=True).syscall(
                pidfd_getfd, process, int(file.name), 0
            )
            end = socket.socket(fileno=copy)
            if end.family == socket.AF_INET and end.getpeername()[1] == 1883:
                return end
    raise AssertionError("no connection to the broker")


def test_reports_are_not_held_back(agent):
    """Else the second of two waits for the broker's delayed acknowledgement of the first, 40 ms."""
    assert broker_socket(agent).getsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY)


def test_first_contact_log(controller, agent):
    controller.send({"type": "1034"})
    controller.wait_report(SYSTEM_STATS, EASE_S)
    steps = [f"device_macaddr: {MAC}", f"ipaddr---------{ADDRESS}", "sm->state:1"]
    steps += ["qva->broker: 127.0.0.1", "qva->broker: 1883", "127.0.0.1 1883"]
    steps += ["Successfully subscribed to topic", f"SUB TOPIC=qv/device_{MAC}"]
    steps += ["hdr.type: 1034, hdr.ts: 0", "process_msg->type 1034", "SUB MSG:payload="]
    steps += ["qv_get_system_stats: HW Name: KX7310", "PUB MSG: topic=qv/dev_to_controller len="]
    agent.wait_line(f"^{steps[-1]}.* 1003,", EASE_S)
    log = "\n".join(line for _, line in agent.log.items())
    assert re.search("^" + "(.|\n)*^".join(map(re.escape, steps)), log, re.M), log
    assert harness.store_option("system", "broker", "status") == "1"
