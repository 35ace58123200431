"""Network changes that are taken back unless a command confirms them: whatever cuts the device off,
kills it or sets its clock meanwhile."""
import json
import pathlib
import subprocess
import sys
import time

import harness
import pytest
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, ZENDRY_ROOT, SteppedClock, poll

CONFIRM = {"confirm_s": 10}  # the shortest time there is
N_S = CONFIRM["confirm_s"]
PENDING = ZENDRY_ROOT / "etc/qvagent/pending"
LAN, WAN = 1011, 1012
PARTS = {LAN: "lan", WAN: "wan"}
APPLIES = {LAN: " id=13 ", WAN: " id=17 "}
OLD, NEW = {"mtu": "1500"}, {"mtu": "1400"}
BACK = "^QV_INFO: {} change taken back, not confirmed within 10 s$"


def change(kind, settings, **confirm):
    data = {f"uci_network_{PARTS[kind]}": settings} | confirm
    return {"type": kind, "timestamp": 1, "data": data}


def wait_settings(controller, kind, wanted, timeout, since=0):
    """The time of the first report with these settings."""

    def is_wanted(report):
        data = report["data"]
        return (
            report["type"] == kind and data[f"uci_network_{PARTS[kind]}"].items() >= wanted.items()
        )

    return controller.reports.wait(is_wanted, timeout, since, what=f"{kind} with {wanted}")[0]


def applies(wifi_manager, kind):
    return sum(APPLIES[kind] in line for _, line in wifi_manager.log.items())


def kill(agent):
    agent.process.kill()
    agent.exit_status(EASE_S)


def test_good_change_is_confirmed(broker, controller, wifi_manager, agent):
    controller.send(change(LAN, NEW | {"ipaddr": "192.168.1.1"}, **CONFIRM))
    begun, _ = agent.wait_line("^QV_INFO: LAN change to be confirmed within 10 s$", EASE_S)
    mark = controller.reports.mark()
    assert PENDING.exists()
    controller.wait_report(DISCOVERY, N_S, mark)
    controller.send(1034)
    agent.wait_line("^QV_INFO: LAN change confirmed$", EASE_S)
    controller.wait_report(SYSTEM_STATS, EASE_S, mark)
    assert not PENDING.exists()
    time.sleep(max(0, begun + N_S + 2 - time.monotonic()))
    assert wifi_manager.state()["lan"].items() >= NEW.items()
    assert (applies(wifi_manager, LAN), broker.agent_sessions()) == (1, 2)


@pytest.mark.skipif(harness.emulated(), reason="a native library cannot be preloaded")
def test_broker_that_is_away_and_clock_that_is_set(
    broker, controller, wifi_manager, link, start_agent
):
    clock = SteppedClock()
    agent = start_agent(**clock.environment())
    broker.wait_subscribed()
    before = wifi_manager.state()
    controller.send(change(LAN, NEW, **CONFIRM))
    controller.send(change(WAN, {"mtu": "1300"}, **CONFIRM))
    mark = agent.log.mark()
    controller.publish(controller.topic, '{"type":1000,"timestamp":1}', retain=True)
    begun, _ = agent.wait_line("^QV_INFO: WAN change to be confirmed", EASE_S)
    clock.step(-3600)
    broker.wait_subscribed(2, N_S - 1)
    agent.wait_line("^SUB MSG: payload=", 2, mark, count=2)  # of both sessions
    link.shut()
    link.cut()
    clock.step(2 * 3600)
    for part in ("LAN", "WAN"):
        assert N_S - 0.5 < agent.wait_line(BACK.format(part), N_S + EASE_S)[0] - begun < N_S + 2
    mark = controller.reports.mark()
    link.open()
    for kind, part in PARTS.items():
        wait_settings(controller, kind, {"mtu": before[part]["mtu"]}, EASE_S, mark)
        poll(lambda: applies(wifi_manager, kind) >= 2, EASE_S, f"the second request of {part}")
        assert applies(wifi_manager, kind) == 2
        assert wifi_manager.state()[part] == before[part]
    controller.publish(controller.topic, "", retain=True)


