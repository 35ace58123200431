"""qvctl asks an agent for reports and changes its settings."""
import json
import re
import threading
import time

import contract
from harness import DISCOVERY, ZENDRY_ROOT, poll, tool_calls
from qvctl import ANSWERED, MAC, NO_ANSWER, OTHER, REFUSED, UNCONFIRMED, USAGE
from qvctl import Terminal, qvctl, sent


RADIO_STATS = """\
radio_name  radio_id  channel  radio_type  band  num_vaps
wifi0              0        6  2.4G           2         3
wifi1              1       36  5G             5         3
wifi2              2       37  6G             6         2
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

(RADIO,) = contract.EXAMPLES[1001]["data"]["apconfigs"]["radio_list"]
RADIO_LIST = "radio_list=" + json.dumps([RADIO | {"txpower": "20"}])

EMPTIED = "note: becomes empty: zonename, timezone, log_size, log_ip, log_port, conloglevel, "
FLASHED = "########################    2  the image that lay on the device was flashed\n"
KEPT = 'not taken over: ssid: asked for "", the device holds "'
NOT_TOLD = "not confirmed, since no report tells: radio_list[0].country, radio_list[0].vap_list[0].network\n"

# In this order. The words, exit status, all of standard output or a piece of it, a piece of
# standard error.
ANSWERS = [
    ("get radio-stats", ANSWERED, RADIO_STATS, ""),
    ("get wan6", ANSWERED, WAN6, ""),
    ("get maclist 7", ANSWERED, "uploading_status  -1\n", ""),
    ("get stations", ANSWERED, "06:5a:10:00:00:0b  02:11:22:33:44:59", ""),
    # One member changes, the others stay.
    ("set settings hostname=Garden", ANSWERED, "hostname       Garden\nzonename       UTC", ""),
    ("get settings", ANSWERED, '[ "0.openwrt.pool.ntp.org", "1.openwrt.pool.ntp.org" ]', ""),
    ("set server a.example,b.example", ANSWERED, '[ "a.example", "b.example" ]', ""),
    ("set hostname Gate", ANSWERED, "hostname       Gate\nzone", "confirmed: hostname\n"),
    ("set settings hostname=Gate --replace", ANSWERED, "zonename\n", EMPTIED),
    ("set vap ifname=ath0 ssid=\x1b[31mred mode=ap-wds", ANSWERED, r" \x1b[31mred  ap-wds", ""),
    ("set vap ath9 ssid=a", REFUSED, "", "the device reports no vap ath9"),
    # What an empty text does is the wifi manager's to say; this one keeps what is set.
    ("set vap ath0 ssid=", REFUSED, "red", KEPT),
    (
        "set radio wifi1 channel=40 key=[correcthorse country=DE",
        ANSWERED,
        "wifi1            40",
        "",
    ),
    ("set lan --no-confirm ipaddr=192.168.1.9", ANSWERED, "ipaddr               192.168.1.9", ""),
    (
        "set maclist maclist_size=5 wifi1Flag=1",
        UNCONFIRMED,
        sent(1019),
        "maclist_size, wifi1Flag\n",
    ),
    ("get maclist 1", ANSWERED, "uploading_status  5\n", ""),
    ("set maclist wifi0Flag=1 --delete", UNCONFIRMED, sent(1020), ""),
    (["set", "ap", RADIO_LIST], UNCONFIRMED, sent(1001), NOT_TOLD),
    (["clock", "2023-11-14 22:13:20Z"], ANSWERED, sent(1015), ""),
    (["notes", "on the roof"], ANSWERED, sent(1017), ""),
    ('passthrough {"a":1}', ANSWERED, sent(1022), ""),
    ("wifi-reload", ANSWERED, sent(1021), ""),
    ("flash", ANSWERED, FLASHED, ""),
    # From here on each ends in a new session.
    ("set wan --no-confirm hostname=gate", ANSWERED, "hostname      gate", ""),
    ("set wan6 mtu=1300", ANSWERED, "mtu           1300\nconfirmed\n", ""),
]

# A message that the wifi manager refuses, what is set, and the member that is not taken over.
REFUSALS = [
    (19, "wan6 --no-confirm mtu=1280", "mtu"),
    (22, "radio wifi2 freq=6155", "freq"),
    (15, "vap ath7 ssid=Attic", "ssid"),
    (9, ["ap", f"radio_list={json.dumps([RADIO | {'channel': 11}])}"], "radio_list[0].channel"),
]


def of_agent(words, **more):
    return qvctl("-d", MAC, *(words.split() if isinstance(words, str) else words), **more)


def test_answers(agent, wifi_manager, overheard):
    wifi_manager.restart("--still")
    failures = []
    for words, status, shown, said in ANSWERS:
        got = of_agent(words)
        as_shown = re.sub(" +\n", "\n", got[1])
        if got[0] != status or shown not in as_shown or said not in got[2]:
            failures.append((words, got))
    assert not failures
    assert wifi_manager.state()["general_data"] == '{"a":1}'
    assert "[correcthorse" in [vap["key"] for vap in wifi_manager.state()["vaps"]]
    assert wifi_manager.state()["apconfigs"] == {"radio_list": [RADIO]}
    lists = (ZENDRY_ROOT / "etc/config/wireless").read_text()
    assert "06:00:00:00:01:01" in lists and "06:00:00:00:00:01" not in lists
    poll(lambda: {"tool": "wifi", "args": ["reload"]} in tool_calls(), 3, "wifi reload")
    assert {"tool": "date", "args": ["-s", "2023-11-14 22:13:20"]} in tool_calls()
    # What a script reads is the report as it came.
    status, output, _ = of_agent("--json get radio-stats")
    assert status == ANSWERED and json.loads(output)["data"]["radio_stats_list"][2]["band"] == 6
    # Nor is a section emptied that the device could not read.
    wifi_manager.behave("all close")
    status, _, said = of_agent("set wan6 mtu=1280")
    assert status == REFUSED and "the device reports every setting empty" in said
    # A change that the wifi manager refuses is none, whichever report tells.
    for message, words, member in REFUSALS:
        wifi_manager.behave(f"{message} refuse")
        words = words.split() if isinstance(words, str) else words
        status, _, said = of_agent(["set", *words])
        assert status == REFUSED and f"not taken over: {member}: asked for " in said, (words, said)


def test_change_that_cuts_the_device_off(linked_agent, link, wifi_manager, overheard):
    """It gets no new session until it has taken the change back; the command still came."""
    words = ["-d", MAC, "set", "wan6", "--confirm", "10", "proto=none"]
    said = "not back: the device takes the change back at " + 2 * r"\d\d:" + r"\d\d\r?\n"
    for waited in (True, False):
        link.shut()
        begun = linked_agent.log.mark()
        terminal = Terminal(*words)
        terminal.wait("^waiting for the device to be back, until ")
        if not waited:
            terminal.type("\x03")
        terminal.wait(said, 15 if waited else 3)
        assert terminal.end() == NO_ANSWER
        linked_agent.wait_line("^QV_INFO: WAN6 change taken back, ", 20, begun)
        back = overheard.reports.mark()
        link.open()
        overheard.wait_report(DISCOVERY, 20, back)
        assert wifi_manager.state()["wan6"]["proto"] == "dhcpv6"


def test_announcement_that_crosses_a_change_and_answer_after_its_time(pretend, overheard):
    held = {line.split()[0]: "" for line in WAN6.splitlines()} | {"mtu": "1300"}
    back = (1, DISCOVERY, {"device_discovery_macaddr": {"macaddr": OTHER}})
    pretend((0, *back[1:]), (5, 1013, {"uci_network_wan6": held}), back)
    words = ["-d", OTHER, "set", "wan6", "--replace", "--confirm", "10", "mtu=1300"]
    status, output, said = qvctl(*words)
    assert status == ANSWERED and output.endswith("confirmed\n"), said
    heard = [message["type"] for _, message in overheard.reports.items() if "flag" not in message]
    assert heard == [1013, 1031]


# Arguments, standard input, the members that the command then has.
ATTIC = {"ifname": "ath1", "ssid": "Attic"}
KEPT_OF_ATTIC = {"device": "wifi0", "encryption": "psk2+ccmp", "channel": "6"}
MTU = {"uci_network_wan6": {"mtu": "1300"}}
FILES = [
    # The rest is kept, as with key=value; a report, a command and an entry are taken as they are.
    ("wan6 --no-confirm - mtu=1400", {"mtu": "1300"}, {"mtu": "1400", "proto": "dhcpv6"}),
    ("wan6 --no-confirm -", MTU, {"mtu": "1300", "proto": "dhcpv6"}),
    ("wan6 --no-confirm -", {"type": 1013, "data": MTU}, {"mtu": "1300"}),
    ("vap -", {"vap_config": ATTIC}, ATTIC | KEPT_OF_ATTIC),
    ("vap -", [{"ifname": "ath1", "key": "<hidden>"}], {"key": "office-passphrase"}),
    # A channel's frequency is its own.
    ("vap ath1 - channel=11", {}, {"channel": "11", "freq": None}),
    ("radio -", {"general_data": {"radio_name": "wifi1", "txpower": 7}}, {"txpower": 7}),
]


def test_files(agent, wifi_manager, overheard):
    wifi_manager.restart("--still")
    for words, given, members in FILES:
        mark = overheard.reports.mark()
        got = of_agent("set " + words, stdin=json.dumps(given))
        assert got[0] == ANSWERED, (words, got)
        _, command = overheard.reports.wait(
            lambda report: "flag" not in report and "data" in report, 3, mark
        )
        (settings,) = command["data"].values()
        assert {key: settings.get(key) for key in members} == members, (words, settings)
    # An entry of what get prints is taken by its name.
    vaps = of_agent("--json get vaps")[1]
    assert of_agent("set vap ath5 - ssid=Attic", stdin=vaps)[0] == ANSWERED
    status, _, said = of_agent("set vap -", stdin=vaps)
    assert status == USAGE and "holds ath0, ath1, ath2, " in said
    status, _, said = of_agent("set radio wifi0 key=<hidden>")
    assert status == REFUSED and 'key: is "<hidden>"' in said


def test_secrets(agent, wifi_manager, overheard):
    secret = "correct-horse"
    assert of_agent(f"set vap ath0 key={secret} encryption=psk2")[0] == ANSWERED
    wifi_manager.behave("22 refuse")
    for words in (
        "get vaps --all",
        "--json get vaps",
        "--json set vap ath0 isolate=1",
        "set radio wifi0 key=battery-staple",
    ):
        assert not re.search(secret + "|battery", "".join(of_agent(words)[1:])), words
        shown = "".join(of_agent("--show-secrets " + words)[1:])
        assert secret in shown and "<hidden>" not in shown, words
    watched = []
    watching = ("watch", "--json", "-n", "1", "--timeout", "10")
    watcher = threading.Thread(target=lambda: watched.append(qvctl(*watching)))
    watcher.start()
    while watcher.is_alive():
        overheard.send(1028)
        time.sleep(0.2)
    assert '"key":"<hidden>"' in watched[0][1] and secret not in watched[0][1]


def test_keys():
    """No broker runs: the keys are known without one."""
    status, listed, _ = qvctl("get", "keys", "settings")
    assert status == ANSWERED and "\n  server  " in listed
    assert re.search("^  hostname +at most 40 bytes. Host name.$", listed, re.M)
    assert qvctl("set", "settings", "--help")[1].endswith(f"\n\nKeys:\n{listed}\n")
    rows = json.loads(qvctl("--json", "get", "keys", "ap")[1])
    (country,) = [row["meaning"] for row in rows if "country" in row["key"]]
    assert country == "Country code as a number."
    for words in ((), ("set", "ap"), ("get",), ("upgrade",)):
        assert max(map(len, qvctl(*words, "--help")[1].splitlines())) <= 80
    for what, table in {"settings": "systemSettings", "lan": "lan", "maclist": "macLists"}.items():
        keys = [row["key"] for row in json.loads(qvctl("--json", "get", "keys", what)[1])]
        assert keys == list(contract.COMMANDS["$defs"][table]["properties"])
