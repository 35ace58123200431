"""docs/protocol/README.md shows what the agent says: each example comes from real traffic.

scripts/protocol-examples runs this with QV_WRITE_PAGE set, and the page is written.
"""
import hashlib
import json
import os

import contract
import firmware
import harness
import protocol_page

PAGE = contract.FOLDER / "README.md"
TIME = 1700000000000
IMAGE = b"a firmware image"
PORT = '"8080"'  # in the examples; the test's server takes any

UPGRADE = {
    "image_name": "firmware.img",
    "md5sum": hashlib.md5(IMAGE).hexdigest(),
    "server_ip": "127.0.0.1",
    "server_port": json.loads(PORT),
    "save_config": "1",
    "reboot": "0",
}
VAP = {"ifname": "ath0", "ssid": "Garden", "mode": "ap"}
VAP |= {"encryption": "psk2", "key": "green leaves"}
BUNDLE_VAP = {"ssid": "Office", "opmode": "ap", "network": "lan", "key": "paper and ink"}
BUNDLE_VAP |= {"encryption": "psk2"}
BUNDLE_RADIO = {"channel": 6, "disabled": 0, "txpower": 20, "country": 276, "hwmode": "11axg"}
BUNDLE_RADIO |= {"htmode": "HT20", "vap_list": [BUNDLE_VAP]}
RADIO = {"radio_name": "wifi0", "channel": "11", "txpower": "18", "vap_list": [{"ssid": "Roof"}]}
SYSTEM = {"hostname": "garden-ap", "zonename": "Europe/Berlin"}
SYSTEM |= {"timezone": "CET-1CEST,M3.5.0,M10.5.0/3", "log_size": "64", "log_ip": "192.168.1.9"}
SYSTEM |= {"log_port": "514", "conloglevel": "7", "cronloglevel": "5", "enabled": "1"}
SYSTEM |= {"enable_server": "0", "server": ["0.pool.example", "1.pool.example"]}
LAN = {"proto": "static", "ipaddr": "192.168.1.1", "netmask": "255.255.255.0", "ifname": "eth0"}
LAN |= {"dhcpLanStart": "100", "dhcpLanLimit": "150", "dhcpLanLeaseTime": "12h"}
MACLIST = {"maclist_size": 4, "wifi0Flag": 1, "wifi1Flag": 0}

# In the order of sending.
DATA = {
    1000: None,
    1034: None,
    1035: None,
    1001: {"apconfigs": {"radio_list": [BUNDLE_RADIO]}},
    1003: {"uci_system": SYSTEM},
    1004: {"vap_config": VAP},
    1005: {"general_data": RADIO},
    1006: {"vap_config": VAP},
    1007: {"vap_config": VAP},
    1015: None,
    1016: {"general_data": "correct horse"},
    1017: {"general_data": "Behind the hedge"},
    1019: {"general_data": MACLIST},
    1018: {"general_data": "0"},
    1020: {"general_data": MACLIST},
    1021: None,
    1022: {"general_data": "any text"},
    **dict.fromkeys(range(1023, 1029)),
    1031: None,
    1002: {"fw_params": UPGRADE},
    1032: {"fw_params": UPGRADE},
    1033: {"flash_params": {"save_config": 1, "reboot": 0}},
}
# These end in a new session with the broker.
LAST_DATA = {
    1029: None,
    1030: None,
    1011: {"uci_network_lan": LAN},
    1012: {"uci_network_wan": {"proto": "dhcp", "hostname": "garden-ap", "metric": "10"}},
    1013: {"uci_network_wan6": {"proto": "dhcpv6", "reqprefix": "auto"}},
    1014: None,
}
LAST_STATUS = {1002: 203, 1032: 203, 1033: 2}


def answer_type(number):
    operation = contract.load("asyncapi.json")["operations"][f"command{number}"]
    reply = operation.get("reply")
    return reply and int(reply["messages"][0]["$ref"].rpartition("report")[2])


def send(controller, number, command):
    """Returns the report that answers the command, if one must, and the statuses until it."""
    mark, kind = controller.reports.mark(), answer_type(number)
    controller.send(command)
    if kind is None:
        return None, []

    def wanted(report):
        status = report["data"].get("updata_stats")
        return report["type"] == kind and status in (None, LAST_STATUS.get(number))

    _, report = controller.reports.wait(wanted, 5, mark, what=f"report {kind}")
    seen = [report["data"].get("updata_stats") for _, report in controller.reports.items(mark)]
    return report, [status for status in seen if status is not None]


def send_alone(controller, number, command):
    """As send, and no report of another kind follows until that which ends the wait."""
    mark = controller.reports.mark()
    report, statuses = send(controller, number, command)
    if number in LAST_STATUS:  # a job may still hold the device for a moment
        return report, statuses
    controller.send(1034)
    controller.wait_report(1003, 5, mark, count=1 + (number == 1034))
    kinds = {seen["type"] for _, seen in controller.reports.items(mark)}
    assert kinds <= {1003, answer_type(number)}, number
    return report, statuses


def send_until_heard(controller, number, command):
    """A command may fall between two sessions when the one before it asked for a new one."""
    for _ in range(2):
        try:
            return send(controller, number, command)
        except harness.Deadline:
            pass
    return send(controller, number, command)


def test_page_is_current(controller, wifi_manager, agent, images):
    images.image = IMAGE
    firmware.BOARD.write_text(firmware.ROOTFS_BOARDS[0] + "\n")
    wifi_manager.restart("--still", "--stations", "2", "--vaps", "1", "--freqs", "2")
    _, discovery = controller.wait_report(harness.DISCOVERY, 8)
    commands, answers = {}, {}
    reports = {harness.DISCOVERY: discovery | {"timestamp": TIME}}
    for number, data in (DATA | LAST_DATA).items():
        commands[number] = {"type": number, "timestamp": TIME}
        if data is not None:
            commands[number]["data"] = data
        speak = send_until_heard if number in LAST_DATA else send_alone
        sent = json.dumps(commands[number]).replace(PORT, f'"{images.port}"')
        report, statuses = speak(controller, number, json.loads(sent))
        if report is not None:
            reports[report["type"]] = report | {"timestamp": TIME}
        if statuses:
            answers[number] = statuses
    page = "\n".join(protocol_page.page(commands, answers, reports))
    if "QV_WRITE_PAGE" in os.environ:
        PAGE.write_text(page)
    assert PAGE.read_text() == page, "scripts/protocol-examples writes the page anew"
