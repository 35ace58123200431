"""A broker that reads slowly, not at all, or accepts a session at the last moment."""
import contextlib
import re
import signal
import socket
import time

import harness
import pytest
from harness import EASE_S, poll
from stand_ins import PacketSession

ACCEPT_LIMIT_S = 10
REST_S = 1.5  # longer than the agent takes for a report, on a machine that is busy
FIT, TOO_MANY = 20, 40  # reports of 40 KB that the agent keeps, and that wait for room
REPORT = "^PUB MSG: .* msg=(.*sta_stats_list.*)"
# For what waits: on the session that is left, and on one attempt to make another.
CLOSE_LIMIT_S = 0.5 + 3


def accepted(listener):
    session = PacketSession(listener.accept()[0])
    session.accept()
    return session


def reports(session):
    return [
        body[2 + len(harness.REPORT_TOPIC) :].decode()
        for kind, body in session.packets
        if kind == session.PUBLISH and b"sta_stats_list" in body
    ]


@pytest.fixture
def listener():
    """What the agent connects to; the test takes each connection. What is not read stays with the
    agent: both ends' sockets hold little, the agent's because it grows with the segments."""
    server = socket.create_server(("127.0.0.1", 1883))
    server.setsockopt(socket.SOL_SOCKET, socket.SO_RCVBUF, 4096)
    server.setsockopt(socket.IPPROTO_TCP, socket.TCP_MAXSEG, 1000)
    server.settimeout(EASE_S)
    yield server
    server.close()


@pytest.fixture
def ask(listener, wifi_manager, idle_controller):
    """Asks for reports of some 40 KB, and waits until the agent makes no more of them."""
    wifi_manager.restart("--stations", "255")

    def send(agent, session, count):
        for _ in range(count):
            session.publish(idle_controller.topic, b'{"type":1024,"timestamp":1}')
        agent.wait_line(REPORT, EASE_S)
        poll(lambda: time.monotonic() - agent.lines(REPORT)[-1][0] > REST_S, 30, "rest")

    return send


def said(agent):
    """The reports that the agent has handed to its link, oldest first."""
    return [re.search(REPORT, line)[1] for _, line in agent.lines(REPORT)]


def test_lost_in_the_middle_of_a_report(listener, start_agent, ask):
    agent = start_agent()
    first = accepted(listener)
    ask(agent, first, FIT)
    agent.process.send_signal(signal.SIGSTOP)
    assert not first.read(0.3)  # what the agent's socket holds ends within a report
    first.reset()
    agent.process.send_signal(signal.SIGCONT)
    second = accepted(listener)
    poll(lambda: second.read(0.2) and len(reports(second)) >= FIT // 2, EASE_S, "the rest")
    assert reports(first) + reports(second) == said(agent)
    assert len(said(agent)) == FIT
    second.reset()


@pytest.fixture
def choked(listener, start_agent, ask):
    """An agent that waits for room, and the session that gives it none."""
    agent = start_agent()
    session = accepted(listener)
    ask(agent, session, TOO_MANY)
    assert len(said(agent)) < TOO_MANY
    yield agent, session
    session.reset()


def test_nothing_is_dropped_while_the_session_lives(choked):
    agent, session = choked
    poll(lambda: session.read(0.2) and len(reports(session)) >= TOO_MANY, EASE_S, "every report")
    assert reports(session) == said(agent)
    assert not agent.lines("dropped")


def test_farewell(listener, start_agent, ask, idle_controller):
    """What fits goes out before the DISCONNECT, to a broker that goes on talking."""
    agent = start_agent()
    session = accepted(listener)
    ask(agent, session, FIT // 2)
    agent.process.send_signal(signal.SIGTERM)
    with contextlib.suppress(ConnectionError):
        while session.read_some():
            session.publish(idle_controller.topic, b'{"type":1000,"timestamp":1}')
    assert agent.exit_status(EASE_S) == 0
    assert reports(session) == said(agent)
    assert session.packets[-1] == (session.DISCONNECT, b"")
    session.reset()


def test_sigterm(choked):
    agent, _ = choked
    status, seconds = agent.stop()
    assert (status, seconds < CLOSE_LIMIT_S + 0.5) == (0, True)
    assert len(agent.lines(r"^QV_ERR: \d+ reports dropped, no session with the broker$")) == 1


def test_accepted_at_the_very_limit(listener, start_agent):
    agent = start_agent()
    session = PacketSession(listener.accept()[0])
    begin = time.monotonic()
    time.sleep(ACCEPT_LIMIT_S - 0.5)  # the agent's time may run for longer than this test's
    agent.process.send_signal(signal.SIGSTOP)
    session.accept()
    time.sleep(begin + ACCEPT_LIMIT_S + 0.2 - time.monotonic())
    agent.process.send_signal(signal.SIGCONT)
    agent.wait_line("^Successfully subscribed to topic$", EASE_S)
    listener.settimeout(2.5)  # longer than the pause between two attempts
    with pytest.raises(TimeoutError):
        listener.accept()
    session.reset()
