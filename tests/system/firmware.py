"""What the tests of firmware commands share: a download server, commands, status reports."""
import contextlib
import hashlib
import http.server
import pathlib
import threading

import contract
from harness import EASE_S, tool_calls

IMAGE = pathlib.Path("/tmp/qv_firmware.img")
BOARD = pathlib.Path("/tmp/sysinfo/board_name")

SYSUPGRADE_BOARD = "ap-dk07.1-c1"
ROOTFS_BOARDS = ("qcom,ipq6018-ap-cp01-c4", "qcom,ipq5018-ap-mp03.5-c2")
UPDATA_STATS = 1015

# What the server does with a request for a file of this name; any other name is the image.
MISSING = "missing.img"
CUT_SHORT = "short.img"
STALLED = "stalled.img"
NAME = "fw 1.0/é.img"


class ImageServer(http.server.ThreadingHTTPServer):
    """Serves one image under every name. `.requests` holds the paths that were asked for."""

    daemon_threads = True

    def __init__(self):
        super().__init__(("127.0.0.1", 0), _Handler)
        self.port = self.server_port
        self.image = b"firmware image\n" * 1000
        self.requests = []
        self._gate = threading.Semaphore(0)
        self._gated = False
        self._stall = threading.Event()
        threading.Thread(target=self.serve_forever, args=(0.05,), daemon=True).start()

    def md5(self):
        return hashlib.md5(self.image).hexdigest()

    def hold(self):
        """From now on each answer waits for a let_go of its own."""
        self._gated = True

    def let_go(self):
        self._gate.release()

    def close(self):
        self._stall.set()
        self._gate.release(100)
        self.shutdown()
        self.server_close()

    def answer(self, handler):
        self.requests.append(handler.path)
        if self._gated:
            self._gate.acquire()
        name = handler.path[1:]
        handler.send_response(404 if name == MISSING else 200)
        handler.send_header("Content-Length", str(len(self.image)))
        handler.end_headers()
        if name in (CUT_SHORT, STALLED):
            handler.wfile.write(self.image[:-1])
            self._stall.wait(0 if name == CUT_SHORT else 120)
        else:
            handler.wfile.write(self.image)


class _Handler(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        with contextlib.suppress(OSError):  # the agent need not read an error page
            self.server.answer(self)

    def log_message(self, *_):
        pass


def upgrade(command, server, **changes):
    """A 1002 or 1032, as the contract's example but for what is named here."""
    example = contract.EXAMPLES[command]
    own = {"image_name": "fw.img", "md5sum": server.md5(), "server_port": server.port}
    own["server_ip"] = "192.0.2.9"  # never asked
    params = example["data"]["fw_params"] | own | changes
    return example | {"timestamp": 1, "data": {"fw_params": params}}


def flash(**params):
    return {"type": 1033, "timestamp": 1, "data": {"flash_params": params}}


def statuses(controller, since):
    return [
        report["data"]["updata_stats"]
        for _, report in controller.reports.items(since)
        if report.get("type") == UPDATA_STATS
    ]


def wait_statuses(controller, since, wanted, timeout=EASE_S):
    """Until as many status reports have come as there are wanted ones: they must be those."""
    controller.wait_report(UPDATA_STATS, timeout, since, len(wanted))
    assert statuses(controller, since) == wanted


def tools_called(since=0):
    return [" ".join([call["tool"], *call["args"]]) for call in tool_calls()[since:]]
