"""What a command sets is in the wifi manager's state, and in the report that follows."""
import contract
import pytest
from harness import DISCOVERY, poll


def send(controller, command, data, valid=True):
    """Returns the position behind the reports that came before."""
    mark = controller.reports.mark()
    controller.send({"type": command, "timestamp": 1, "data": data}, valid)
    return mark


def wait_body(controller, kind, mark, timeout=3):
    _, report = controller.wait_report(kind, timeout, mark)
    (body,) = report["data"].values()
    return body


def wait_state(wifi_manager, test):
    return poll(lambda: test(wifi_manager.state()), 3, "change of the state")


def holds(entry, wanted):
    return {key: entry[key] for key in wanted} == wanted


@pytest.fixture
def still(wifi_manager):
    """A wifi manager whose values only commands change."""
    return wifi_manager.restart("--still")


SYSTEM = contract.EXAMPLES[1003]["data"]["uci_system"]


def test_system_settings(controller, still, agent):
    mark = send(controller, 1003, {"uci_system": SYSTEM})
    assert wait_body(controller, 1008, mark) == SYSTEM
    assert still.state()["system_config"] == SYSTEM
    # The command replaces the section: what it leaves out is empty.
    mark = send(controller, 1003, {"uci_system": {"hostname": "Shed"}})
    emptied = dict.fromkeys(SYSTEM, "") | {"hostname": "Shed"}
    del emptied["server"]
    assert wait_body(controller, 1008, mark) == emptied
    assert still.state()["system_config"] == emptied | {"server": []}


def test_vap_and_radio(controller, still, agent):
    for command in (1004, 1006, 1007):
        wanted = {"ssid": f"net {command}", "mode": "ap-wds", "channel": "44", "hidden": "true"}
        config = {"ifname": "ath3", "macpolicy": "deny"} | wanted
        mark = send(controller, command, {"vap_config": config})
        wait_state(still, lambda state: holds(state["vaps"][3], wanted))
        if command != 1004:
            controller.send(1028)
        assert holds(wait_body(controller, 1009, mark)[3], wanted)
    network = {"ssid": "Roof", "key": "secret-passphrase", "encryption": "sae"}
    network |= {"sae": "1", "sae_password": "pass", "sae_pwe": "2", "sae_require_mfp": "1"}
    radio = {"radio_name": "wifi1", "channel": 149, "txpower": "19", "country": "DE"}
    radio |= {"hwmode": "11ac", "htmode": "HT40", "radio_type": "5GHz"}
    networks = [network | {"opmode": "ap"}, {"ssid": "not read"}]
    mark = send(controller, 1005, {"general_data": radio | {"vap_list": networks}})
    body = wait_body(controller, 1010, mark)
    assert body[1] == radio | {"disabled": 0, "txpower": 19, "country": 276}
    state = still.state()
    assert body == [{key: entry[key] for key in body[1]} for entry in state["radios"]]
    assert holds(state["vaps"][3], network | {"mode": "ap", "freq": "5745"})
    assert holds(state["vaps"][4], {"ssid": "Office", "channel": "149", "country": "DE"})


def bundle(vap_count):
    """The contract's example, with so many VAPs."""
    (radio,) = contract.EXAMPLES[1001]["data"]["apconfigs"]["radio_list"]
    vaps = [vap | {"key": "paper and ink"} for vap in radio["vap_list"]] * vap_count
    return {"apconfigs": {"radio_list": [radio | {"vap_list": vaps}]}}


def test_whole_access_point(controller, still, agent):
    send(controller, 1001, bundle(2))
    wait_state(still, lambda state: state["apconfigs"] == bundle(2)["apconfigs"])
    mark = controller.reports.mark()
    controller.send(1028)
    vaps = wait_body(controller, 1009, mark)
    (radio,) = bundle(2)["apconfigs"]["radio_list"]
    for vap, sent in zip(vaps, radio["vap_list"]):
        wanted = {"device": "wifi0", "channel": str(radio["channel"])}
        assert holds(vap, wanted | {key: sent[key] for key in ("ssid", "key", "encryption")})


def test_mac_lists_and_passthrough(controller, still, agent):
    given = {"maclist_size": "5", "wifi0Flag": 0, "wifi1Flag": 1}
    send(controller, 1019, {"general_data": given})
    wait_state(still, lambda state: state["maclist"] == given | {"maclist_size": 5})
    for index, status in (("0", 0), ("1", 5)):
        mark = send(controller, 1018, {"general_data": index})
        assert wait_body(controller, 1014, mark) == {"uploading_status": status}
    for general_data, text in (("x" * 63, "x" * 63), ({"a": [1]}, '{ "a": [ 1 ] }'), ("", "")):
        send(controller, 1022, {"general_data": general_data})
        wait_state(still, lambda state: state["general_data"] == text)


NETWORKS = [
    (1011, "uci_network_lan", "lan", {"ipaddr": "10.0.0.1", "mtu": 1500, "_orig_bridge": "x" * 9}),
    (1012, "uci_network_wan", "wan", {"proto": "static", "macaddr": "m" * 40, "Proto": "no"}),
    (1013, "uci_network_wan6", "wan6", {"ip6prefix": "fd00::/48", "delegate": False}),
]
WIDTHS = {"_orig_bridge": 8, "macaddr": 32}


def test_network_settings_end_in_a_new_session(broker, controller, still, agent):
    for number, (command, key, member, given) in enumerate(NETWORKS, 1):
        sent = send(controller, command, {key: given}, valid=command == 1013)
        body = wait_body(controller, command, sent)
        texts = {name: str(value).lower() for name, value in given.items() if name in body}
        texts = {name: text[: WIDTHS.get(name, 32)] for name, text in texts.items()}
        assert body == dict.fromkeys(body, "") | texts
        assert still.state()[member] == body
        broker.wait_subscribed(number + 1, 12)
        controller.wait_report(DISCOVERY, 6, sent)
        assert broker.agent_sessions() == broker.agent_subscriptions() == number + 1
    assert still.state()["interfaces"][0]["ipaddr"] == "10.0.0.1"


# Message that the wifi manager fails, how, the command behind it, and the report that follows it
# all the same.
FAILURES = [(10, "wrong-id", 1003, 1008), (15, "refuse", 1004, 1009), (22, "close", 1005, 1010)]


def test_refused_and_ignored_changes(controller, still, agent):
    before = still.state()
    for message, fault, command, kind in FAILURES:
        still.behave(f"{message} {fault}")
        wait_body(controller, kind, send(controller, command, contract.EXAMPLES[command]["data"]))
        assert (still.state() != before) == (fault == "wrong-id"), (message, fault)
        before = still.state()
    # Nor is anything of a command sent that does not fit.
    still.behave("")
    asked = still.log.mark()
    for command, data in ((1001, bundle(9)), (1022, {"general_data": "x" * 64})):
        mark = agent.log.mark()
        send(controller, command, data, valid=False)
        agent.wait_line("^QV_ERR: .* refused: ", 2, mark)
    send(controller, 1025, {})
    still.wait_request(12, 3, asked)
    assert not [line for _, line in still.log.items(asked) if " id=9 " in line or " id=26 " in line]
