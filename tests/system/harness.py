"""What the system tests drive and look at: the agent under test, the broker, a controller, the
wifi manager, the configuration store and the device tools of one simulated access point.

Every wait has a deadline; a test that would hang fails instead.
"""
import contextlib
import fcntl
import itertools
import json
import os
import pathlib
import re
import shlex
import signal
import socket
import struct
import subprocess
import threading
import time

import contract
import paho.mqtt.client as mqtt

AP_DIR = pathlib.Path(os.environ.get("AP_DIR", "/nonexistent"))
ZENDRY_ROOT = pathlib.Path(os.environ.get("ZENDRY_ROOT", "/nonexistent"))
BUILD_DIR = pathlib.Path(os.environ.get("QV_BUILD_DIR", "/nonexistent"))
# A foreign agent's command begins with the emulator that runs it.
AGENT = shlex.split(os.environ.get("QV_AGENT", "")) or [str(BUILD_DIR / "qvagent")]
REPORT_TOPIC = "qv/dev_to_controller"

DISCOVERY = 1000
SYSTEM_STATS = 1003

# For what has no deadline of its own, on a machine that is busy.
EASE_S = 10

SANITIZER = re.compile(r"Sanitizer|runtime error:")


class Deadline(AssertionError):
    """What a test waited for did not come in time."""


class Timeline:
    """Things in the order of arrival, each with its monotonic time."""

    def __init__(self):
        self._items = []

    def add(self, item):
        self._items.append((time.monotonic(), item))

    def mark(self):
        """A position behind everything that has arrived."""
        return len(self._items)

    def items(self, since=0):
        return self._items[since:]

    def clear(self):
        """Forgets everything: marks made before point nowhere any more."""
        self._items.clear()

    def wait(self, wanted, timeout, since=0, count=1, what="item"):
        """Returns the time and value of the count-th wanted item from position since on."""
        hits, seen = [], since

        def found():
            nonlocal seen
            fresh = self.items(seen)
            seen += len(fresh)
            hits.extend((at, item) for at, item in fresh if wanted(item))
            return hits[count - 1 : count]

        try:
            return poll(found, timeout, what)[0]
        except Deadline as missing:
            tail = "\n".join(str(item)[:300] for _, item in self._items[-30:])
            raise Deadline(f"{missing}; the last of them:\n{tail}") from None


def poll(test, timeout, what):
    """Returns the first true value of test()."""
    deadline = time.monotonic() + timeout
    while not (value := test()):
        if time.monotonic() > deadline:
            raise Deadline(f"{what} not seen within {timeout} s")
        time.sleep(0.01)
    return value


def keep_lines(pipe, timeline):
    """Adds what comes through the pipe to the timeline, in a thread of its own."""

    def read():
        for line in pipe:
            timeline.add(line.decode(errors="replace").rstrip("\n"))

    reader = threading.Thread(target=read, daemon=True)
    reader.start()
    return reader


class Agent:
    """The agent under test. Its log lines arrive in .log with their times."""

    def __init__(self, **environment):
        self.log = Timeline()
        self.errors = Timeline()
        self.process = subprocess.Popen(
            AGENT,
            env=os.environ | environment,
            stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE,
            stderr=subprocess.PIPE,
            start_new_session=True,  # a process group that a test can signal as a whole
        )
        self.started = time.monotonic()
        self._end_examined = False
        pipes = (self.process.stdout, self.log), (self.process.stderr, self.errors)
        self._readers = [keep_lines(*pipe) for pipe in pipes]

    def wait_line(self, pattern, timeout, since=0, count=1):
        wanted = re.compile(pattern)
        return self.log.wait(wanted.search, timeout, since, count, f"log line /{pattern}/")

    def lines(self, pattern, since=0):
        wanted = re.compile(pattern)
        return [(at, line) for at, line in self.log.items(since) if wanted.search(line)]

    def exit_status(self, timeout):
        try:
            status = self.process.wait(timeout)
        except subprocess.TimeoutExpired:
            raise Deadline(f"agent still running after {timeout} s") from None
        self._end_examined = True
        for reader in self._readers:
            reader.join(5)
        return status

    def stop(self, timeout=2 * EASE_S, signal_number=signal.SIGTERM):
        """Asks the agent to end. Returns its exit status and the seconds that it took."""
        asked = time.monotonic()
        self.process.send_signal(signal_number)
        return self.exit_status(timeout), time.monotonic() - asked

    def close(self):
        """Ends the agent if it runs, and checks that nothing went wrong unseen."""
        try:
            if self.process.poll() is None:
                status, _ = self.stop()
                assert status == 0, f"agent ended with status {status}"
            assert self._end_examined, f"agent ended unasked with {self.process.returncode}"
        finally:
            if self.process.poll() is None:
                self.process.kill()
            self.exit_status(EASE_S)
        faults = [line for _, line in self.errors.items() if SANITIZER.search(line)]
        assert not faults, "\n".join(line for _, line in self.errors.items())


