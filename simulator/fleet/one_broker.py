"""One mosquitto for the whole fleet, which is killed and started again."""
import collections
import os
import pathlib
import re
import subprocess
import time

import access_points
import certificates

AP_DIR = pathlib.Path(os.environ["AP_DIR"])
# "New connection" counts attempts too that never came to a session.
CONNECTION = re.compile(r"New (connection|client connected) from ([0-9.]+):")
OUTAGE_S = 2
# Of the simulated access point's configuration, beside the recipe for TLS.
OWN_LINES = ("user", "log_", "connection_messages")


class OneBroker:
    NAME = "one mosquitto"
    OUTAGE = f"broker killed, started again after {OUTAGE_S} s"

    def __init__(self, tls=False):
        self._port = 8883 if tls else 1883
        self.host = access_points.at_number(0xFF01)
        self.log = AP_DIR / "mosquitto.log"
        self.config = AP_DIR / "fleet.mosquitto.conf"
        self.process = None
        self._log_mark = 0

    def start(self):
        access_points.ip_batch(
            [
                f"address add {self.host}/{access_points.NETWORK.prefixlen} dev {access_points.BRIDGE}"
            ]
        )
        text = (AP_DIR / "mosquitto.conf").read_text()
        if self._port == 1883:
            text = text.replace("listener 1883 127.0.0.1", f"listener 1883 {self.host}")
        else:
            own = [line for line in text.splitlines() if line.startswith(OWN_LINES)]
            text = "\n".join([*own, certificates.mosquitto_lines(self.host)])
        self.config.write_text(text)
        self._run()

    def _run(self):
        self.process = subprocess.Popen(
            ["mosquitto", "-c", str(self.config)],
            stdout=subprocess.DEVNULL,
            stderr=subprocess.DEVNULL,
        )
        access_points.await_listener(self.host, self.process, "the broker", self._port)

    def owns(self, command):
        """Whether a process with this command is the broker's."""
        return command[:1] == ["mosquitto"]

    def measure(self):
        return ()

    def compare(self, _heard):
        return ()

    def kill(self, points):
        """Returns how many new sessions each access point, by address, is to make after it."""
        self.process.kill()
        self.process.wait()
        self._log_mark = len(self.log.read_text())
        return {point.address: 1 for point in points}

    def restore(self):
        time.sleep(OUTAGE_S)
        self._run()

    def connects(self):
        """Connections and sessions by address: the greater number of both, since the outage or,
        without one, since the start."""
        counts = collections.Counter()
        for kind, address in CONNECTION.findall(self.log.read_text()[self._log_mark :]):
            counts[kind, address] += 1
        addresses = {address for _, address in counts}
        return {
            address: max(counts["connection", address], counts["client connected", address])
            for address in addresses
        }
