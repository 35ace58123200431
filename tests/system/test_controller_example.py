"""Programs in examples/ do what they say."""
import pathlib
import subprocess
import sys

from firmware import tools_called

CONTROLLER = pathlib.Path(__file__).resolve().parents[2] / "examples/controller.py"


def test_controller(agent, wifi_manager, overheard, images, tmp_path):
    """`overheard` holds what it sends to the contract."""
    image = tmp_path / "fw.img"
    image.write_bytes(images.image)
    words = ["127.0.0.1", "Garden", "Attic", image, str(images.port)]
    example = [sys.executable, CONTROLLER, *words]
    done = subprocess.run(example, capture_output=True, text=True, timeout=60)
    assert (done.returncode, done.stderr) == (0, "")
    lines = done.stdout.splitlines()
    assert len(lines) == 14 and lines[12:] == ["host name confirmed", "SSID confirmed"]
    state = wifi_manager.state()
    assert state["system_config"]["hostname"] == "Garden"
    assert [vap["ssid"] for vap in state["vaps"]] == ["Attic"] + 7 * ["Office"]
    assert tools_called() == ["updata_rootfs.sh /tmp/qv_firmware.img"]
