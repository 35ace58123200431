import os
import pathlib
import shutil
import subprocess

import firmware
import harness
import stand_ins
import pytest
import qvctl


@pytest.fixture(scope="session", autouse=True)
def simulated_ap_only(request):
    """The tests start and end device tools and daemons: never outside a simulated one."""
    inside = os.environ.get("QV_SIMULATED_AP") == "1"
    launcher_only = all("test_launcher.py::" in item.nodeid for item in request.session.items)
    assert inside or launcher_only, "run through scripts/test"


@pytest.fixture
def store():
    """A freshly seeded configuration store, and no files of the agent's own."""
    shutil.rmtree(harness.ZENDRY_ROOT / "etc/qvagent", ignore_errors=True)
    seeds = pathlib.Path(__file__).resolve().parents[2] / "simulator/store"
    for seed in seeds.iterdir():
        shutil.copy(seed, harness.ZENDRY_ROOT / "etc/config")


@pytest.fixture
def stopped_broker():
    broker = harness.Broker()
    yield broker
    broker.close()


@pytest.fixture
def broker(stopped_broker):
    return stopped_broker.start()


@pytest.fixture
def wifi_manager():
    manager = harness.WifiManager()
    yield manager.start()
    manager.close()


@pytest.fixture
def idle_controller():
    """A controller that is not connected yet."""
    controller = harness.Controller("qv/device_" + os.environ["AP_MAC"])
    yield controller
    controller.close()


@pytest.fixture
def controller(broker, idle_controller):
    return idle_controller.connect()


@pytest.fixture
def start_agent(store):
    """Starts agents; each must be ended cleanly, by the test or here."""
    agents = []

    def start(**environment):
        agents.append(harness.Agent(**environment))
        return agents[-1]

    yield start
    for agent in agents:
        agent.close()


@pytest.fixture
def agent(broker, wifi_manager, start_agent):
    """An agent with a session and nobody who has spoken to it yet."""
    running = start_agent()
    broker.wait_subscribed()
    return running


@pytest.fixture
def system_file():
    """Gives files of the host's /etc another content, in this access point alone."""
    mounted = []

    def replace(path, text):
        stand_in = harness.AP_DIR / path.replace("/", "_")
        stand_in.write_text(text)
        subprocess.run(["mount", "--bind", stand_in, path], check=True)
        mounted.append(path)

    yield replace
    for path in mounted:
        subprocess.run(["umount", path], check=True)


@pytest.fixture
def link(store):
    """The agent's way to the broker, not the controller's."""
    way = stand_ins.Link(1884)
    harness.edit_store("system", "option port '1883'", f"option port '{way.port}'")
    yield way
    way.close()


@pytest.fixture
def linked_agent(link, agent):
    """An agent with a session over the link, and nobody who has spoken to it yet."""
    return agent


@pytest.fixture
def rename_bridge():
    """Gives the interface that the agent's identity is read from another name."""
    names = ["br-lan"]

    def rename(name):
        for change in ([names[-1], "down"], [names[-1], "name", name], [name, "up"]):
            subprocess.run(["ip", "link", "set", *change], check=True)
        names.append(name)

    yield rename
    if names[-1] != "br-lan":
        rename("br-lan")


@pytest.fixture
def device_tools():
    """The stand-ins as they come, and their calls forgotten."""
    for file in (harness.AP_DIR / "tools").iterdir():
        file.unlink()


@pytest.fixture
def own_tool(tmp_path, monkeypatch):
    """Puts a shell script in the place of a tool, for the agents that start afterwards."""
    monkeypatch.setenv("PATH", f"{tmp_path}:{os.environ['PATH']}")

    def install(tool, script):
        path = tmp_path / tool
        path.write_text(f"#!/bin/sh\n{script}\n")
        path.chmod(0o755)

    return install


@pytest.fixture
def images(device_tools):
    """A download server; no image has been downloaded, and the board is one that does not restart by
    itself."""
    firmware.IMAGE.unlink(missing_ok=True)
    board = firmware.BOARD.read_text()
    firmware.BOARD.write_text(firmware.ROOTFS_BOARDS[0])
    server = firmware.ImageServer()
    yield server
    server.close()
    firmware.IMAGE.unlink(missing_ok=True)
    firmware.BOARD.write_text(board)


@pytest.fixture
def overheard(broker, idle_controller):
    """The controller, which holds to the contract what is sent to either device, too."""
    idle_controller.topics += ["qv/device_" + mac for mac in (qvctl.MAC, qvctl.OTHER)]
    return idle_controller.connect()


@pytest.fixture
def pretend(overheard):
    devices = []

    def start(*answers, **more):
        devices.append(qvctl.PretendedDevice(answers, **more))
        return devices[-1]

    yield start
    for device in devices:
        device.close()
