"""Certificates of a fleet: the broker's, the controller's and one for each device."""
import os
import pathlib
import subprocess

REPO = pathlib.Path(__file__).resolve().parents[2]
FOLDER = pathlib.Path(os.environ["AP_DIR"]) / "certificates"
CONTROLLER = "controller"


def files(name):
    """As paho's tls_set() takes them."""
    return [str(FOLDER / file) for file in ("ca.pem", f"{name}.pem", f"{name}.key")]


def make(host, macs):
    for words in (
        [host],
        ["--device", *(f"device_{mac}" for mac in macs)],
        ["--controller", CONTROLLER],
    ):
        subprocess.run([REPO / "scripts/make-certificates", FOLDER, *words], check=True)


def devices():
    """Their common names."""
    return (FOLDER / "devices").read_text().split()


def mosquitto_lines(host):
    """The documented recipe, with this fleet's files and address."""
    text = (REPO / "examples/broker/mosquitto.conf").read_text()
    text = text.replace("/etc/mosquitto/qvagent", str(FOLDER))
    return text.replace("listener 8883", f"listener 8883 {host}")
