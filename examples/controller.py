#!/usr/bin/python3
"""A small controller: takes the first device that speaks, reads its stations, changes its host name
and the SSID of its first VAP, and upgrades it. A web server on the broker's host offers the image.
usage: controller.py BROKER HOSTNAME SSID IMAGE PORT        needs python3-paho-mqtt"""
import hashlib
import json
import pathlib
import queue
import sys
import time

import paho.mqtt.client as mqtt


class Controller:
    def __init__(self, broker):
        self.reports = queue.Queue()
        version = getattr(mqtt, "CallbackAPIVersion", None)  # since paho 2
        self.client = mqtt.Client(*([version.VERSION2] if version else []))
        self.client.on_connect = lambda client, *_: client.subscribe("qv/dev_to_controller")
        self.client.on_message = lambda *given: self.reports.put(json.loads(given[2].payload))
        self.client.connect(broker)
        self.client.loop_start()

    def wait(self, wanted, seconds):
        end = time.monotonic() + seconds
        while not wanted(report := self.reports.get(timeout=max(0.01, end - time.monotonic()))):
            pass
        return report

    def ask(self, device, command, answer, **data):
        """Sends a command. Returns what the report that answers it holds."""
        text = {"type": command, "timestamp": int(time.time() * 1000)} | (data and {"data": data})
        self.client.publish("qv/device_" + device, json.dumps(text))
        report = self.wait(lambda it: (it["macaddr"], it["type"]) == (device, answer), 300)
        return next(iter(report["data"].values()))


broker, hostname, ssid, image, port = sys.argv[1:] or sys.exit(__doc__)
controller = Controller(broker)
device = controller.wait(lambda report: "macaddr" in report, 12)["macaddr"]
for station in controller.ask(device, 1024, 1005):
    print(station["macaddr"], station["rssi"])

settings = controller.ask(device, 1027, 1008)
assert settings["zonename"], "the wifi manager does not answer: sent back, that would empty it all"
held = controller.ask(device, 1003, 1008, uci_system=settings | {"hostname": hostname})
print("host name", "confirmed" if held["hostname"] == hostname else "not taken over")
vap = controller.ask(device, 1028, 1009)[0] | {"ssid": ssid}
del vap["freqlist"]  # reported only
held = controller.ask(device, 1004, 1009, vap_config=vap)[0]
print("SSID", "confirmed" if held["ssid"] == ssid else "not taken over")

md5sum = hashlib.md5(pathlib.Path(image).read_bytes()).hexdigest()
params = {"image_name": pathlib.Path(image).name, "md5sum": md5sum, "save_config": "1"}
params |= {"server_ip": "", "server_port": port, "reboot": "0"}  # it asks its broker's host
status = controller.ask(device, 1002, 1015, fw_params=params)
while status == 202:  # verified, and about to be flashed
    status = controller.wait(lambda report: report["type"] == 1015, 300)["data"]["updata_stats"]
sys.exit(0 if status == 203 else f"the upgrade failed: {status}")