class Broker:
    """The access point's mosquitto, started and ended at will; its log outlives restarts."""

    CONFIG = AP_DIR / "mosquitto.conf"
    PORT = 1883
    LOG = AP_DIR / "mosquitto.log"

    def __init__(self):
        self.process = None
        self.LOG.unlink(missing_ok=True)

    def start(self):
        nowhere = {"stdout": subprocess.DEVNULL, "stderr": subprocess.DEVNULL}
        self.process = subprocess.Popen(["mosquitto", "-c", self.CONFIG], **nowhere)
        poll(self._listens, EASE_S, "broker")
        return self

    def _listens(self):
        try:
            socket.create_connection(("127.0.0.1", self.PORT), 1).close()
            return True
        except OSError:
            return False

    def kill(self):
        """Ends the broker without a farewell to its clients."""
        self.process.kill()
        self.process.wait(EASE_S)
        self.process = None

    def close(self):
        if self.process is not None:
            self.kill()

    def count(self, pattern):
        log = self.LOG.read_text(errors="replace") if self.LOG.exists() else ""
        return len(re.findall(pattern, log))

    # The agent names no client identifier, so the broker gives it one of its own.
    def agent_sessions(self):
        return self.count(r"New client connected from \S+ as auto-")

    def agent_subscriptions(self):
        return self.count(r"Received SUBSCRIBE from auto-")

    def wait_subscribed(self, count=1, timeout=EASE_S):
        """Until the agent has subscribed so often; its own log is ahead of the broker."""
        poll(lambda: self.agent_subscriptions() >= count, timeout, f"subscription {count}")

    def agent_farewells(self):
        return self.count(r"Received DISCONNECT from auto-")


class MqttClient:
    """A client of the broker. Messages reach the one function that it is made with."""

    def __init__(self, name, on_message, *topics):
        self.topics = list(topics)  # listened to from the next connection on
        self._ready = threading.Event()
        version = getattr(mqtt, "CallbackAPIVersion", None)
        self._client = mqtt.Client(*([version.VERSION1] if version else []), client_id=name)
        self._client.on_connect = lambda *_: self._client.subscribe([(it, 0) for it in self.topics])
        self._client.on_subscribe = lambda *_: self._ready.set()
        self._client.on_disconnect = lambda *_: self._ready.clear()
        self._client.on_message = lambda _c, _u, message: on_message(message)
        self._client.reconnect_delay_set(1, 1)

    def connect(self, host="127.0.0.1", port=1883):
        self._client.connect(host, port)
        self._client.loop_start()
        assert self._ready.wait(EASE_S), "no session with the broker"
        return self

    def reconnect(self):
        """A session with a broker that has just come up, without the client's own pause."""
        self._client.loop_stop()
        self._ready.clear()
        self.connect()

    def publish(self, topic, payload, retain=False):
        self._client.publish(topic, payload, retain=retain)

    def close(self):
        self._client.disconnect()  # first: this wakes the loop, which otherwise looks once a second
        self._client.loop_stop()


class Controller(MqttClient):
    """The controller's side of the broker. Reports arrive as dictionaries in .reports.

    Every report must keep the contract of docs/protocol, and so must every command unless it is
    sent as one that does not.
    """

    def __init__(self, topic):
        super().__init__("controller", self._keep, REPORT_TOPIC)
        self.topic = topic
        self.reports = Timeline()
        self.faults = []

    def _keep(self, message):
        try:
            report = json.loads(message.payload)
        except ValueError:
            report = {"type": None, "raw": message.payload}
        if message.topic == REPORT_TOPIC:
            self.faults += contract.report_faults(report)
        else:  # a test listens to what another controller sends
            self.faults += contract.command_faults(message.payload)
        self.reports.add(report)

    def send(self, command, valid=True):
        """Sends a command: a type number, a dictionary, or raw bytes, which may be anything.

        `valid` says whether it keeps the contract, and must be right; None says nothing.
        """
        if isinstance(command, int):
            command = {"type": command, "timestamp": int(time.time() * 1000)}
        payload = command if isinstance(command, bytes) else json.dumps(command).encode()
        faults = contract.command_faults(payload)
        assert valid is None or bool(faults) != valid, faults or f"keeps the contract: {payload}"
        self.publish(self.topic, payload)

    def wait_report(self, kind, timeout, since=0, count=1):
        wanted = {"since": since, "count": count, "what": f"report {kind}"}
        return self.reports.wait(lambda report: report.get("type") == kind, timeout, **wanted)

    def ask(self, command, kind, timeout=EASE_S):
        """The first report of that kind behind a command."""
        mark = self.reports.mark()
        self.send(command)
        return self.wait_report(kind, timeout, mark)[1]

    def ask_until_answered(self, command, kind, timeout=10):
        """What is sent while a job runs, or a session is made anew, is lost."""

        def answer():
            with contextlib.suppress(Deadline):
                return self.ask(command, kind, 0.5)

        return poll(answer, timeout, f"answer to {command}")

    def times(self, kind, since=0):
        return [at for at, report in self.reports.items(since) if report.get("type") == kind]

    def close(self):
        super().close()
        assert not self.faults, self.faults


