"""What the tests of qvctl share: how it is called, a terminal for it, and devices that only pretend to
be one."""
import codecs
import fcntl
import json
import os
import pty
import re
import subprocess
import termios
import threading
import time

import contract
from harness import BUILD_DIR, REPORT_TOPIC, Deadline, MqttClient, poll

QVCTL = str(BUILD_DIR / "qvctl")
MAC = os.environ.get("AP_MAC", "")
OTHER = "02:00:00:00:00:9c"
MD5 = "0123456789abcdef0123456789abcdef"
ENVIRONMENT = os.environ | {"LC_ALL": "C", "TERM": "vt100", "TZ": "UTC"}

ANSWERED, REFUSED, USAGE, NO_ANSWER, UNCONFIRMED = range(5)

(SYSTEM_STATS,) = contract.by_type(contract.REPORTS)[1003]["examples"]


def qvctl(*arguments, stdin="", timeout=40):
    """Exit status, standard output and standard error."""
    done = subprocess.run(
        [QVCTL, *arguments],
        input=stdin,
        capture_output=True,
        text=True,
        timeout=timeout,
        env=ENVIRONMENT,
        check=False,
    )
    return done.returncode, done.stdout, done.stderr


def sent(command, mac=MAC):
    return f"sent to {mac}; the device confirms command {command} by no report\n"


class PretendedDevice:
    """Answers every command with the same reports, each after a pause in seconds, and then does
    what it is to do `then`; and a question for system statistics with some, unless it is `busy`. A
    `rival` command of another controller comes right before that."""

    def __init__(self, answers=(), busy=False, rival=None, then=lambda: None):
        self.fwname = "Y"
        self._answers = answers
        self._busy = busy
        self._rival = rival
        self._then = then
        self._client = MqttClient(
            "pretended",
            lambda message: threading.Thread(target=self._take, args=[message]).start(),
            "qv/device_" + OTHER,
        ).connect()

    def report(self, kind, data):
        report = {
            "type": kind,
            "flag": "REQ",
            "fwname": self.fwname,
            "hwname": "X",
            "timestamp": int(time.time() * 1000),
            "macaddr": OTHER,
            "data": data,
        }
        if kind != 1000:
            report["ip"] = "10.0.0.9"
        self._client.publish(REPORT_TOPIC, json.dumps(report))

    def _take(self, message):
        if json.loads(message.payload)["type"] == 1034:
            if self._rival:
                self._client.publish("qv/device_" + OTHER, json.dumps(self._rival))
            if not self._busy:
                self.idle()
            return
        for pause, kind, data in self._answers:
            time.sleep(pause)
            self.report(kind, data)
        self._then()

    def idle(self):
        self.report(1003, SYSTEM_STATS["data"])

    def reconnect(self):
        self._client.reconnect()

    def close(self):
        self._client.close()


class Terminal:
    """qvctl on a terminal that does not tell its size, as a serial console: 80 columns, 24 lines."""

    def __init__(self, *arguments, environment=ENVIRONMENT):
        self.master, self.slave = pty.openpty()
        self.before = termios.tcgetattr(self.slave)
        self.seen = ""
        self.process = subprocess.Popen(
            [QVCTL, *arguments],
            stdin=self.slave,
            stdout=self.slave,
            stderr=self.slave,
            env=environment,
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
        )
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        decoder = codecs.getincrementaldecoder("utf-8")("replace")  # a read may end in a character
        try:
            while chunk := os.read(self.master, 4096):
                self.seen += decoder.decode(chunk)
        except OSError:
            pass

    def type(self, text):
        os.write(self.master, text.encode())

    def wait(self, pattern, timeout=15):
        try:
            poll(lambda: re.search(pattern, self.seen), timeout, pattern)
        except Deadline as missing:
            raise Deadline(f"{missing}; seen: {self.seen[-3000:]!r}") from None

    def end(self, timeout=10):
        """The exit status, once the terminal is as it was."""
        status = self.process.wait(timeout)
        assert termios.tcgetattr(self.slave) == self.before
        return status
