"""qvctl's session with its broker: nothing that it says was sent is lost."""
import socket
import threading
import time

from harness import REPORT_TOPIC, PacketSession, StandInBroker, poll
from qvctl import ANSWERED, OTHER, REFUSED, qvctl

MQTT_5 = 5  # as a CONNECT has it


class Flooder:
    """Meets a client with reports faster than it reads them, and reads what it sends late."""

    def __init__(self, acknowledges):
        self.ended = None  # how the connection did
        self._acknowledges = acknowledges

    def __call__(self, connection):
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 65536)
        self.session = PacketSession(connection)
        self._lock, self._stop = threading.Lock(), threading.Event()
        try:
            if self._refuses_version(self.session):
                return
            self._serve(self.session)
            self.ended = "closed"
        except OSError:
            self.ended = "reset"
        finally:
            self._stop.set()
            connection.close()

    @staticmethod
    def _refuses_version(session):
        """As brokers do that speak MQTT 3.1.1 alone."""
        while not session.packets:
            session.read_some()
        if session.packets[0][1][6] != MQTT_5:
            return False
        session.send(session.CONNACK, b"\0\1")
        return True

    def _serve(self, session):
        session.accept()
        answered = 1
        while session.read_some():
            for kind, body in session.packets[answered:]:
                answered += 1
                if kind == session.SUBSCRIBE:
                    session.send(session.SUBACK, body[:2] + b"\0")
                    threading.Thread(target=self._flood, daemon=True).start()
                elif kind == session.PUBLISH and self._acknowledges:
                    topic = int.from_bytes(body[:2], "big")
                    with self._lock:
                        session.send(session.PUBACK, body[2 + topic : 4 + topic])
                    time.sleep(0.3)  # what follows is read late

    def _flood(self):
        try:
            while not self._stop.is_set():
                with self._lock:
                    self.session.publish(REPORT_TOPIC, b'{"padding":"' + 80 * b"." + b'"}', 100)
        except OSError:
            pass


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
