"""The configuration store at its worst moments: an agent that is killed while it starts, and
another program that holds a package and hangs."""
import fcntl
import itertools
import pathlib
import subprocess
import time

import harness
import pytest
from harness import EASE_S, SYSTEM_STATS, ZENDRY_ROOT

PACKAGES = ZENDRY_ROOT / "etc/config"
SYSTEM = PACKAGES / "system"
EVENT_SOCKET = pathlib.Path("/tmp/qvagent")

FACTORY = "config system\n\toption hostname 'OpenWrt'\n"
ENTRY = "\nconfig conf 'broker'\n\toption host '127.0.0.1'\n\toption port '1883'\n"
CONNECTED = "\toption status '1'\n"
WHOLE = [FACTORY, FACTORY + ENTRY, FACTORY + ENTRY + CONNECTED]

WIRELESS = PACKAGES / "wireless"
LOCK_LIMIT_S = 5
LOCKED = f"^QV_ERR: {SYSTEM}: locked by another program$"


def make_first_start():
    EVENT_SOCKET.unlink(missing_ok=True)
    for file in PACKAGES.iterdir():
        file.unlink()
    SYSTEM.write_text(FACTORY)


def what_is_left():
    files = ((file.name, file.read_text()) for file in PACKAGES.iterdir())
    return EVENT_SOCKET.exists(), *sorted(files)


@pytest.mark.skipif(harness.sanitized() or harness.emulated(), reason="too slow, and nothing new")
def test_killed_at_any_system_call_of_its_first_start(broker, wifi_manager, start_agent):
    """The next start has the files alone to go by: it is tried once for all that are alike."""
    tried = set()
    for point in itertools.count(1):
        make_first_start()
        kill = [harness.BUILD_DIR / "kill_at", str(point), *harness.AGENT]
        subprocess.run(kill, stdout=subprocess.DEVNULL, check=True, timeout=10)
        system = SYSTEM.read_text()
        assert system in WHOLE, f"killed at {point}: {system}"
        left = what_is_left()
        if left not in tried:
            tried.add(left)
            agent = start_agent()
            agent.wait_line("^Successfully subscribed to topic$", 5)
            agent.process.kill()
            agent.exit_status(EASE_S)
            assert SYSTEM.read_text() == WHOLE[-1], f"killed at {point}"
        if system == WHOLE[-1]:
            break
    assert point > 200 and len(tried) > 4


@pytest.fixture
def held_package(store):
    with open(SYSTEM) as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        yield file


def test_holder_that_hangs_is_left_alone(controller, agent, held_package):
    controller.send({"type": 1017, "timestamp": 1, "data": {"general_data": "roof"}})
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, LOCK_LIMIT_S + EASE_S)
    agent.wait_line(LOCKED, EASE_S)
    assert len(agent.lines(LOCKED)) == 1

    # Who holds another package has the whole time.
    lists = WIRELESS.read_text().count("list maclist")
    with open(WIRELESS) as file:
        fcntl.flock(file, fcntl.LOCK_EX)
        mark = agent.log.mark()
        flags = {"maclist_size": 0, "wifi0Flag": 1, "wifi1Flag": 0}
        controller.send({"type": 1020, "timestamp": 1, "data": {"general_data": flags}})
        agent.wait_line("^process_msg->type 1020", EASE_S, mark)
        time.sleep(0.6)
    harness.poll(
        lambda: WIRELESS.read_text().count("list maclist") == lists - 2, EASE_S, "the edit"
    )

    status, seconds = agent.stop()
    assert (status, seconds < 2) == (0, True)


def test_store_that_is_held_at_the_start(broker, wifi_manager, held_package, start_agent):
    agent = start_agent()
    agent.wait_line("^COULD NOT CONNECT: ", LOCK_LIMIT_S + EASE_S)
    assert agent.lines(LOCKED)
    fcntl.flock(held_package, fcntl.LOCK_UN)
    broker.wait_subscribed()
