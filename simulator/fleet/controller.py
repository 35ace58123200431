"""The controller of a fleet: hears every device, asks those that speak, and keeps when each spoke.

In each round, from connect() or new_round() on, a device that speaks is asked one question, again
with each word until it answers. After a session of its own was lost the controller also asks all
that it knows: it cannot tell what it missed. An announcement is always answered, as a device that
announces itself reports nothing until it is spoken to.
"""
import collections
import dataclasses
import json
import threading
import time

import paho.mqtt.client as mqtt

REPORT_TOPIC = "qv/dev_to_controller"
DISCOVERY, SYSTEM_STATS, RADIO_STATS = 1000, 1003, 1006
# Commands and the reports that answer them. Devices report system statistics by themselves, radio
# statistics only when asked.
ASK_SYSTEM_STATS, ASK_RADIO_STATS = (1034, SYSTEM_STATS), (1025, RADIO_STATS)


class Unmet(Exception):
    """A demand that the fleet did not meet."""


@dataclasses.dataclass
class Device:
    announcements: int = 0
    stats: list = dataclasses.field(default_factory=list)  # times of system statistics
    asked: float | None = None  # first, in this round
    answered: float | None = None  # first, in this round


@dataclasses.dataclass
class Traffic:
    messages: int = 0
    payload: int = 0  # bytes

    def mean(self):
        return round(self.payload / self.messages) if self.messages else 0


class Controller:
    def __init__(self, devices):
        self.devices = {mac: Device() for mac in devices}
        self.traffic = collections.defaultdict(Traffic)  # by report type
        self.question = ASK_SYSTEM_STATS
        self.strangers = set()
        self.heard = set()  # (mac, type, timestamp) of every report
        self._changed = threading.Condition()
        self._ready = threading.Event()
        version = getattr(mqtt, "CallbackAPIVersion", None)
        # Without an identifier of its own: a cluster need not settle then what became of the last
        # session under the same one, on a node that is gone.
        self._client = mqtt.Client(*([version.VERSION1] if version else []))
        self._client.on_connect = lambda client, *_: client.subscribe(REPORT_TOPIC)
        self._client.on_subscribe = lambda *_: self._begin_session()
        self._client.on_disconnect = lambda *_: self._ready.clear()
        self._client.on_message = lambda _client, _data, message: self._hear(message)
        self._client.reconnect_delay_set(1, 1)

    def connect(self, host, certificates=None):
        """From here on the client makes every new session by itself, a second after a loss. With
        files of the authority, a certificate and its key it does so by TLS."""
        if certificates:
            self._client.tls_set(*certificates)
        self._client.connect_async(host, 8883 if certificates else 1883, keepalive=5)
        self._client.loop_start()
        if not self._ready.wait(15):
            raise Unmet("the controller has no session with the broker")

    def close(self):
        self._client.loop_stop()
        self._client.disconnect()

    def _begin_session(self):
        self._ready.set()
        with self._changed:
            for mac, device in self.devices.items():
                if device.announcements and device.answered is None:
                    self._ask(mac, device)

    def _hear(self, message):
        now = time.monotonic()
        report = json.loads(message.payload)
        with self._changed:
            kind, mac = report["type"], report["macaddr"]
            self.heard.add((mac, kind, report["timestamp"]))
            self.traffic[kind].messages += 1
            self.traffic[kind].payload += len(message.payload)
            device = self.devices.get(mac)
            if device is None:
                self.strangers.add(mac)
                return
            self._note(device, kind, now)
            if kind == DISCOVERY or device.answered is None:
                self._ask(mac, device)
            self._changed.notify_all()

    def _note(self, device, kind, now):
        if kind == DISCOVERY:
            device.announcements += 1
        elif kind == SYSTEM_STATS:
            device.stats.append(now)
        if kind == self.question[1] and device.asked is not None and device.answered is None:
            device.answered = now

    def _ask(self, mac, device):
        device.asked = device.asked or time.monotonic()
        command = {"type": self.question[0], "timestamp": int(time.time() * 1000)}
        self._client.publish(f"qv/device_{mac}", json.dumps(command))

    def new_round(self, question):
        with self._changed:
            self.question = question
            for device in self.devices.values():
                device.asked = device.answered = None

    def announced(self):
        return sum(device.announcements > 0 for device in self.devices.values())

    def wait(self, done, timeout, what):
        """Until done(), which is tried after every message."""
        with self._changed:
            if not self._changed.wait_for(done, timeout):
                raise Unmet(f"{what}: not complete after {timeout} s")

    def wait_answers(self, deadline, what):
        """Until every device has answered in this round; `deadline` is a monotonic time."""
        with self._changed:
            self._changed.wait_for(lambda: not self._silent(), deadline - time.monotonic())
            silent = self._silent()
        if silent:
            raise Unmet(f"{what}: {len(silent)} of {len(self.devices)} do not answer: {silent[:5]}")
        return [device.answered for device in self.devices.values()]

    def _silent(self):
        return [mac for mac, device in self.devices.items() if device.answered is None]

    def answer_times(self):
        """Seconds from question to answer of every device in this round."""
        return [device.answered - device.asked for device in self.devices.values()]

    def totals(self):
        """Messages and payload bytes so far."""
        with self._changed:
            seen = list(self.traffic.values())
            return sum(one.messages for one in seen), sum(one.payload for one in seen)
