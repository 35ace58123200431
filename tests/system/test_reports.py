"""Every report that can be asked for carries what the wifi manager holds, whole and in order."""
import json
import time

import pytest

# Members of each report in their order; the state names them alike unless said otherwise.
STATION = ["macaddr", "bssid", "channel", "txrate", "rxrate", "uptime", "txpower", "rssi"]
AP = ["channel", "frequency", "status", "ssid", "bssid", "numsta", "txpower", "phymode", "ipaddr"]
AP += ["parent", "ifname", "mode", "bitrate", "wifi_signal", "noise", "country", "encryption"]
INTERFACE = ["ifname", "rx_bytes", "tx_bytes", "rx_packets", "tx_packets", "macaddr", "ipaddr"]
RADIO_STATS = ["radio_name", "radio_id", "channel", "radio_type", "band", "num_vaps"]
SYSTEM = ["hw_name", "fwinfo", "hostname", "cpu_usage", "max_memory", "max_memory_used"]
SYSTEM += ["max_disk_space", "max_disk_space_used", "uptime", "model", "kernel_version"]
SYSTEM += ["loadavg", "equipment_notes"]
CONFIG = ["hostname", "zonename", "timezone", "log_size", "log_ip", "log_port", "conloglevel"]
CONFIG += ["cronloglevel", "enabled", "enable_server", "server"]
VAP = ["ifname", "device", "disabled", "country", "hwmode", "htmode", "channel", "freq"]
VAP += ["blockdfschlist", "acs_bkscanen", "acs_scanintvl", "antenna_gain", "txpower", "ssid"]
VAP += ["txantenna", "rxantenna", "scanlist", "macpolicy", "mode", "shortgi", "manrate", "hidden"]
VAP += ["encryption", "range", "regdomain", "key", "key1", "key2", "key3", "key4", "sae"]
VAP += ["sae_password", "sae_pwe", "sae_require_mfp", "doth", "isolate", "uapsd", "mcast_rate"]
VAP += ["frag", "rts", "wmm", "freqlist"]
LAN = ["macaddr", "proto", "ipaddr", "netmask", "gateway", "broadcast", "ip6assign", "ip6hint"]
LAN += ["mtu", "metric", "_orig_ifname", "_orig_bridge", "stp", "ifname", "dhcpLanStart"]
LAN += ["dhcpLanLimit", "dhcpLanLeaseTime", "dhcpLandHcpv6", "dhcpLanRa", "dhcpLanRaManagement"]
LAN += ["dhcpLanNdp", "dhcpLanRaDefault", "dhcpLanDynamicDhcp", "dhcpLanForce", "dhcpLanIgnore"]
LAN += ["dhcpLanNetmask"]
WAN = ["proto", "hostname", "delegate", "broadcast", "defaultroute", "metric", "vendorid"]
WAN += ["clientid", "macaddr", "mtu"]
WAN6 = ["proto", "reqaddress", "reqprefix", "delegate", "defaultroute", "ip6prefix", "clientid"]
WAN6 += ["macaddr", "mtu"]

def members(names, entry):
    return {name: entry[name] for name in names}


def entries(names, key):
    return lambda state: [members(names, entry) for entry in state[key]]


def settings(names, key):
    return lambda state: dict(zip(names, state[key].values(), strict=True))


def access_points(state):
    status = {0: "ONLINE", 1: "OFFLINE"}
    return [
        members(AP, entry) | {"status": status[entry["status"]]} for entry in state["ap_stats"]
    ]


def vaps(state):
    def mode(vap):
        return vap["mode"] + ("-wds" if vap["wds"] == "1" else "")

    return [members(VAP, vap) | {"mode": mode(vap)} for vap in state["vaps"]]


def radios_in_use(state):
    every = entries(RADIO_STATS, "radio_stats")(state)
    return [radio for radio in every if radio["channel"] != 65535]


# Command, "general_data" of it, type and key of the report, its body.
REPORTS = [
    (1023, None, 1004, "ap_stats_list", access_points),
    (1024, None, 1005, "sta_stats_list", entries(STATION, "stations")),
    (1025, None, 1006, "radio_stats_list", radios_in_use),
    (1026, None, 1007, "interface_stats_list", entries(INTERFACE, "interfaces")),
    (1027, None, 1008, "uci_system", lambda state: members(CONFIG, state["system_config"])),
    (1028, None, 1009, "uci_vap_list", vaps),
    (1034, None, 1003, "system_stats", lambda state: members(SYSTEM, state["system"])),
    (1018, "0", 1014, "uci_vap_maclist", lambda state: {"uploading_status": 12}),
    (1018, "1", 1014, "uci_vap_maclist", lambda state: {"uploading_status": 0}),
    (1018, "7", 1014, "uci_vap_maclist", lambda state: {"uploading_status": -1}),
    (1031, None, 1013, "uci_network_wan6", settings(WAN6, "wan6")),
]
# These end in a new session with the broker.
LAST_REPORTS = [
    (1029, 1011, "uci_network_lan", settings(LAN, "lan")),
    (1030, 1012, "uci_network_wan", settings(WAN, "wan")),
]


