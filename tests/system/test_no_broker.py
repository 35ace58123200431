"""Brokers that are absent, hostile or mute, and SIGTERM while the agent tries."""
import pathlib
import re
import socket
import subprocess

import harness
import stand_ins
import pytest
from harness import EASE_S, gaps, poll

MUTE_HOST = "192.168.1.77"
REFUSED = bytes([0x20, 2, 0, 5])  # CONNACK, not authorised
ACCEPTED = bytes([0x20, 2, 0, 0])
NOT_SUBSCRIBED = bytes([0x90, 3, 0, 1, 0x80])  # SUBACK, failure


def after_connect(reply):
    def meet(connection):
        connection.settimeout(5)
        connection.recv(1024)
        connection.sendall(reply)
        connection.close()

    return meet


@pytest.fixture
def set_host(store):
    def change(host, before="127.0.0.1"):
        harness.edit_store("system", f"option host '{before}'", f"option host '{host}'")

    return change


@pytest.fixture
def mute_host(set_host):
    """A neighbour whose address resolves and who swallows every packet."""
    command = ["dev", "br-lan", "lladdr", "02:00:00:00:00:77", "nud", "permanent"]
    subprocess.run(["ip", "neighbour", "replace", MUTE_HOST, *command], check=True)
    set_host(MUTE_HOST)


def test_addresses_of_a_name_share_the_time(broker, start_agent, system_file, set_host):
    """More of them than the agent keeps; the first takes all that it gets: its one connection that
    waits to be accepted is there, so it answers no other."""
    addresses = ["::1"] + [f"127.0.0.{last}" for last in range(1, 13)]
    system_file("/etc/hosts", "".join(f"{address} broker.test\n" for address in addresses))
    set_host("broker.test")
    with socket.create_server(("::1", 1883), family=socket.AF_INET6, backlog=0):
        with socket.create_connection(("::1", 1883)):
            start_agent()
            broker.wait_subscribed(timeout=6)  # the first alone would take 10 s


@pytest.fixture
def mute_name_server(mute_host, set_host, system_file):
    """The broker's name is looked up there, and no other name."""
    system_file("/etc/resolv.conf", f"nameserver {MUTE_HOST}\noptions timeout:20\n")
    system_file("/etc/hosts", "127.0.0.1 known.test\n")
    set_host("broker.test", MUTE_HOST)


# What does not answer, the host then, the line of the attempt, and a host that answers.
MUTE = [
    ("mute_host", MUTE_HOST, "^COULD NOT CONNECT: ", "127.0.0.1"),
    ("mute_name_server", "broker.test", "^COULD NOT CONNECT: 15$", "known.test"),
]


@pytest.mark.parametrize("what, host, failure, other", MUTE, ids=["host", "name server"])
def test_mute_one_is_left(request, broker, start_agent, set_host, what, host, failure, other):
    request.getfixturevalue(what)
    agent = start_agent()
    begin, _ = agent.wait_line("^qva->broker: 1883$", EASE_S)  # the start itself may be slow
    failed, _ = agent.wait_line(failure, 12)
    assert failed - begin < 10.5
    set_host(other, host)
    again, _ = agent.wait_line("^qva->broker: 1883$", EASE_S, count=2)
    assert again - failed > 1.5
    broker.wait_subscribed()


def address_space(agent):
    """In KiB. Each thread that has ended and was not joined keeps its stack."""
    status = pathlib.Path(f"/proc/{agent.process.pid}/status").read_text()
    return int(re.search(r"^VmSize:\s+(\d+) kB$", status, re.M)[1])


def test_broker_comes_up_later(
    stopped_broker, wifi_manager, system_file, set_host, start_agent, idle_controller
):
    system_file("/etc/hosts", "127.0.0.1 broker.test\n")
    set_host("broker.test")
    harness.edit_store("system", "option status '0'", "option status '1'")  # as a crash leaves it
    agent = start_agent()
    agent.wait_line("^COULD NOT CONNECT: ", EASE_S, count=2)
    before = address_space(agent)
    agent.wait_line("^COULD NOT CONNECT: ", EASE_S, count=3)
    assert address_space(agent) == before or harness.sanitized() or harness.emulated()
    attempts = [at for at, _ in agent.lines("^broker.test 1883$")]
    assert all(1.5 < gap < 3 for gap in gaps(attempts)), attempts
    assert harness.store_option("system", "broker", "status") == "0"
    stopped_broker.start()
    idle_controller.connect()
    stopped_broker.wait_subscribed()
    idle_controller.wait_report(harness.DISCOVERY, EASE_S)
    assert stopped_broker.agent_sessions() == 1
    assert harness.store_option("system", "broker", "status") == "1"


ENDED = "^Disconnected from MQTT broker|^COULD NOT CONNECT"
HOSTILE = {
    "drops": (socket.socket.close, ENDED),
    "refuses": (after_connect(REFUSED), "^Error with result code: 5$"),
    "refuses commands": (after_connect(ACCEPTED + NOT_SUBSCRIBED), "^QV_ERR: .* subscription"),
    "accepts then drops": (after_connect(ACCEPTED), "^Disconnected .* with result code: "),
}


@pytest.mark.parametrize("meet, logged", HOSTILE.values(), ids=HOSTILE.keys())
def test_hostile_broker_is_not_stormed(start_agent, stopped_broker, meet, logged):
    listener = stand_ins.StandInBroker(meet)
    try:
        agent = start_agent()
        poll(lambda: len(listener.accepted) >= 3, 2 * EASE_S, "third attempt")
    finally:
        listener.close()
    assert all(gap > 1.9 for gap in gaps(listener.accepted)), listener.accepted
    agent.wait_line(logged, EASE_S)
    # The agent is none the worse for it.
    stopped_broker.start()
    stopped_broker.wait_subscribed()


@pytest.fixture
def silent_broker():
    """Accepts connections and says nothing."""
    listener = stand_ins.StandInBroker(lambda connection: None)
    yield listener
    listener.close()


def test_broker_that_never_accepts_the_session_is_left(start_agent, silent_broker):
    agent = start_agent()
    poll(lambda: len(silent_broker.accepted) >= 2, 12 + EASE_S, "second attempt")
    assert 9 < gaps(silent_broker.accepted)[0] < 12
    agent.wait_line("^Disconnected from MQTT broker with result code: 27$", EASE_S)


@pytest.mark.parametrize(
    "broker_kind", ["absent", "mute_host", "mute_name_server", "silent_broker"]
)
def test_sigterm_while_connecting(start_agent, broker_kind, request):
    listener = None if broker_kind == "absent" else request.getfixturevalue(broker_kind)
    agent = start_agent()
    agent.wait_line("^qva->broker: 1883$", EASE_S)
    if broker_kind == "silent_broker":
        poll(lambda: listener.accepted, EASE_S, "connection")
    status, seconds = agent.stop()
    assert (status, seconds < 3) == (0, True)
    assert harness.store_option("system", "broker", "status") == "0"