def test_killed_at_every_step(broker, controller, wifi_manager, start_agent):
    agent = start_agent()
    broker.wait_subscribed()
    wifi_manager.behave("13 silent")
    controller.send(change(LAN, NEW, **CONFIRM))
    wifi_manager.wait_request(13, EASE_S)
    kill(agent)  # kept, not applied
    assert PENDING.exists()
    wifi_manager.behave("")

    agent = start_agent()
    broker.wait_subscribed(2)
    controller.send(change(LAN, OLD))
    agent.wait_line("^QV_INFO: LAN change confirmed$", EASE_S)  # by a command without confirmation
    controller.send(change(LAN, NEW, **CONFIRM))
    wait_settings(controller, LAN, NEW, EASE_S)
    kill(agent)  # applied

    agent = start_agent()
    broker.wait_subscribed(3)
    wifi_manager.behave("13 silent")
    wifi_manager.wait_request(13, N_S + 2, wifi_manager.log.mark())
    kill(agent)  # being taken back
    wifi_manager.behave("")

    agent = start_agent()
    agent.wait_line("^QV_INFO: LAN change to be confirmed within 10 s of the first attempt", EASE_S)
    agent.wait_line(BACK.format("LAN"), N_S + EASE_S)
    kill(agent)
    state = wifi_manager.state()["lan"]
    assert state == {key: "" for key in state} | OLD

    agent = start_agent()  # taken back
    agent.wait_line("^Successfully subscribed", EASE_S)
    assert not agent.lines("LAN change") and not PENDING.exists()


def test_change_that_costs_the_address(
    broker, controller, wifi_manager, agent, rename_bridge, start_agent
):
    for restarts in (False, True):
        mark = controller.reports.mark()
        if not restarts:
            rename_bridge("br-away")
        controller.send(change(LAN, NEW, **CONFIRM))
        if restarts:
            wait_settings(controller, LAN, NEW, EASE_S, mark)
            kill(agent)
            rename_bridge("br-away")
            agent = start_agent()
        else:
            agent.wait_line("^Fail to fetch device mac addr", EASE_S)
        agent.wait_line(BACK.format("LAN"), N_S + EASE_S)
        subscribed = broker.agent_subscriptions()
        rename_bridge("br-lan")
        broker.wait_subscribed(subscribed + 1, 15)


@pytest.fixture
def bridged(tmp_path):
    """Starts the access point of a fleet, whose flash outlasts it, and its controller."""
    sys.path.append(str(pathlib.Path(__file__).resolve().parents[2] / "simulator/fleet"))
    import access_points
    from one_broker import OneBroker

    point, broker = access_points.AccessPoint(1), OneBroker()
    access_points.set_up_network([point])
    broker.start()
    controller = harness.Controller(f"qv/device_{point.mac}").connect(broker.host)
    state = tmp_path / "state.json"
    state.write_text("{}")
    folder = f"mkdir -p {tmp_path}/qvagent; ln -s {tmp_path}/qvagent $ZENDRY_ROOT/etc; "
    agent = ["sh", "-c", folder + "exec " + " ".join(access_points.AGENT)]
    files = f"--state {state} --dump {state} --behave {tmp_path}/behave"

    def start():
        point.start(broker.host, agent, AP_WRITABLE=str(tmp_path), AP_WIFI_MANAGER_ARGS=files)

    start()
    controller.wait_report(DISCOVERY, 2 * EASE_S)
    yield point, start, controller, tmp_path
    for process in (point.process, broker.process):
        process.kill()
        process.wait()
    controller.close()


def test_cut_off_on_a_real_bridge_and_killed(bridged):
    point, start, controller, flash = bridged
    (flash / "behave").write_text("cuts lan.ipaddr=10.77.3.3\ncuts wan.proto=none\n")
    old = json.loads((flash / "state.json").read_text())
    for kind, wrong in ((LAN, {"ipaddr": "10.77.3.3"}), (WAN, {"proto": "none"})):
        mark, begun = controller.reports.mark(), time.monotonic()
        controller.send(change(kind, wrong, **CONFIRM))
        port = ["ip", "link", "show", f"port-{point.name}"]
        poll(
            lambda: b"NO-CARRIER" in subprocess.check_output(port),
            N_S / 2,
            "a bridge without its port",
        )
        if kind == WAN:  # and then a power cut
            time.sleep(3)
            point.process.kill()
            point.process.wait()
            subprocess.run(["ip", "-netns", point.name, "link", "delete", "br-lan"], check=True)
            begun = time.monotonic()
            start()
        part = old[PARTS[kind]]
        back = wait_settings(controller, kind, {key: part[key] for key in wrong}, 30, mark)
        assert N_S - 0.5 < back - begun < N_S + 15
        assert json.loads((flash / "state.json").read_text())[PARTS[kind]] == part
        assert not (flash / "qvagent/pending").exists()
