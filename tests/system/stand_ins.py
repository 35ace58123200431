"""What stands in a broker's place, or on the way to it, and does what no broker does on demand."""
import contextlib
import re
import socket
import struct
import threading
import time


class StandInBroker:
    """Holds the broker's port, or another, and meets every connection in one chosen way."""

    def __init__(self, meet, port=1883):
        self.accepted = []
        self._meet = meet
        self._socket = socket.create_server(("127.0.0.1", port), backlog=64)
        self._thread = threading.Thread(target=self._serve, daemon=True)
        self._thread.start()

    def _serve(self):
        kept = []  # a connection that is not closed on purpose stays open
        with contextlib.suppress(OSError):
            while True:
                kept.append(self._socket.accept()[0])
                self.accepted.append(time.monotonic())
                with contextlib.suppress(OSError):
                    self._meet(kept[-1])

    def close(self):
        self._socket.shutdown(socket.SHUT_RDWR)
        self._socket.close()
        self._thread.join(5)


class PacketSession:
    """The broker's end of a connection, by hand and of packets shorter than 128 bytes: those of
    MQTT 3.1.1. `.packets` holds the type and body of what was read."""

    CONNECT, CONNACK, PUBLISH, PUBACK, SUBSCRIBE, SUBACK = 1, 2, 3, 4, 8, 9
    DISCONNECT = 14

    def __init__(self, connection):
        self.socket = connection
        self.socket.settimeout(5)
        self.packets = []
        self._rest = b""

    def read(self, limit=5):
        """Reads on until nothing comes for so long. Returns whether the last packet is whole."""
        self.socket.settimeout(limit)
        with contextlib.suppress(TimeoutError):
            while self.read_some(1 << 20):
                pass
        return not self._rest

    def read_some(self, most=4096):
        """Returns whether the other side has not ended the connection."""
        data = self.socket.recv(most)
        self._rest += data
        # A packet's length, seven bits a byte, stands behind its first byte.
        while whole := re.match(rb"(?s)(.)([\x80-\xff]*[\0-\x7f])", self._rest):
            length = sum((byte & 127) << 7 * index for index, byte in enumerate(whole[2]))
            end = whole.end() + length
            if len(self._rest) < end:
                break
            self.packets.append((whole[1][0] >> 4, self._rest[whole.end() : end]))
            self._rest = self._rest[end:]
        return data != b""

    def accept(self):
        """Reads the CONNECT and accepts the session."""
        while not self.packets:
            self.read_some(1024)
        self.send(self.CONNACK, b"\0\0")

    def send(self, kind, body, repeats=1):
        assert len(body) < 128
        self.socket.sendall((bytes([kind << 4, len(body)]) + body) * repeats)

    def publish(self, topic, payload, repeats=1):
        self.send(self.PUBLISH, struct.pack(">H", len(topic)) + topic.encode() + payload, repeats)

    def reset(self):
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
        self.socket.close()


class Link:
    """A way to the broker on a port of its own, which a test can cut, shut, and hold still.

    Whoever is led over it by the store loses only this way: the broker and everybody else go on.
    """

    def __init__(self, port):
        self.port = port
        self.accepted = []
        self.up, self.down = threading.Event(), threading.Event()  # cleared: held in that direction
        self._pairs = set()
        self._listener = None
        self.go_on()
        self.open()

    def open(self):
        self._listener = self._listener or StandInBroker(self._pair, self.port)

    def shut(self):
        """New connections are refused."""
        if self._listener is not None:
            self._listener.close()
            self._listener = None

    def cut(self):
        """Ends every connection, as a broker does that goes down. Returns how many there were."""
        pairs = list(self._pairs)
        for pair in pairs:
            self._end(pair)
        return len(pairs)

    def hold(self):
        """Connections are made and kept, and nothing passes."""
        self.up.clear()
        self.down.clear()

    def go_on(self):
        self.up.set()
        self.down.set()

    def close(self):
        self.cut()
        self.go_on()
        self.shut()

    def _pair(self, near):
        try:
            far = socket.create_connection(("127.0.0.1", 1883))
        except OSError:
            near.close()
            return
        self.accepted.append(time.monotonic())
        pair = (near, far)
        self._pairs.add(pair)
        for source, sink, gate in ((near, far, self.up), (far, near, self.down)):
            sink.setsockopt(socket.IPPROTO_TCP, socket.TCP_NODELAY, 1)
            way = (pair, source, sink, gate)
            threading.Thread(target=self._pass, args=way, daemon=True).start()

    def _pass(self, pair, source, sink, gate):
        with contextlib.suppress(OSError):
            while data := source.recv(1 << 20):
                gate.wait()
                sink.sendall(data)
        gate.wait()  # the end, too, is held
        self._end(pair)

    def _end(self, pair):
        self._pairs.discard(pair)
        for end in pair:
            with contextlib.suppress(OSError):  # has ended already
                end.shutdown(socket.SHUT_RDWR)