def ask(controller, command, kind, general_data=None):
    """The body of the report that answers a command."""
    mark = controller.reports.mark()
    data = {} if general_data is None else {"data": {"general_data": general_data}}
    controller.send({"type": command, "timestamp": 1} | data)
    _, report = controller.wait_report(kind, 3, mark)
    (body,) = report["data"].items()
    return body


def named_texts(record):
    """Another text in each member, so that a report that mixes two of them up does not pass."""
    return {name: f"t{i}" for i, name in enumerate(record) if isinstance(record[name], str)}


def start_with(wifi_manager, tmp_path, state, *arguments):
    file = tmp_path / "state.json"
    file.write_bytes(state if isinstance(state, bytes) else json.dumps(state).encode())
    wifi_manager.restart("--still", "--state", str(file), *arguments)


def assert_carries(body, key, expected):
    # As text, so that the order of members counts.
    assert [body[0], json.dumps(body[1])] == [key, json.dumps(expected)]


def test_every_report_by_command(controller, wifi_manager, agent, tmp_path):
    wifi_manager.restart("--still")
    held = wifi_manager.state()
    state = {name: named_texts(held[name]) for name in ("lan", "wan", "wan6", "system_config")}
    state |= {
        "maclist": {"maclist_size": 12, "wifi0Flag": 1},
        "radios": [{}, {"disabled": 1}, {}],
        "vaps": [{"wds": "1"}, {"mode": "sta", "wds": "1", "ssid": "x" * 32}, {"mode": "sta"}]
        + [named_texts(held["vaps"][3]), {"scanlist": "s" * 256, "macpolicy": "8" * 8}],
        "stations": [{}, {"rssi": -2147483648, "channel": 0, "txrate": -1}, {}],
    }
    start_with(wifi_manager, tmp_path, state)
    state = wifi_manager.state()
    for command, general_data, kind, key, expected in REPORTS:
        assert_carries(ask(controller, command, kind, general_data), key, expected(state))
    for command, *_ in LAST_REPORTS:
        controller.send(command)
    for _, kind, key, expected in LAST_REPORTS:
        _, report = controller.wait_report(kind, 3)
        assert_carries(*report["data"].items(), key, expected(state))


@pytest.mark.parametrize(
    "arguments, stations, vap_count, freqs",
    [
        (["--stations", "255", "--vaps", "8", "--freqs", "85"], 255, 8, 85),
        (["--stations", "0", "--vaps", "0"], 0, 0, 0),
    ],
)
def test_fullest_and_emptiest(
    controller, wifi_manager, agent, arguments, stations, vap_count, freqs
):
    wifi_manager.restart("--still", *arguments)
    state = wifi_manager.state()
    assert [len(state["stations"]), len(state["vaps"])] == [stations, vap_count]
    assert all(len(vap["freqlist"]) == freqs for vap in state["vaps"])
    for command, _, kind, key, expected in REPORTS[:6]:
        assert_carries(ask(controller, command, kind), key, expected(state))


def test_odd_bytes_and_a_failed_poll(controller, wifi_manager, agent, tmp_path):
    ssid = b'caf\xc3\xa9 \xff"\\/\x01\xf0\x9f'
    start_with(
        wifi_manager,
        tmp_path,
        b'{"wifi_stats": -2, "vaps": [{"ssid": "'
        + ssid.replace(b"\\", b"\\\\").replace(b'"', b'\\"').replace(b"\x01", b"\\u0001")
        + b'"}, {}]}',
    )
    shown = 'café \ufffd"\\/\x01\ufffd\ufffd'
    for command, kind in ((1023, 1004), (1028, 1009)):
        _, (odd, plain) = ask(controller, command, kind)
        assert [odd["ssid"], plain["ssid"]] == [shown, "Office"]
    controller.send(1035)
    agent.wait_line("^QV_ERR: failed to fetch wifi stats..$", 2)


def test_statistics_move(controller, wifi_manager, agent):
    def counters():
        _, interfaces = ask(controller, 1026, 1007)
        return [int(entry["rx_bytes"]) for entry in interfaces]

    def uptimes():
        _, stations = ask(controller, 1024, 1005)
        return [station["uptime"] for station in stations]

    bytes_before, uptimes_before = counters(), uptimes()
    time.sleep(1.1)
    assert all(later > earlier for earlier, later in zip(bytes_before, counters(), strict=True))
    assert all(later > earlier for earlier, later in zip(uptimes_before, uptimes(), strict=True))


def test_index_that_does_not_fit_is_refused(controller, wifi_manager, agent):
    mark, asked = controller.reports.mark(), wifi_manager.log.mark()
    index = {"general_data": "00000001"}
    controller.send({"type": 1018, "timestamp": 1, "data": index}, valid=False)
    agent.wait_line("^QV_ERR: wifi index refused: ", 2)
    ask(controller, 1024, 1005)  # what came before it has been dealt with
    assert not controller.times(1014, mark)
    assert not [line for _, line in wifi_manager.log.items(asked) if " id=24 " in line]
