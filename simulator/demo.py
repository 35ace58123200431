#!/usr/bin/python3
"""Shows the agent at its main job: plays the controller inside a simulated access point.

Started by scripts/demo. Exit status 0 when every report of the tour came (--once), or when a
viewer ended it with Ctrl-C; 1 otherwise.
"""
import argparse
import hashlib
import http.server
import json
import os
import queue
import signal
import subprocess
import sys
import threading
import time

import paho.mqtt.client as mqtt

REPORTS = "qv/dev_to_controller"
NAMES = {
    1000: "device discovery",
    1003: "system statistics",
    1004: "access points",
    1005: "stations",
    1006: "radios",
    1007: "interfaces",
    1008: "system settings",
    1009: "VAP settings",
    1010: "radio settings",
    1011: "LAN settings",
    1012: "WAN settings",
    1013: "WAN6 settings",
    1014: "MAC list status",
    1015: "upgrade status",
}
DISCOVERY = 1000
UPGRADE_STATUS = 1015
STATUSES = {202: "image verified, flashing begins", 203: "image flashed"}

# Command, type of the report that answers it, what it is for.
TOUR = [
    (1034, 1003, "the first word ends the announcements"),
    (1025, 1006, "the radios"),
    (1024, 1005, "the stations"),
]

# Members of the wide lists that find room on a line; other lists are shown whole.
COLUMNS = {
    "ap_stats_list": ["ifname", "parent", "ssid", "bssid", "channel", "status", "numsta"],
    "uci_vap_list": ["ifname", "device", "ssid", "mode", "channel", "encryption", "disabled"],
}


def cell(value):
    """A value on one line: quoted where its own characters would break it."""
    return value if isinstance(value, str) and value.isprintable() else json.dumps(value)


IMAGE = b"a firmware image of the demo's own\n" * 30000
IMAGE_PIECES = 4
FLASHING_SECONDS = 2


class Screen:
    def __init__(self):
        self._colour = sys.stdout.isatty() and "NO_COLOR" not in os.environ
        self._started = time.monotonic()

    def _paint(self, code, text):
        return f"\033[{code}m{text}\033[0m" if self._colour else text

    def _line(self, mark, text):
        elapsed = time.monotonic() - self._started
        print(f"{self._paint(2, f'{elapsed:7.1f} s')}  {mark}  {text}", flush=True)

    def note(self, text):
        self._line(" ", text)

    def command(self, text):
        self._line(self._paint(33, "→"), self._paint(33, text))

    def report(self, report):
        kind = report.get("type")
        name = NAMES.get(kind, "report")
        self._line(self._paint(32, "←"), self._paint("1;32", f"{name} (type {kind})"))
        envelope = [f"{key} {report[key]}" for key in ("macaddr", "ip", "hwname", "fwname")
                    if key in report]
        print(f"{'':14}{self._paint(2, ', '.join(envelope))}")
        for name, body in report.get("data", {}).items():
            self._body(name, body)
        sys.stdout.flush()

    def _body(self, name, body):
        if isinstance(body, list):
            self._table(name, body)
        elif isinstance(body, dict):
            width = max(map(len, body), default=0)
            for key, value in body.items():
                print(f"{'':14}{key:{width}}  {json.dumps(value, ensure_ascii=False)}")
        else:
            print(f"{'':14}{name} = {json.dumps(body, ensure_ascii=False)}")

    def _table(self, name, entries):
        if not entries:
            print(f"{'':14}{self._paint(2, f'{name} is empty')}")
            return
        columns = COLUMNS.get(name, list(entries[0]))
        rows = [columns] + [[cell(entry.get(key, "")) for key in columns] for entry in entries]
        numeric = [isinstance(entries[0].get(key), int) for key in columns]
        widths = [max(map(len, column)) for column in zip(*rows)]
        for number, row in enumerate(rows):
            cells = [
                text.rjust(width) if right else text.ljust(width)
                for text, width, right in zip(row, widths, numeric)
            ]
            line = "  ".join(cells).rstrip()
            print(f"{'':14}{line if number else self._paint(2, line)}")


