"""Every report that can be asked for carries what the wifi manager holds.

The order and widths of the members are the unit tests' matter.
"""
import json

import pytest
from harness import EASE_S


def of_state(key):
    return lambda state: state[key]


def radios_in_use(state):
    return [radio for radio in state["radio_stats"] if radio["channel"] != 65535]


# Command, "general_data" of it, type and key of the report, its body.
REPORTS = [
    (1023, None, 1004, "ap_stats_list", of_state("ap_stats")),
    (1024, None, 1005, "sta_stats_list", of_state("stations")),
    (1025, None, 1006, "radio_stats_list", radios_in_use),
    (1026, None, 1007, "interface_stats_list", of_state("interfaces")),
    (1027, None, 1008, "uci_system", of_state("system_config")),
    (1028, None, 1009, "uci_vap_list", of_state("vaps")),
    (1034, None, 1003, "system_stats", of_state("system")),
    (1018, "0", 1014, "uci_vap_maclist", lambda state: {"uploading_status": 12}),
    (1018, "1", 1014, "uci_vap_maclist", lambda state: {"uploading_status": 0}),
    (1018, "7", 1014, "uci_vap_maclist", lambda state: {"uploading_status": -1}),
    (1031, None, 1013, "uci_network_wan6", of_state("wan6")),
]
# These end in a new session with the broker.
LAST_REPORTS = [
    (1029, 1011, "uci_network_lan", of_state("lan")),
    (1030, 1012, "uci_network_wan", of_state("wan")),
]


def ask(controller, command, kind, general_data=None):
    """Key and body of the report that answers a command."""
    data = {} if general_data is None else {"data": {"general_data": general_data}}
    report = controller.ask({"type": command, "timestamp": 1} | data, kind)
    (body,) = report["data"].items()
    return body


def named_texts(record):
    """Another text in each member, so that a report that mixes two of them up does not pass."""
    return {name: f"t{i}" for i, name in enumerate(record) if isinstance(record[name], str)}


def assert_carries(body, key, expected):
    """The state may know more of an entry than the report tells."""
    assert body[0] == key
    if isinstance(expected, list):
        assert len(body[1]) == len(expected), key
        for reported, entry in zip(body[1], expected):
            assert reported == {name: entry[name] for name in reported}
    else:
        assert body[1] == {name: expected[name] for name in body[1]}


def test_every_report_by_command(controller, wifi_manager, agent, tmp_path):
    wifi_manager.restart("--still")
    held = wifi_manager.state()
    state = {name: named_texts(held[name]) for name in ("lan", "wan", "wan6", "system_config")}
    state |= {
        "maclist": {"maclist_size": 12, "wifi0Flag": 1},
        "radios": [{}, {"disabled": 1}, {}],
        "vaps": [{"mode": "ap-wds"}, {"mode": "sta-wds", "ssid": "x" * 32}, {"mode": "sta"}]
        + [named_texts(held["vaps"][3]), {"scanlist": "s" * 256, "macpolicy": "8" * 8}],
        "stations": [{}, {"rssi": -2147483648, "channel": 0, "txrate": -1}, {}],
    }
    file = tmp_path / "state.json"
    file.write_text(json.dumps(state))
    wifi_manager.restart("--still", "--state", str(file))
    state = wifi_manager.state()
    for command, general_data, kind, key, expected in REPORTS:
        assert_carries(ask(controller, command, kind, general_data), key, expected(state))
    for command, *_ in LAST_REPORTS:
        controller.send(command)
    for _, kind, key, expected in LAST_REPORTS:
        _, report = controller.wait_report(kind, EASE_S)
        assert_carries(*report["data"].items(), key, expected(state))


@pytest.mark.parametrize("stations, vap_count, freqs", [(255, 8, 85), (0, 0, 0)])
def test_fullest_and_emptiest(controller, wifi_manager, agent, stations, vap_count, freqs):
    counts = {"--stations": stations, "--vaps": vap_count, "--freqs": freqs}
    wifi_manager.restart("--still", *(str(word) for pair in counts.items() for word in pair))
    state = wifi_manager.state()
    assert [len(state["stations"]), len(state["vaps"])] == [stations, vap_count]
    for command, _, kind, key, expected in REPORTS[:6]:
        assert_carries(ask(controller, command, kind), key, expected(state))
