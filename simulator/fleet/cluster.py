"""Three RabbitMQ nodes with their MQTT plugin behind HAProxy, each node in namespaces of its own.

simulator/fleet/cluster holds their configuration. Of three nodes one is killed, the one that the
controller is connected to: its link goes first, so that nothing of its end is heard by anyone.
"""
import collections
import os
import pathlib
import re
import secrets
import signal
import subprocess
import time

import access_points
import certificates
import rabbit_users
from burst import burst
from controller import Unmet
from shared_queue import SharedQueue

CONFIGURATION = pathlib.Path(__file__).resolve().parent / "cluster"
FOLDER = pathlib.Path(os.environ["AP_DIR"]) / "cluster"
NODES = {f"mq{number}": access_points.at_number(0xFF10 + number) for number in (1, 2, 3)}
START_LIMIT_S = 240
# rabbit@mq1.log says of each new session: which process, from where, to where, and its identifier.
SESSION = re.compile(r"accepting MQTT connection \S+ \(([0-9.]+):\d+ -> ")
# Devices that come at once, more than the nodes take before agents give up; and how many sessions,
# and how many of them at a time, show what the nodes take.
CROWD, CALM, GENTLY = 4000, 500, 60
SETTLE_LIMIT_S = 60


def make_certificate():
    """For the proxy, with its key in the same file."""
    subprocess.run(
        [
            "openssl",
            "req",
            "-x509",
            "-newkey",
            "ec",
            "-pkeyopt",
            "ec_paramgen_curve:prime256v1",
            "-nodes",
            "-days",
            "30",
            "-subj",
            "/CN=broker",
            "-keyout",
            "key.pem",
            "-out",
            "proxy.pem",
        ],
        cwd=FOLDER,
        check=True,
        capture_output=True,
    )
    with open(FOLDER / "proxy.pem", "ab") as both:
        both.write((FOLDER / "key.pem").read_bytes())


class Node:
    def __init__(self, name):
        self.name = name
        self.log = FOLDER / name / f"rabbit@{name}.log"
        self.process = None

    def join_network(self):
        """Before any node starts: a peer that is not there refuses at once, and is not waited for."""
        address = f"{NODES[self.name]}/{access_points.NETWORK.prefixlen}"
        lines = [f"address add {address} dev uplink", "link set uplink up", "link set lo up"]
        access_points.ip_batch(lines, "-n", self.name)

    def start(self):
        namespaces = [
            "nsenter",
            f"--net=/run/netns/{self.name}",
            *access_points.NAMESPACES,
            "--uts",
        ]
        with open(FOLDER / f"{self.name}.out", "wb") as output:
            self.process = subprocess.Popen(
                [*namespaces, CONFIGURATION / "node", self.name, FOLDER],
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=subprocess.STDOUT,
            )

    def log_text(self):
        return self.log.read_text(errors="replace") if self.log.exists() else ""

    def ready(self):
        return "Server startup complete" in self.log_text()

    def cut_and_kill(self):
        access_points.ip_batch([f"link set port-{self.name} down"])
        self.process.send_signal(signal.SIGKILL)
        self.process.wait()

    def sessions(self):
        """Addresses of all sessions so far; the controller's is the proxy's own."""
        return SESSION.findall(self.log_text())


