"""What a command sets is in the wifi manager's state, and in the report that follows."""
import contract
import pytest
from harness import DISCOVERY, EASE_S


def body_after(controller, kind, command, data):
    """What the report says that follows the command."""
    report = controller.ask({"type": command, "timestamp": 1, "data": data}, kind)
    (body,) = report["data"].values()
    return body


def holds(entry, wanted):
    return {key: entry[key] for key in wanted} == wanted


@pytest.fixture
def still(wifi_manager):
    """A wifi manager whose values only commands change."""
    return wifi_manager.restart("--still")


SYSTEM = contract.EXAMPLES[1003]["data"]["uci_system"]


def test_system_settings(controller, still, agent):
    body = body_after(controller, 1008, 1003, {"uci_system": SYSTEM})
    assert body == still.state()["system_config"] == SYSTEM
    # The command replaces the section: what it leaves out is empty.
    body = body_after(controller, 1008, 1003, {"uci_system": {"hostname": "Shed"}})
    emptied = dict.fromkeys(SYSTEM, "") | {"hostname": "Shed"}
    del emptied["server"]
    assert body == emptied
    assert still.state()["system_config"] == emptied | {"server": []}


def test_vap_and_radio(controller, still, agent):
    for command in (1006, 1007, 1004):
        wanted = {"ssid": f"net {command}", "mode": "ap-wds", "channel": "44", "hidden": "true"}
        config = {"ifname": "ath3", "macpolicy": "deny"} | wanted
        controller.send({"type": command, "timestamp": 1, "data": {"vap_config": config}})
        assert holds(body_after(controller, 1009, 1028, {})[3], wanted)
        assert holds(still.state()["vaps"][3], wanted)
    network = {"ssid": "Roof", "key": "secret-passphrase", "encryption": "sae"}
    network |= {"sae": "1", "sae_password": "pass", "sae_pwe": "2", "sae_require_mfp": "1"}
    radio = {"radio_name": "wifi1", "channel": 149, "txpower": "19", "country": "DE"}
    radio |= {"hwmode": "11ac", "htmode": "HT40", "radio_type": "5GHz"}
    networks = [network | {"opmode": "ap"}, {"ssid": "not read"}]
    body = body_after(controller, 1010, 1005, {"general_data": radio | {"vap_list": networks}})
    assert body[1] == radio | {"disabled": 0, "txpower": 19, "country": 276}
    state = still.state()
    assert body == [{key: entry[key] for key in body[1]} for entry in state["radios"]]
    assert holds(state["vaps"][3], network | {"mode": "ap", "freq": "5745"})
    assert holds(state["vaps"][4], {"ssid": "Office", "channel": "149", "country": "DE"})


NETWORKS = [
    (1011, "uci_network_lan", "lan", {"ipaddr": "10.0.0.1", "mtu": "1500"}),
    (1012, "uci_network_wan", "wan", {"proto": "static", "macaddr": "02:00:00:00:00:01"}),
    (1013, "uci_network_wan6", "wan6", {"ip6prefix": "fd00::/48", "delegate": "false"}),
]


def test_network_settings_end_in_a_new_session(broker, controller, still, agent):
    for number, (command, key, member, given) in enumerate(NETWORKS, 1):
        sent = controller.reports.mark()
        body = body_after(controller, command, command, {key: given})
        assert body == dict.fromkeys(body, "") | given
        assert still.state()[member] == body
        broker.wait_subscribed(number + 1, 12)
        controller.wait_report(DISCOVERY, EASE_S, sent)
        assert broker.agent_sessions() == broker.agent_subscriptions() == number + 1
    assert still.state()["interfaces"][0]["ipaddr"] == "10.0.0.1"


# Message that the wifi manager fails, how, the command behind it, and the report that follows it
# all the same.
FAILURES = [(10, "wrong-id", 1003, 1008), (15, "refuse", 1004, 1009), (22, "close", 1005, 1010)]


def test_failed_changes_are_answered(controller, still, agent):
    before = still.state()
    for message, fault, command, kind in FAILURES:
        still.behave(f"{message} {fault}")
        controller.ask(contract.EXAMPLES[command], kind)
        assert (still.state() != before) == (fault == "wrong-id"), (message, fault)
        before = still.state()
