"""Many simulated access points around one bridge, and what their processes use.

Each has its own network, mount, IPC and process namespace, and in them its bridge br-lan, its
wifi manager, its store and its agent, as simulator/inside sets them up. One veth pair joins its
br-lan to the fleet's bridge. All run within the namespaces of one simulated access point.
"""
import contextlib
import dataclasses
import ipaddress
import os
import pathlib
import re
import shlex
import signal
import socket
import subprocess
import time

from controller import Unmet

INSIDE = pathlib.Path(__file__).resolve().parents[1] / "inside"
LOGS = pathlib.Path(os.environ["AP_DIR"]) / "fleet"
AGENT = shlex.split(os.environ.get("QV_AGENT", "")) or [os.environ["QV_BUILD_DIR"] + "/qvagent"]

BRIDGE = "fleet"
NETWORK = ipaddress.ip_network("10.77.0.0/16")
LIMIT = 1000  # ports of a Linux bridge: 1024, a few of them for brokers
# Those that were started and have not announced themselves: more at once start no faster.
STARTING = 20
ANNOUNCE_LIMIT_S = 60
STOP_LIMIT_S = 15

NAMESPACES = ["unshare", "--mount", "--ipc", "--pid", "--fork", "--kill-child", "--mount-proc"]


def at_number(number):
    return str(NETWORK[number])


class AccessPoint:
    def __init__(self, number):
        self.name = f"ap{number}"
        self.mac = f"02:11:22:33:{number >> 8:02x}:{number & 255:02x}"
        self.address = at_number(number)
        self.process = None

    def start(self, broker_host, command=AGENT, certificates=None, **more):
        """`certificates`: a folder that holds the device's, or none for a plain link."""
        environment = os.environ | {
            "AP_MAC": self.mac,
            "AP_IP": f"{self.address}/{NETWORK.prefixlen}",
            "AP_BRIDGE": "1",
            "AP_WIFI_MANAGER": "1",
            "AP_BROKER": "0",
            "AP_BROKER_HOST": broker_host,
            "AP_UPLINK": "uplink",
            # What is named here stays within reach behind a private /run.
            "AP_WRITABLE": str(certificates or ""),
            "AP_TLS": "1" if certificates else "0",
            "AP_CERTIFICATES": str(certificates or ""),
            **more,
        }
        namespaces = ["nsenter", f"--net=/run/netns/{self.name}", *NAMESPACES]
        with open(LOGS / f"{self.name}.log", "wb") as log:
            self.process = subprocess.Popen(
                [*namespaces, str(INSIDE), *command],
                env=environment,
                stdin=subprocess.DEVNULL,
                stdout=log,
                stderr=subprocess.STDOUT,
            )

    def log_end(self):
        lines = (LOGS / f"{self.name}.log").read_text(errors="replace").splitlines()
        return lines[-1] if lines else "(no log)"


def ip_batch(lines, *options):
    subprocess.run(["ip", *options, "-batch", "-"], input="\n".join(lines), text=True, check=True)


def add_uplink(namespace, port):
    """A network namespace whose interface "uplink" is joined to the fleet's bridge."""
    return [
        f"netns add {namespace}",
        f"link add {port} type veth peer name uplink netns {namespace}",
        f"link set {port} master {BRIDGE} up",
    ]


def set_up_network(access_points):
    os.makedirs("/run/netns", exist_ok=True)
    LOGS.mkdir()
    lines = [f"link add {BRIDGE} type bridge", f"link set {BRIDGE} up"]
    for point in access_points:
        lines += add_uplink(point.name, f"port-{point.name}")
    ip_batch(lines)


def await_listener(host, process, what, port=1883):
    """Until something accepts connections where devices look for their broker."""
    deadline = time.monotonic() + 10
    while time.monotonic() < deadline and process.poll() is None:
        try:
            socket.create_connection((host, port), 1).close()
            return
        except OSError:
            time.sleep(0.01)
    raise Unmet(f"{what} did not start")


def start(access_points, broker_host, controller, certificates=None):
    """Starts one after the other, as fast as they announce themselves."""
    for count, point in enumerate(access_points):
        point.start(broker_host, certificates=certificates)
        controller.wait(
            lambda: count + 1 - controller.announced() < STARTING, ANNOUNCE_LIMIT_S, "announcements"
        )


def stop(access_points):
    """Asks every agent to end. Returns the access points whose agent did not end well."""
    for process in processes(is_agent):
        os.kill(process, signal.SIGTERM)
    deadline = time.monotonic() + STOP_LIMIT_S
    failed = []
    for point in access_points:
        try:
            status = point.process.wait(max(0, deadline - time.monotonic()))
        except subprocess.TimeoutExpired:
            status = None
        if status != 0:
            failed.append(point)
    return failed


# --- What processes use ---


@dataclasses.dataclass
class Usage:
    pss_kib: int
    cpu_s: float


def is_agent(command):
    return command == AGENT


def is_simulator(command):
    names = {os.path.basename(word) for word in command[:3]}
    return not is_agent(command) and bool(names & {"wifi_manager_sim", "unshare", "inside"})


def processes(wanted):
    """Numbers of the processes whose command is a wanted one; the launcher's own is not."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        try:
            command = (folder / "cmdline").read_bytes().decode(errors="replace").split("\0")[:-1]
        except OSError:
            continue
        if folder.name != "1" and wanted(command):
            found.append(int(folder.name))
    return found


def usage(wanted):
    """Of all wanted processes together, CPU time since each began."""
    total = Usage(0, 0.0)
    for process in processes(wanted):
        folder = pathlib.Path(f"/proc/{process}")
        with contextlib.suppress(OSError):  # one that has just ended uses nothing
            memory = (folder / "smaps_rollup").read_text()
            total.pss_kib += int(re.search(r"^Pss: *([0-9]+) kB", memory, re.MULTILINE)[1])
            for task in folder.glob("task/*/schedstat"):
                total.cpu_s += int(task.read_text().split()[0]) / 1e9
    return total