class Controller:
    def __init__(self, topic):
        self.reports = queue.Queue()
        self._topic = topic
        version = getattr(mqtt, "CallbackAPIVersion", None)
        self._client = mqtt.Client(*([version.VERSION1] if version else []))
        self._client.on_connect = lambda client, *_: client.subscribe(REPORTS)
        self._client.on_message = lambda _c, _u, message: self.reports.put(message.payload)
        self._client.connect("127.0.0.1", 1883)
        self._client.loop_start()

    def send(self, kind, data=None):
        command = {"type": kind, "timestamp": int(time.time() * 1000)}
        if data is not None:
            command["data"] = data
        self._client.publish(self._topic, json.dumps(command))

    def next_report(self, timeout=None):
        """The next report, or None when none came in time."""
        try:
            return json.loads(self.reports.get(timeout=timeout))
        except queue.Empty:
            return None


class ImageServer(http.server.HTTPServer):
    """Serves the image in slow pieces, and shows how far it is."""

    def __init__(self, screen):
        super().__init__(("127.0.0.1", 0), ImageHandler)
        self.screen = screen
        threading.Thread(target=self.serve_forever, daemon=True).start()


class ImageHandler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        self.send_response(200)
        self.send_header("Content-Length", str(len(IMAGE)))
        self.end_headers()
        for piece in range(IMAGE_PIECES):
            begin, end = (len(IMAGE) * at // IMAGE_PIECES for at in (piece, piece + 1))
            self.wfile.write(IMAGE[begin:end])
            self.server.screen.note(f"download of {self.path}: {end} of {len(IMAGE)} bytes")
            time.sleep(0.4)

    def log_message(self, *_):
        pass


def wait_for(controller, screen, kind, timeout):
    """Shows reports until one of a kind has come. Returns it, or None when it was late."""
    deadline = time.monotonic() + timeout
    while (left := deadline - time.monotonic()) > 0:
        report = controller.next_report(left)
        if report is not None:
            screen.report(report)
            if report.get("type") == kind:
                return report
    print(f"demo failed: no {NAMES[kind]} report within {timeout} s", file=sys.stderr)
    return None


def upgrade(controller, screen):
    """A firmware upgrade, each step shown when it is done. Returns whether it went well."""
    with open(os.path.join(os.environ["AP_DIR"], "tools/updata_rootfs.sh.delay"), "w") as delay:
        delay.write(str(FLASHING_SECONDS))
    server = ImageServer(screen)
    screen.command("command 1002: a firmware upgrade")
    controller.send(1002, {"fw_params": {
        "image_name": "demo.img",
        "md5sum": hashlib.md5(IMAGE).hexdigest(),
        "server_ip": "127.0.0.1",
        "server_port": server.server_port,
        "save_config": "1",
        "reboot": "0",
    }})
    for status, meaning in STATUSES.items():
        report = wait_for(controller, screen, UPGRADE_STATUS, 20)
        if report is None:
            return False
        if report["data"] != {"updata_stats": status}:
            print(f"demo failed: the upgrade ended with {report['data']}", file=sys.stderr)
            return False
        screen.note(meaning)
    return True


def tour(controller, screen):
    if not wait_for(controller, screen, DISCOVERY, 15):
        return 1
    for command, kind, purpose in TOUR:
        screen.command(f"command {command}: {purpose}")
        controller.send(command)
        if not wait_for(controller, screen, kind, 10):
            return 1
    return 0 if upgrade(controller, screen) else 1


def show_for_ever(controller, screen):
    while True:
        report = controller.next_report()
        screen.report(report)


def interrupt(*_):
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_IGN)  # ending is under way
    raise KeyboardInterrupt


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--once", action="store_true", help="end after the tour")
    options.add_argument("--log", required=True, help="file for the agent's log")
    options.add_argument("agent", help="the agent's executable")
    arguments = options.parse_args()
    signal.signal(signal.SIGINT, interrupt)
    signal.signal(signal.SIGTERM, interrupt)

    screen = Screen()
    controller = Controller("qv/device_" + os.environ["AP_MAC"])
    with open(arguments.log, "wb") as log:
        agent = subprocess.Popen([arguments.agent], stdout=log, stderr=log)
    screen.note(f"agent started; its log: {arguments.log}")
    try:
        status = tour(controller, screen)
        if status == 0 and not arguments.once:
            screen.note("from here on the agent reports by itself, about every 10 s (Ctrl-C ends)")
            show_for_ever(controller, screen)
    except KeyboardInterrupt:
        status = 1 if arguments.once else 0
        print()
    agent.terminate()
    try:
        ended = agent.wait(10)
    except subprocess.TimeoutExpired:
        agent.kill()
        ended = agent.wait()
    if ended != 0:
        print(f"demo failed: the agent ended with status {ended}", file=sys.stderr)
        status = 1
    return status


sys.exit(main())
