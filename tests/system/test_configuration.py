"""What a command sets is in the wifi manager's state, and in the report that follows."""
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


SYSTEM = {
    "hostname": "Garden",
    "zonename": "Europe/Berlin",
    "timezone": "CET-1CEST,M3.5.0,M10.5.0/3",
    "log_size": "128",
    "log_ip": "192.168.1.9",
    "log_port": "1514",
    "conloglevel": "7",
    "cronloglevel": "5",
    "enabled": "1",
    "enable_server": "0",
    "server": ["ntp-a/pool", "café.example"],
}


def test_system_settings(controller, still, agent):
    given = SYSTEM | {"log_port": 1514, "unknown": "x"}
    mark = send(controller, 1003, {"uci_system": given}, valid=False)
    assert wait_body(controller, 1008, mark) == SYSTEM
    assert still.state()["system_config"] == SYSTEM
    assert still.state()["system"]["hostname"] == "Garden"
    # The command replaces the section: what it leaves out is empty.
    mark = send(controller, 1003, {"uci_system": {"hostname": "Shed"}})
    emptied = dict.fromkeys(SYSTEM, "") | {"hostname": "Shed", "server": []}
    body = wait_body(controller, 1008, mark)
    assert still.state()["system_config"] == emptied
    assert body == {key: value for key, value in emptied.items() if key != "server"}


@pytest.mark.parametrize("command", [1004, 1006, 1007])
def test_vap(controller, still, agent, command):
    before = still.state()
    given = {"ifname": "ath3", "ssid": f"net {command}", "mode": "ap-wds", "channel": 44}
    given |= {"hidden": True, "macpolicy": "deny", "isolate": None}
    mark = send(controller, command, {"vap_config": given})
    wanted = {"ssid": f"net {command}", "channel": "44", "hidden": "true", "isolate": "0"}
    wait_state(still, lambda state: holds(state["vaps"][3], wanted | {"mode": "ap-wds"}))
    if command != 1004:
        controller.send(1028)
    reported = wait_body(controller, 1009, mark)
    assert holds(reported[3], wanted | {"mode": "ap-wds"})
    # Of the other VAPs only those on the same radio change, in what the radio gives them.
    for index in (0, 1, 2, 6, 7):
        assert still.state()["vaps"][index] == before["vaps"][index]
    assert [vap["channel"] for vap in reported[3:6]] == ["44"] * 3


def test_radio(controller, still, agent):
    network = {"ssid": "Roof", "key": "secret-passphrase", "encryption": "sae"}
    network |= {"sae": "1", "sae_password": "pass", "sae_pwe": "2", "sae_require_mfp": "1"}
    radio = {"radio_name": "wifi1", "channel": 149, "txpower": "19", "country": "DE"}
    radio |= {"hwmode": "11ac", "htmode": "HT40", "radio_type": "5GHz"}
    networks = [network | {"opmode": "ap"}, {"ssid": "not read"}]
    data = {"general_data": radio | {"vap_list": networks}}
    body = wait_body(controller, 1010, send(controller, 1005, data))
    assert body[1] == radio | {"disabled": 0, "txpower": 19, "country": 276}
    state = still.state()
    assert body == [{key: entry[key] for key in body[1]} for entry in state["radios"]]
    first, second = state["vaps"][3:5]
    assert holds(first, network | {"mode": "ap", "freq": "5745"})
    assert holds(second, {"ssid": "Office", "channel": "149", "country": "DE"})


def bundle(*vap_counts, txpower=20):
    radio = {"txpower": txpower, "country": 156, "hwmode": "11axg", "htmode": "HT40"}
    vap = {"network": "guest", "encryption": "psk2"}

    def vaps(count):
        for number in range(count):
            mode = "sta-wds" if number == 1 else "ap"
            yield vap | {"ssid": f"net {number}", "opmode": mode, "key": f"key {number}"}

    return {
        "apconfigs": {
            "radio_list": [
                radio | {"channel": 1 + index, "disabled": index % 2, "vap_list": list(vaps(count))}
                for index, count in enumerate(vap_counts)
            ]
        }
    }


