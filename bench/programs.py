"""The programs of a measurement inside a simulated access point: floor or agent, and the client."""
import contextlib
import json
import os
import pathlib
import shutil
import subprocess
import time

import gauge  # finds the system tests' modules
import harness

TOPIC = "qv/device_" + os.environ.get("AP_MAC", "")
LOG = harness.AP_DIR / "qvagent.log"
CERTIFICATES = harness.AP_DIR / "certificates"
SECRETS = harness.ZENDRY_ROOT / "etc/qvagent"  # the agent's own
TLS_LISTENER = f"""
listener 8883 127.0.0.1
cafile {CERTIFICATES}/ca.pem
certfile {CERTIFICATES}/server.pem
keyfile {CERTIFICATES}/server.key
require_certificate true
"""
OWN_REPORT_S = 10  # between two reports that the agent sends by itself
VALGRIND = ["valgrind", "-q", "--tool=callgrind", "--instr-atstart=no", "--separate-callers=12"]


class Program:
    """A fresh start of the floor or the agent, whose output goes to a file."""

    def __init__(self, command):
        self.out = LOG.open("wb")
        self.started = time.monotonic()
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=self.out)

    def cpu_us(self):
        return 1e6 * gauge.cpu_seconds(self.process)

    def close(self):
        self.process.terminate()
        self.process.wait(20)
        self.out.close()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.close()


class Floor(Program):
    """With a way to do it and a wifi-manager message: the floor that asks the wifi manager."""

    def __init__(self, size, *exchange):
        command = [harness.BUILD_DIR / "bench_echo", TOPIC, size, *exchange]
        super().__init__([str(word) for word in command])

    def settle(self):
        ask(1034)


class Agent(Program):
    def __init__(self, *wrapper):
        super().__init__([*wrapper, *harness.AGENT])

    def close(self):
        super().close()
        assert self.process.returncode == 0, f"agent ended with {self.process.returncode}"

    def settle(self):
        """Until the agent has begun to report by itself: for OWN_REPORT_S it then sends nothing
        but answers."""
        ask(1034)
        harness.poll(lambda: b"\nsm->state:3\n" in LOG.read_bytes(), 60, "normal operation")
        time.sleep(0.2)


def offer_tls():
    """From its next start on the broker has a second port, which demands certificates."""
    make = pathlib.Path(__file__).resolve().parents[1] / "scripts/make-certificates"
    for words in ([], ["--device", "device"]):
        subprocess.run([make, CERTIFICATES, *words], check=True)
    with harness.Broker.CONFIG.open("a") as configuration:
        configuration.write(TLS_LISTENER)


@contextlib.contextmanager
def secured():
    """Agents that start within it use that port."""
    SECRETS.mkdir(mode=0o700)
    for file, name in (
        ("ca.pem", "ca.pem"),
        ("device.pem", "client.pem"),
        ("device.key", "client.key"),
    ):
        shutil.copy(CERTIFICATES / file, SECRETS / name)
    harness.edit_store("system", "option port '1883'", "option port '8883'")
    yield
    harness.edit_store("system", "option port '8883'", "option port '1883'")
    shutil.rmtree(SECRETS)


class WifiManager(harness.WifiManager):
    """As in the tests, but nobody reads its log, which would take processor time."""

    def start(self, *arguments):
        self.SOCKET.unlink(missing_ok=True)
        self.process = subprocess.Popen(
            [str(harness.BUILD_DIR / "wifi_manager_sim"), *arguments], stdout=subprocess.DEVNULL
        )
        harness.poll(self.SOCKET.is_socket, 5, "wifi manager")
        return self


def client(mode, command, count, at_once, cpu_us=lambda: 0, warm_up_s=0):
    """One measurement, again when a report that the agent sent by itself has spoilt it."""
    program = str(harness.BUILD_DIR / "bench_client")
    for _ in range(5):
        words = [program, mode, TOPIC, *map(str, (command, count, at_once, 1000 * warm_up_s))]
        before = cpu_us()
        result = json.loads(subprocess.run(words, stdout=subprocess.PIPE, check=True).stdout)
        if result["unasked"] == 0:
            return {**result, "cpu_us": (cpu_us() - before) / result["commands"]}
    raise harness.Deadline(f"unasked reports in every measurement of {command}")


def ask(command):
    """One command and its answer."""
    return client("rounds", command, 1, 1)