class WifiManager:
    """The simulated wifi manager, with faults switched while it runs."""

    BEHAVE = AP_DIR / "wifi_manager.behave"
    STATE = AP_DIR / "wifi_manager.state.json"
    SOCKET = ZENDRY_ROOT / "var/run/wifi_manager.sock"

    def __init__(self):
        self.process = None
        self.log = Timeline()
        self.behave("")

    def start(self, *arguments):
        command = [BUILD_DIR / "wifi_manager_sim", *arguments]
        self.process = subprocess.Popen(command, stdout=subprocess.PIPE)
        keep_lines(self.process.stdout, self.log)
        poll(self._listens, EASE_S, "wifi manager")
        return self

    def _listens(self):
        """Its socket's file is there a moment before that."""
        try:
            with socket.socket(socket.AF_UNIX, socket.SOCK_SEQPACKET) as connection:
                connection.connect(str(self.SOCKET))
            return True
        except OSError:
            return False

    def behave(self, faults):
        """Faults as lines of "<message identifier or all> <fault>", none when empty."""
        fresh = self.BEHAVE.with_suffix(".new")
        fresh.write_text(faults + "\n")
        fresh.replace(self.BEHAVE)

    def state(self):
        """The access point as it stood after the last change."""
        return json.loads(self.STATE.read_text())

    def restart(self, *arguments):
        self.stop()
        return self.start(*arguments)

    def wait_request(self, message, timeout, since=0):
        return self.log.wait(
            lambda line: f" id={message} " in line, timeout, since, what=f"request {message}"
        )

    def stop(self):
        if self.process is None:
            return
        self.process.terminate()
        status = self.process.wait(EASE_S)
        self.process = None
        assert status == 0, f"wifi manager ended with status {status}"

    close = stop


class SteppedClock:
    """A wall clock of an agent's own, which can be set. A native agent alone can have it."""

    LIBRARY = BUILD_DIR / "stepped_clock.so"
    FILE = AP_DIR / "stepped_clock"

    def __init__(self):
        self._ahead_ns = 0
        self.step(0)

    def step(self, seconds):
        """Sets the clock so far ahead, or back, of what it shows."""
        self._ahead_ns += int(seconds * 10**9)
        with open(self.FILE, "r+b" if self.FILE.exists() else "wb") as file:  # it is mapped
            file.write(struct.pack("=q", self._ahead_ns))

    def environment(self):
        """For an agent that is to go by this clock."""
        assert self.LIBRARY.exists()
        names = {"LD_PRELOAD": str(self.LIBRARY), "STEPPED_CLOCK": str(self.FILE)}
        return names | {"ASAN_OPTIONS": "verify_asan_link_order=0"}


def store_option(package, section, option):
    """The value of one option of a named section in the configuration store, or None."""
    current = None
    for line in (ZENDRY_ROOT / "etc/config" / package).read_text().splitlines():
        match shlex.split(line, comments=True):
            case ["config", _, *name]:
                current = name[0] if name else None
            case ["option", name, value] if (current, name) == (section, option):
                return value
    return None


def edit_store(package, old, new):
    """Replaces a piece of text in a package, as an outside tool would: atomically, and with the
    package locked, so that neither this edit nor one of the agent's is lost."""
    path = ZENDRY_ROOT / "etc/config" / package
    with open(path) as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        if not os.path.samestat(os.stat(path), os.fstat(file.fileno())):  # replaced meanwhile
            return edit_store(package, old, new)
        text = file.read()
        assert old in text, f"{old!r} is not in {path}"
        fresh = path.with_suffix(".edited")
        fresh.write_text(text.replace(old, new))
        fresh.replace(path)


def tool_calls():
    """What the device tools were called with, oldest first."""
    calls = AP_DIR / "tools/calls"
    return [json.loads(line) for line in calls.read_text().splitlines()] if calls.exists() else []


def set_tool(tool, status=0, delay=0):
    """How the calls of a stand-in tool end from now on, and how many seconds they last."""
    (AP_DIR / "tools" / f"{tool}.status").write_text(str(status))
    (AP_DIR / "tools" / f"{tool}.delay").write_text(str(delay))


def emulated():
    """Whether the agent's process is an emulator, whose memory and time are not the agent's."""
    return pathlib.Path(AGENT[0]).name.startswith("qemu-")


def sanitized():
    cache = (BUILD_DIR / "CMakeCache.txt").read_text()
    return bool(re.search(r"^QV_SANITIZE:\w+=\S", cache, re.M))


def gaps(times):
    return [later - earlier for earlier, later in itertools.pairwise(times)]
