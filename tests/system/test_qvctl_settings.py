"""qvctl asks an agent for reports and changes its settings."""
import json
import re

from harness import ZENDRY_ROOT, poll, tool_calls
from qvctl import ANSWERED, MAC, REFUSED, qvctl, sent


RADIO_STATS = """\
radio_name  radio_id  channel  radio_type  band  num_vaps
wifi0              0        6  2.4G           2         3
wifi1              1       36  5G             5         3
wifi2              2       37  6G             6         2
"""
RADIOS = """\
device  hwmode  htmode  channel  freq  txpower  country  antenna_gain
wifi0   11axg   HT20          6  2437       20  US
wifi1   11axa   HT80         36  5180       23  US
wifi2   11axa   HT160        37  6135       24  US
"""
WAN6 = """\
proto         dhcpv6
reqaddress    try
reqprefix     auto
delegate      1
defaultroute  1
ip6prefix
clientid
macaddr
mtu
"""

OFFICE = {"ssid": "Office", "opmode": "ap", "network": "lan", "key": "paper", "encryption": "psk2"}
RADIO = {"channel": 6, "disabled": 0, "txpower": "20", "country": 276, "hwmode": "11axg",
         "htmode": "HT20", "vap_list": [OFFICE]}

# In this order. Arguments, exit status, all of standard output or a piece of it, a piece of
# standard error.
ANSWERS = [
    (["get", "radio-stats"], ANSWERED, RADIO_STATS, ""),
    (["get", "radios"], ANSWERED, RADIOS, ""),
    (["get", "wan6"], ANSWERED, WAN6, ""),
    (["get", "maclist", "7"], ANSWERED, "uploading_status  -1\n", ""),
    (["get", "stations"], ANSWERED, "06:5a:10:00:00:0b  02:11:22:33:44:59", ""),
    (["get", "aps"], ANSWERED, "ath7    wifi2   Office  02:11:22:33:44:5d", ""),
    (["get", "interfaces"], ANSWERED, "br-lan", ""),
    (["get", "system"], ANSWERED, "model                Simulated AP", ""),
    (["get", "vaps", "--all"], ANSWERED, "sae_require_mfp", ""),
    # One member changes, the others stay.
    (["set", "settings", "hostname=Garden"], ANSWERED, "hostname       Garden\nzonename       UTC", ""),
    (["get", "settings"], ANSWERED, '[ "0.openwrt.pool.ntp.org", "1.openwrt.pool.ntp.org" ]', ""),
    (["set", "settings", "hostname=Gate", "--replace"], ANSWERED, "zonename\n", ""),
    (["set", "vap", "ifname=ath0", "ssid=\x1b[31mred", "mode=ap-wds"], ANSWERED,
     r"ath0    wifi0   \x1b[31mred  ap-wds", ""),
    (["set", "vap", "ifname=ath9", "ssid=a"], REFUSED, "ath7", "the device reports no vap ath9"),
    (["set", "radio", "radio_name=wifi1", "channel=40", "key=[correcthorse", "country=DE"], ANSWERED,
     "wifi1            40", ""),
    (["set", "lan", "ipaddr=192.168.1.9"], ANSWERED, "ipaddr               192.168.1.9", ""),
    (["set", "maclist", "maclist_size=5", "wifi1Flag=1"], ANSWERED, sent(1019), ""),
    (["get", "maclist", "1"], ANSWERED, "uploading_status  5\n", ""),
    (["set", "maclist", "wifi0Flag=1", "--delete"], ANSWERED, sent(1020), ""),
    (["set", "ap", f"radio_list={json.dumps([RADIO])}"], ANSWERED, sent(1001), ""),
    (["clock", "2023-11-14 22:13:20Z"], ANSWERED, sent(1015), ""),
    (["notes", "on the roof"], ANSWERED, sent(1017), ""),
    (["passthrough", '{"a":1}'], ANSWERED, sent(1022), ""),
    (["wifi-reload"], ANSWERED, sent(1021), ""),
    (["flash"], ANSWERED,
     "########################    2  the image that lay on the device was flashed\n", ""),
    # From here on each ends in a new session.
    (["set", "wan", "hostname=gate"], ANSWERED, "hostname      gate", ""),
    (["get", "wan"], ANSWERED, "hostname      gate", ""),
    (["get", "lan"], ANSWERED, "ipaddr               192.168.1.9", ""),
]


def test_answers(agent, wifi_manager, overheard):
    wifi_manager.restart("--still")
    failures = []
    for arguments, status, shown, said in ANSWERS:
        got = qvctl("-d", MAC, *arguments)
        as_shown = re.sub(" +\n", "\n", got[1])
        if got[0] != status or shown not in as_shown or said not in got[2]:
            failures.append((arguments, got))
    assert not failures
    assert wifi_manager.state()["general_data"] == '{"a":1}'
    assert "[correcthorse" in [vap["key"] for vap in wifi_manager.state()["vaps"]]
    assert wifi_manager.state()["apconfigs"] == [RADIO | {"txpower": 20}]
    lists = (ZENDRY_ROOT / "etc/config/wireless").read_text()
    assert "06:00:00:00:01:01" in lists and "06:00:00:00:00:01" not in lists
    poll(lambda: {"tool": "wifi", "args": ["reload"]} in tool_calls(), 3, "wifi reload")
    assert {"tool": "date", "args": ["-s", "2023-11-14 22:13:20"]} in tool_calls()
    # What a script reads is the report as it came.
    status, output, _ = qvctl("-d", MAC, "--json", "get", "radio-stats")
    assert status == ANSWERED and json.loads(output)["data"]["radio_stats_list"][2]["band"] == 6
    # A report in a file is settings too; what the device does not take is not passed over.
    wan6 = qvctl("-d", MAC, "--json", "get", "wan6")[1]
    assert qvctl("-d", MAC, "set", "wan6", "-", "mtu=1400", stdin=wan6)[0] == ANSWERED
    # Nor is a section emptied that the device could not read.
    wifi_manager.behave("all close")
    status, _, said = qvctl("-d", MAC, "set", "wan6", "mtu=1300")
    assert status == REFUSED and "the device reports every setting empty" in said
    wifi_manager.behave("19 refuse")
    status, _, said = qvctl("-d", MAC, "set", "wan6", "mtu=1300", "--replace")
    assert status == REFUSED
    assert 'not taken over: mtu: asked for "1300", the device holds "1400"' in said
