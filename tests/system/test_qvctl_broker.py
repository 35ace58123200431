"""qvctl's session with its broker: nothing that it says was sent is lost."""
import socket
import time

from harness import REPORT_TOPIC, poll
from stand_ins import PacketSession, StandInBroker
from qvctl import ANSWERED, OTHER, REFUSED, qvctl

MQTT_5 = 5  # as a CONNECT has it


class Flooder:
    """Meets a client with reports faster than it reads them, and reads late what it sends."""

    def __init__(self, acknowledges):
        self.ended = None  # how the connection did
        self._acknowledges = acknowledges

    def __call__(self, connection):
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 65536)
        self.session = PacketSession(connection)
        try:
            self._serve(self.session)
        except OSError:
            self.ended = "reset"
        connection.close()

    def _serve(self, session):
        session.read_some()
        if session.packets[0][1][6] == MQTT_5:  # refused by brokers that speak MQTT 3.1.1 alone
            session.send(session.CONNACK, b"\0\1")
            return
        session.accept()
        while session.read_some():
            kind, body = session.packets[-1]
            if kind == session.SUBSCRIBE:
                session.send(session.SUBACK, body[:2] + b"\0")
            elif kind == session.PUBLISH and self._acknowledges:
                topic = int.from_bytes(body[:2], "big")
                session.send(session.PUBACK, body[2 + topic : 4 + topic])
            self._flood(session, 0.3)
        self.ended = "closed"

    @staticmethod
    def _flood(session, seconds):
        """What the client sends meanwhile is read later."""
        end = time.monotonic() + seconds
        while time.monotonic() < end:
            session.publish(REPORT_TOPIC, b'{"padding":"' + 80 * b"." + b'"}', 100)


FAREWELL = [PacketSession.CONNECT, PacketSession.SUBSCRIBE, PacketSession.PUBLISH]
FAREWELL.append(PacketSession.DISCONNECT)


def test_farewell_among_unread_reports():
    """A reset would take along what the broker has not read."""
    for acknowledges, timeout, status, said in (
        (True, "10", ANSWERED, ""),
        (False, "0.5", REFUSED, "takes no messages"),
    ):
        flooder = Flooder(acknowledges)
        broker = StandInBroker(flooder)
        got = qvctl("-d", OTHER, "--timeout", timeout, "notes", "on the roof")
        poll(lambda: flooder.ended, 5, "the end of the connection")
        broker.close()
        heard = [kind for kind, _ in flooder.session.packets]
        assert (got[0], heard, flooder.ended) == (status, FAREWELL, "closed"), got
        assert said in got[2]


def test_timeout_holds_for_the_connection():
    silent = StandInBroker(lambda connection: None)
    begin = time.monotonic()
    said = "qvctl: broker localhost:1883: no answer\n"
    assert qvctl("--timeout", "0.5", "devices") == (REFUSED, "", said)
    assert time.monotonic() - begin < 3
    silent.close()
