"""A firmware image comes from the broker's host, is checked and is handed to the flashing tool."""
import hashlib
import http.server
import threading

import harness
import pytest
from harness import poll

UPGRADE_STATUS = 1015
IMAGE = bytes(range(256)) * 4096


class Images(http.server.BaseHTTPRequestHandler):
    def do_GET(self):
        found = self.path == "/image-1.bin"
        self.send_response(200 if found else 404)
        self.send_header("Content-Length", str(len(IMAGE) if found else 0))
        self.end_headers()
        if found:
            self.wfile.write(IMAGE)

    def log_message(self, *_):
        pass


@pytest.fixture
def image_server():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Images)
    thread = threading.Thread(target=server.serve_forever)
    thread.start()
    yield server
    server.shutdown()
    thread.join(5)
    server.server_close()


def upgrade(server, image="image-1.bin", md5sum=hashlib.md5(IMAGE).hexdigest()):
    params = {"image_name": image, "md5sum": md5sum, "server_ip": "192.0.2.1"}
    params |= {"server_port": str(server.server_port), "save_config": "1", "reboot": "0"}
    return {"type": 1002, "timestamp": 1, "data": {"fw_params": params}}


def wait_status(controller, mark):
    _, report = controller.wait_report(UPGRADE_STATUS, 10, mark)
    return report["data"]["updata_stats"]


def test_image_reaches_the_flashing_tool(controller, wifi_manager, agent, image_server):
    before = len(harness.tool_calls())
    controller.send(upgrade(image_server))
    assert wait_status(controller, 0) == 203
    calls = poll(lambda: harness.tool_calls()[before:], 5, "sysupgrade")
    assert calls == [{"tool": "sysupgrade", "args": ["/tmp/qv_firmware.img"]}]
    with open("/tmp/qv_firmware.img", "rb") as image:
        assert image.read() == IMAGE
    wifi_manager.wait_request(8, 5)


@pytest.mark.parametrize(
    "change, status", [({"image": "image-2.bin"}, -1), ({"md5sum": "0" * 32}, -2)]
)
def test_wrong_image_is_not_flashed(controller, agent, image_server, change, status):
    before = len(harness.tool_calls())
    controller.send(upgrade(image_server, **change))
    assert wait_status(controller, 0) == status
    assert harness.tool_calls()[before:] == []


def test_clock_is_set_beyond_2038(controller, agent):
    before = len(harness.tool_calls())
    controller.send({"type": 1015, "timestamp": 4102488000000})  # 2100-01-01, noon in UTC
    (call,) = poll(lambda: harness.tool_calls()[before:], 5, "date")
    assert call["tool"] == "date"
    assert call["args"][0] == "-s" and call["args"][1].startswith("2100-01-0"), call