def test_whole_access_point(controller, still, agent):
    data = bundle(4, 1, txpower=300)
    send(controller, 1001, data, valid=False)
    low_byte = [radio | {"txpower": 44} for radio in data["apconfigs"]["radio_list"]]
    wait_state(still, lambda state: state["apconfigs"] == {"radio_list": low_byte})
    mark = controller.reports.mark()
    controller.send(1028)
    vaps = wait_body(controller, 1009, mark)
    assert [(vap["device"], vap["ssid"]) for vap in vaps] == [
        *(("wifi0", f"net {number}") for number in range(4)),
        ("wifi1", "net 0"),
        *(("wifi2", "Office") for _ in range(2)),
    ]
    assert [vap["mode"] for vap in vaps[:3]] == ["ap", "sta-wds", "ap"]
    assert holds(vaps[4], {"channel": "2", "txpower": "44", "country": "CN", "key": "key 0"})
    controller.send(1025)
    radios = wait_body(controller, 1006, mark)  # wifi1 is disabled
    assert [(radio["radio_name"], radio["num_vaps"]) for radio in radios] == [
        ("wifi0", 4),
        ("wifi2", 2),
    ]


def test_mac_lists_and_passthrough(controller, still, agent):
    given = {"maclist_size": "5", "wifi0Flag": 0, "wifi1Flag": 1}
    send(controller, 1019, {"general_data": given})
    wait_state(still, lambda state: state["maclist"] == given | {"maclist_size": 5})
    for index, status in (("0", 0), ("1", 5)):
        mark = send(controller, 1018, {"general_data": index})
        assert wait_body(controller, 1014, mark) == {"uploading_status": status}

    for general_data, text in (("x" * 63, "x" * 63), ({"a": [1]}, '{ "a": [ 1 ] }'), ("", "")):
        send(controller, 1022, {"general_data": general_data})
        wait_state(still, lambda state, text=text: state["general_data"] == text)


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
        assert broker.agent_sessions() == number + 1
        assert broker.agent_subscriptions() == number + 1
    assert still.state()["interfaces"][0]["ipaddr"] == "10.0.0.1"


# Message that the wifi manager fails, how, the command behind it, and the report that follows it
# all the same.
VAP = {"vap_config": {"ifname": "ath0", "ssid": "x"}}
FAILURES = [
    (10, "wrong-id", 1003, {"uci_system": SYSTEM}, 1008),
    (15, "refuse", 1004, VAP, 1009),
    (22, "close", 1005, {"general_data": {"radio_name": "wifi0", "channel": 1}}, 1010),
]


def test_refused_and_ignored_changes(controller, still, agent):
    before = still.state()
    for message, fault, command, data, kind in FAILURES:
        still.behave(f"{message} {fault}")
        wait_body(controller, kind, send(controller, command, data))
        assert (still.state() != before) == (fault == "wrong-id"), (message, fault)
        before = still.state()
    # What no VAP or radio is named for, the wifi manager refuses by itself.
    still.behave("")
    for command, data, kind in ((1004, {}, 1009), (1005, {}, 1010)):
        wait_body(controller, kind, send(controller, command, data, valid=False))
    assert still.state() == before
    # Nor is anything of a command sent that does not fit.
    asked = still.log.mark()
    for command, data in ((1001, bundle(9)), (1022, {"general_data": "x" * 64})):
        mark = agent.log.mark()
        send(controller, command, data, valid=False)
        agent.wait_line("^QV_ERR: .* refused: ", 2, mark)
    send(controller, 1025, {})
    still.wait_request(12, 3, asked)
    assert not [line for _, line in still.log.items(asked) if " id=9 " in line or " id=26 " in line]
