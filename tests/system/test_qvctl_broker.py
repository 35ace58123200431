"""qvctl's session with its broker: nothing that it says was sent is lost."""
import json
import socket
import threading
import time

from harness import REPORT_TOPIC, MqttClient, StandInBroker, poll
from qvctl import ANSWERED, OTHER, REFUSED, qvctl

CONNECT, CONNACK, PUBLISH, PUBACK, SUBSCRIBE, SUBACK, DISCONNECT = 1, 2, 3, 4, 8, 9, 14


def packet(kind, body, flags=0):
    assert len(body) < 128
    return bytes([kind << 4 | flags, len(body)]) + body


def read_packet(stream):
    kind = stream.read(1)
    if not kind:
        return None, b""
    length, shift = 0, 0
    while True:
        byte = stream.read(1)[0]
        length |= (byte & 127) << shift
        shift += 7
        if byte < 128:
            return kind[0] >> 4, stream.read(length)


class Flooder:
    """Meets a client with reports faster than it reads them, and reads what it sends late."""

    REPORT = packet(
        PUBLISH,
        len(REPORT_TOPIC).to_bytes(2, "big")
        + REPORT_TOPIC.encode()
        + json.dumps({"padding": 80 * "."}).encode(),
    )

    def __init__(self, acknowledges):
        self.heard = []
        self.ended = None  # how the connection did
        self._acknowledges = acknowledges

    def __call__(self, connection):
        connection.setsockopt(socket.SOL_SOCKET, socket.SO_SNDBUF, 65536)
        stop = threading.Event()
        lock = threading.Lock()

        def flood():
            try:
                while not stop.is_set():
                    with lock:
                        connection.sendall(100 * self.REPORT)
            except OSError:
                pass

        flooding = threading.Thread(target=flood, daemon=True)
        stream = connection.makefile("rb")
        try:
            while True:
                kind, body = read_packet(stream)
                self.heard.append(kind)
                if kind == CONNECT:
                    connection.sendall(packet(CONNACK, b"\0\0"))
                elif kind == SUBSCRIBE:
                    connection.sendall(packet(SUBACK, body[:2] + b"\0"))
                    flooding.start()
                elif kind == PUBLISH and self._acknowledges:
                    topic = int.from_bytes(body[:2], "big")
                    with lock:
                        connection.sendall(packet(PUBACK, body[2 + topic : 4 + topic]))
                    time.sleep(0.3)  # what follows is read late
                elif kind is None:
                    self.ended = "closed"
                    return
        except OSError:
            self.ended = "reset"
        finally:
            stop.set()
            connection.close()


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
        assert (got[0], flooder.heard, flooder.ended) == (
            status,
            [CONNECT, SUBSCRIBE, PUBLISH, DISCONNECT, None],
            "closed",
        ), got
        assert said in got[2]


def test_farewell_to_a_loaded_broker(broker, overheard):
    stop = threading.Event()
    source = MqttClient("source", lambda _: None)
    source.listen_to("nothing")
    source.connect()

    def speak():
        while not stop.wait(0.001):
            source.publish(REPORT_TOPIC, b"{}")

    overheard._client.unsubscribe(REPORT_TOPIC)  # the flood is not for it
    poll(lambda: broker.count("Sending UNSUBACK to controller") == 1, 3, "unsubscription")
    speaker = threading.Thread(target=speak)
    speaker.start()
    try:
        for index in range(40):
            assert qvctl("-d", OTHER, "notes", str(index))[0] == ANSWERED
    finally:
        stop.set()
        speaker.join()
        source.close()
    overheard.wait_report(1017, 3, count=40)
    poll(lambda: broker.agent_farewells() == 40, 3, "a farewell of each")
    assert broker.count(r"PUBLISH from auto-\S+ \(d0, q1") == 40


def test_timeout_holds_for_the_connection():
    silent = StandInBroker(lambda connection: None)
    begin = time.monotonic()
    assert qvctl("--timeout", "0.5", "devices") == (
        REFUSED,
        "",
        "qvctl: broker localhost:1883: no answer\n",
    )
    assert time.monotonic() - begin < 3
    silent.close()
