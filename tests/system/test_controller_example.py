"""Programs in examples/ do what they say."""
import pathlib
import subprocess
import sys

from firmware import BOARD, ROOTFS_BOARDS, tools_called

CONTROLLER = pathlib.Path(__file__).resolve().parents[2] / "examples/controller.py"
LINES_MAX = 60


def control(host_name, ssid, image, port):
    words = ["127.0.0.1", host_name, ssid, image, str(port)]
    return subprocess.run(
        [sys.executable, CONTROLLER, *words], capture_output=True, text=True, timeout=60
    )


def test_controller(agent, wifi_manager, overheard, images, tmp_path):
    """`overheard` holds what it sends to the contract."""
    BOARD.write_text(ROOTFS_BOARDS[0])
    image = tmp_path / "fw.img"
    image.write_bytes(images.image)
    done = control("Garden", "Attic", image, images.port)
    assert (done.returncode, done.stderr) == (0, "")
    lines = done.stdout.splitlines()
    assert len(lines) == 14 and lines[12:] == ["host name confirmed", "SSID confirmed"]
    state = wifi_manager.state()
    assert state["system_config"]["hostname"] == "Garden"
    assert [vap["ssid"] for vap in state["vaps"]] == ["Attic"] + 7 * ["Office"]
    assert tools_called() == ["updata_rootfs.sh /tmp/qv_firmware.img"]
    wifi_manager.behave("15 refuse")
    done = control("Shed", "Cellar", image, 9)
    assert done.stdout.splitlines()[12:] == ["host name confirmed", "SSID not taken over"]
    assert (done.returncode, done.stderr) == (1, "the upgrade failed: -1\n")
    assert len(CONTROLLER.read_text().splitlines()) <= LINES_MAX