class Cluster:
    NAME = "three RabbitMQ nodes behind HAProxy"
    OUTAGE = "one of three nodes cut off and killed"

    def __init__(self, tls=False):
        self.host = access_points.at_number(0xFF01)
        self._tls = tls
        self.nodes = [Node(name) for name in NODES]
        self.reports = SharedQueue(self.host)
        self._before = collections.Counter()

    def start(self):
        FOLDER.mkdir()
        hosts = [f"{address} {name}" for name, address in NODES.items()]
        (FOLDER / "hosts").write_text("\n".join(["127.0.0.1 localhost", *hosts, ""]))
        (FOLDER / "cookie").write_text(secrets.token_hex(16))
        subprocess.run(["mount", "--bind", FOLDER / "hosts", "/etc/hosts"], check=True)
        lines = [
            f"address add {self.host}/{access_points.NETWORK.prefixlen} "
            f"dev {access_points.BRIDGE}"
        ]
        for name in NODES:
            lines += access_points.add_uplink(name, f"port-{name}")
        access_points.ip_batch(lines)
        for node in self.nodes:
            node.join_network()
        self._configure_nodes()
        self._start_nodes()
        self._start_proxy()
        self.reports.start()

    def _configure_nodes(self):
        text = (CONFIGURATION / "rabbitmq.conf").read_text()
        if self._tls:
            other = [line for line in text.splitlines() if not line.startswith("mqtt.")]
            text = "\n".join([*other, (CONFIGURATION / "secure.conf").read_text()])
            text = text.replace("@CERTIFICATES@", str(certificates.FOLDER))
            users = rabbit_users.definitions(
                certificates.devices(), certificates.CONTROLLER, ("fleet", "fleet")
            )
            (FOLDER / "definitions.json").write_text(users)
        (FOLDER / "rabbitmq.conf").write_text(text.replace("@FOLDER@", str(FOLDER)))

    def _start_nodes(self):
        """One after the other: of nodes that start at once one may stay out of the majority that
        agrees upon client identifiers, and refuse every session."""
        for node in self.nodes:
            node.start()
            self._await(node)

    @staticmethod
    def _await(node):
        deadline = time.monotonic() + START_LIMIT_S
        while not node.ready():
            if time.monotonic() > deadline or node.process.poll() is not None:
                output = (FOLDER / f"{node.name}.out").read_text(errors="replace")
                raise Unmet(f"{node.name} did not start: {(output + node.log_text())[-400:]}")
            time.sleep(0.2)

    def _start_proxy(self):
        configuration = FOLDER / "haproxy.cfg"
        text = (CONFIGURATION / "haproxy.cfg").read_text()
        if self._tls:
            kept = re.sub(r"^frontend mqtt\n.*?(?=^listen )", "", text, flags=re.M | re.S)
            text = kept + (CONFIGURATION / "passthrough.cfg").read_text()
        configuration.write_text(text.replace("@HOST@", self.host).replace("@FOLDER@", str(FOLDER)))
        make_certificate()
        with open(FOLDER / "haproxy.out", "wb") as output:
            proxy = subprocess.Popen(
                ["haproxy", "-db", "-f", configuration],
                stdin=subprocess.DEVNULL,
                stdout=output,
                stderr=subprocess.STDOUT,
            )
        access_points.await_listener(self.host, proxy, "the proxy", 8883 if self._tls else 1883)

    def owns(self, command):
        return os.path.basename(command[0] if command else "") in ("beam.smp", "haproxy")

    def measure(self):
        """Rows about sessions that come at once, made by the nodes that are left. The last leaves
        them unfit for anything else. By certificates there is no such crowd here."""
        if self._tls:
            return
        nodes, proxy = f"at {self._left()} nodes", f"at the proxy of {self._left()} nodes"
        yield f"{CALM} sessions {nodes}, {GENTLY} at a time", self._at_nodes(CALM, GENTLY)
        self._settle()
        yield f"{GENTLY} at once, {proxy}", self._at_proxy(GENTLY, 1883)
        self._settle()
        yield f"{GENTLY} at once, {proxy}, by TLS", self._at_proxy(GENTLY, 8883, tls=True)
        self._settle()
        yield f"{CROWD} at once, {proxy}", self._at_proxy(CROWD, 1883)
        self._settle()
        yield f"{CROWD} at once, {nodes}", self._at_nodes(CROWD, CROWD)

    def _left(self):
        return sum(node.process.poll() is None for node in self.nodes)

    def _at_nodes(self, count, in_flight):
        greeting = f"PROXY TCP4 {self.host} {self.host} 1 1883\r\n".encode()
        alive = [(NODES[node.name], 1883) for node in self.nodes if node.process.poll() is None]
        return burst(alive, count, in_flight, greeting)

    def _settle(self):
        """Until the nodes have cleared the sessions of a burst away."""
        deadline = time.monotonic() + SETTLE_LIMIT_S
        busy = True
        while busy and time.monotonic() < deadline:
            before = access_points.usage(self.owns).cpu_s
            time.sleep(1)
            busy = access_points.usage(self.owns).cpu_s - before > 0.3

    def _at_proxy(self, count, port, tls=False):
        before = access_points.usage(self._is_proxy).cpu_s
        result = burst([(self.host, port)], count, tls=tls)
        used = access_points.usage(self._is_proxy).cpu_s - before
        return f"{result}, {used / count * 1000:.2f} ms of the proxy's CPU time each"

    @staticmethod
    def _is_proxy(command):
        return command[:1] == ["haproxy"]

    def compare(self, heard):
        yield "reports at two controllers that share a queue", self.reports.compare(heard)

    def kill(self, points):
        """Returns how many new sessions each access point, by address, is to make after it."""
        victim = next(node for node in self.nodes if self.host in node.sessions())
        lost = self._sessions_of([victim])
        self._before = self._sessions_of(self.nodes)
        victim.cut_and_kill()
        return {point.address: lost[point.address] for point in points}

    def restore(self):
        """Nothing: the two nodes that are left do without the third."""

    @staticmethod
    def _sessions_of(nodes):
        return collections.Counter(address for node in nodes for address in node.sessions())

    def connects(self):
        """Sessions by address, since the outage or, without one, since the start."""
        return self._sessions_of(self.nodes) - self._before
