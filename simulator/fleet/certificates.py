"""Certificates of a fleet: the broker's, the controller's and one for each device."""
import os
import pathlib
import subprocess

REPO = pathlib.Path(__file__).resolve().parents[2]
FOLDER = pathlib.Path(os.environ["AP_DIR"]) / "certificates"
CONTROLLER = "controller"
# As paho's tls_set() takes them.
CONTROLLER_FILES = [str(FOLDER / name) for name in ("ca.pem", "controller.pem", "controller.key")]


def make(host, macs):
    for words in (
        [host],
        ["--device", *(f"device_{mac}" for mac in macs)],
        ["--controller", CONTROLLER],
    ):
        subprocess.run([REPO / "scripts/make-certificates", FOLDER, *words], check=True)


def mosquitto_lines(host):
    """The documented recipe, with this fleet's files and address."""
    text = (REPO / "examples/broker/mosquitto.conf").read_text()
    text = text.replace("/etc/mosquitto/qvagent", str(FOLDER))
    return text.replace("listener 8883", f"listener 8883 {host}")
