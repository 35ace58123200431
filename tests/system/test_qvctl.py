"""qvctl against an agent, against devices that only pretend to be one, and against nothing."""
import fcntl
import json
import os
import pty
import re
import shutil
import subprocess
import termios
import threading
import time

import pytest
from firmware import BOARD, ROOTFS_BOARDS, SYSUPGRADE_BOARD
from harness import BUILD_DIR, REPORT_TOPIC, Deadline, MqttClient, ZENDRY_ROOT, poll, tool_calls

QVCTL = str(BUILD_DIR / "qvctl")
MAC = os.environ.get("AP_MAC", "")
OTHER = "02:00:00:00:00:9c"
MD5 = "0123456789abcdef0123456789abcdef"
ENVIRONMENT = os.environ | {"LC_ALL": "C", "TERM": "vt100", "TZ": "UTC"}

ANSWERED, REFUSED, USAGE, NO_ANSWER = range(4)


def qvctl(*arguments, stdin="", timeout=40):
    """Exit status, standard output and standard error."""
    done = subprocess.run(
        [QVCTL, *arguments],
        input=stdin,
        capture_output=True,
        text=True,
        timeout=timeout,
        env=ENVIRONMENT,
        check=False,
    )
    return done.returncode, done.stdout, done.stderr


@pytest.fixture
def controller(controller):
    """Overhears what is sent to either device and what they report, and holds it to the contract."""
    for mac in (MAC, OTHER):
        controller.listen_to("qv/device_" + mac)
    return controller


def sent(command, mac=MAC):
    return f"sent to {mac}; the device confirms command {command} by no report\n"


# Arguments, exit status, a piece of standard error. No broker runs: nothing gets that far.
NOT_SENT = [
    ("", USAGE, "Usage: qvctl"),
    ("weather", USAGE, "qvctl: weather is unknown; it must be one of get, set, devices, clock, "),
    ("get", USAGE, "get: what? One of stations, aps, interfaces, radios, radio-stats, system, "),
    ("get weather", USAGE, "get: weather is unknown; it must be one of stations, aps, "),
    ("set weather", USAGE, "set: weather is unknown; it must be one of settings, vap, radio, ap, "),
    ("-d 02:11:22:33:44 get stations", USAGE, "02:11:22:33:44 is no MAC address"),
    ("-p 65536 devices", USAGE, "--port"),
    ("set settings /nonexistent.json", USAGE, "/nonexistent.json: No such file or directory"),
    ("set settings hostname=a /dev/null", USAGE, "only the first word may name a file"),
    ("set settings server=[1", USAGE, "server: "),
    ("set settings", USAGE, "FILE|KEY=VALUE is required"),
    ("set vap ssid=a", USAGE, "set vap: ifname says which one, and is missing"),
    ("clock yesterday", USAGE, "yesterday: no time"),
    ("clock 2023-02-29T00:00:00Z", USAGE, "2023-02-29T00:00:00Z: no time"),
    ("get maclist 1e3", USAGE, "1e3 is no number of digits only"),
    ("--timeout 1e10 devices", USAGE, "--timeout"),
    ("--listen 1e10 devices", USAGE, "--listen"),
    ("get system --all", USAGE, "--all"),
    ("--json top", USAGE, "top shows a screen only"),
    ("upgrade image", USAGE, "--md5 is required"),
    ("upgrade image --md5 abc", USAGE, "abc is no MD5 sum"),
    ("clock @253402300800", REFUSED, "timestamp: the year must be from 1000 to 9999"),
    ("password", REFUSED, "password: is empty"),
    ("notes " + 32 * "n", REFUSED, "equipment_notes: 32 bytes, at most 31"),
    ("passthrough " + 64 * "p", REFUSED, "general_data: 64 bytes, at most 63"),
    ("get maclist 12345678", REFUSED, "index: 8 bytes, at most 7"),
    ("set settings hostname=" + 41 * "h", REFUSED, "hostname: 41 bytes, at most 40"),
    ("set settings host=a", REFUSED, "host: is unknown here"),
    ('set settings server=["' + 50 * "s" + '"]', REFUSED, "server[0]: 50 bytes, at most 49"),
    (
        f"set settings server={json.dumps(11 * ['s'], separators=(',', ':'))}",
        REFUSED,
        "server: 11 elements, at most 10",
    ),
    ('set settings server=["a\\tb"]', REFUSED, "server[0]: holds control characters"),
    ("set vap ifname=ath0 mode=ap-wds-no", REFUSED, "mode: 9 bytes, at most 8"),
    ("set vap ifname=ath0 freqlist=[]", REFUSED, "freqlist: is reported only"),
    (
        "set radio radio_name=wifi0 key=" + 33 * "k",
        REFUSED,
        "vap_list[0].key: 33 bytes, at most 32",
    ),
    (
        "set radio radio_name=wifi0 vap_list=[] key=" + 33 * "k",
        REFUSED,
        "vap_list[0].key: 33 bytes",
    ),
    ("set lan dhcpLanIgnore=123456789", REFUSED, "dhcpLanIgnore: 9 bytes, at most 8"),
    (
        "set maclist maclist_size=2147483648",
        REFUSED,
        'maclist_size: "2147483648" is no integer from -2147483648 to 2147483647',
    ),
    ('set ap radio_list=[{"channel":65536}]', REFUSED, 'radio_list[0].channel: "65536" is no'),
    ('set ap radio_list=[{"channel":1}]', REFUSED, "radio_list[0].disabled: is missing"),
    ("set ap radio_list=[{},{},{},{}]", REFUSED, "radio_list: 4 elements, at most 3"),
    (
        'set ap radio_list=[{"channel":1,"disabled":0,"txpower":1,"country":1,"hwmode":[]}]',
        REFUSED,
        "radio_list[0].hwmode: is no text",
    ),
    (f"upgrade {128 * 'i'} --md5 {MD5}", REFUSED, "image_name: 128 bytes, at most 127"),
    # The members fit, the command that holds them all does not.
    (f"upgrade {127 * 'i'} --md5 {MD5}", REFUSED, "command text: "),
    (f"-d {OTHER} get stations", REFUSED, "broker localhost:1883: Connection refused"),
]


def test_what_is_not_sent():
    failures = []
    for arguments, status, said in NOT_SENT:
        got = qvctl(*arguments.split(), stdin="\n" if arguments == "password" else "")
        if got[0] != status or said not in got[2] or got[1]:
            failures.append((arguments, got))
    assert not failures


def test_no_device(controller):
    short = "note: a device may keep silent for 10 s; 0.3 s may not be enough to hear it\n"
    assert qvctl("devices", "--listen", "0.3") == (NO_ANSWER, "none\n", short)
    assert qvctl("get", "stations", "--listen", "0.3") == (
        NO_ANSWER,
        "",
        short + "qvctl: no device has spoken within 0.3 s\n",
    )
    assert qvctl("-d", OTHER, "get", "vaps", "--timeout", "0.5") == (
        NO_ANSWER,
        "",
        f"qvctl: device {OTHER}: no report of type 1009 (VAP settings) within 0.5 s\n",
    )
    assert qvctl("watch", "-n", "1", "--timeout", "0.5") == (
        NO_ANSWER,
        "",
        "qvctl: no report within 0.5 s\n",
    )
    assert qvctl("-d", OTHER.upper(), "wifi-reload") == (ANSWERED, sent(1021, OTHER), "")


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
RADIO = {
    "channel": 6,
    "disabled": 0,
    "txpower": "20",
    "country": 276,
    "hwmode": "11axg",
    "htmode": "HT20",
    "vap_list": [OFFICE],
}

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
    (
        ["set", "settings", "hostname=Garden"],
        ANSWERED,
        "hostname       Garden\nzonename       UTC",
        "",
    ),
    (["get", "settings"], ANSWERED, '[ "0.openwrt.pool.ntp.org", "1.openwrt.pool.ntp.org" ]', ""),
    (["set", "settings", "hostname=Gate", "--replace"], ANSWERED, "zonename\n", ""),
    (
        ["set", "vap", "ifname=ath0", "ssid=\x1b[31mred", "mode=ap-wds"],
        ANSWERED,
        r"ath0    wifi0   \x1b[31mred  ap-wds",
        "",
    ),
    (["set", "vap", "ifname=ath9", "ssid=a"], REFUSED, "ath7", "the device reports no vap ath9"),
    (
        ["set", "radio", "radio_name=wifi1", "channel=40", "key=[correcthorse", "country=DE"],
        ANSWERED,
        "wifi1            40",
        "",
    ),
    (["set", "lan", "ipaddr=192.168.1.9"], ANSWERED, "ipaddr               192.168.1.9", ""),
    (["set", "maclist", "maclist_size=5", "wifi1Flag=1"], ANSWERED, sent(1019), ""),
    (["get", "maclist", "1"], ANSWERED, "uploading_status  5\n", ""),
    (["set", "maclist", "wifi0Flag=1", "--delete"], ANSWERED, sent(1020), ""),
    (["set", "ap", f"radio_list={json.dumps([RADIO])}"], ANSWERED, sent(1001), ""),
    (["clock", "2023-11-14 22:13:20Z"], ANSWERED, sent(1015), ""),
    (["notes", "on the roof"], ANSWERED, sent(1017), ""),
    (["passthrough", '{"a":1}'], ANSWERED, sent(1022), ""),
    (["wifi-reload"], ANSWERED, sent(1021), ""),
    (
        ["upgrade", "image", "--md5", MD5, "--server-port", "9"],
        REFUSED,
        "........................   -1  the download failed, or the command was refused\n",
        "",
    ),
    (
        ["flash", "--save-config"],
        ANSWERED,
        "########################    2  the image that lay on the device was flashed\n",
        "",
    ),
    # From here on each ends in a new session.
    (["set", "wan", "hostname=gate"], ANSWERED, "hostname      gate", ""),
    (["get", "wan"], ANSWERED, "hostname      gate", ""),
    (["get", "lan"], ANSWERED, "ipaddr               192.168.1.9", ""),
]


def test_answers(agent, wifi_manager, controller):
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
    assert wifi_manager.state()["apconfigs"] == {"radio_list": [RADIO | {"txpower": 20}]}
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


class PretendedDevice:
    """Answers every command with the same reports, each after a pause in seconds."""

    def __init__(self, answers=()):
        self._answers = answers
        self._client = MqttClient(
            "pretended", lambda _: threading.Thread(target=self._answer).start()
        )
        self._client.listen_to("qv/device_" + OTHER)
        self._client.connect()

    def report(self, kind, data):
        report = {
            "type": kind,
            "flag": "REQ",
            "fwname": "Y",
            "hwname": "X",
            "timestamp": int(time.time() * 1000),
            "macaddr": OTHER,
            "data": data,
        }
        if kind != 1000:
            report["ip"] = "10.0.0.9"
        self._client.publish(REPORT_TOPIC, json.dumps(report))

    def _answer(self):
        for pause, kind, data in self._answers:
            time.sleep(pause)
            self.report(kind, data)

    def close(self):
        self._client.close()


@pytest.fixture
def pretend(controller):
    devices = []

    def start(*answers):
        devices.append(PretendedDevice(answers))
        return devices[-1]

    yield start
    for device in devices:
        device.close()


def test_two_devices(agent, pretend):
    other = pretend((0, 1005, {"sta_stats_list": []}))
    agent.wait_line("PUB MSG", 10)

    def speak_for_a_while():
        for _ in range(20):
            other.report(1005, {"sta_stats_list": []})
            time.sleep(0.5)

    speaker = threading.Thread(target=speak_for_a_while)
    speaker.start()
    status, _, said = qvctl("get", "stations")
    assert (status, said) == (
        USAGE,
        f"qvctl: more than one device speaks ({OTHER}, {MAC}): name one with -d\n",
    )
    status, output, _ = qvctl("devices", "--listen", "6")
    assert status == ANSWERED
    assert re.search(rf"^{OTHER}  10\.0\.0\.9  X       Y             reporting$", output, re.M)
    assert re.search(rf"^{MAC} .* announcing$", output, re.M)
    # Each answers for itself.
    assert qvctl("-d", OTHER, "get", "stations") == (ANSWERED, "none\n", "")
    assert qvctl("-d", MAC, "get", "stations")[1].count("06:5a:10") == 12
    assert qvctl("-d", OTHER, "get", "vaps", "--timeout", "1")[0] == NO_ANSWER
    speaker.join()


UPGRADE_BODIES = {1000: "device_discovery_macaddr", 1015: "updata_stats"}

# Reports of an upgrade, exit status, the statuses shown, what is said at the end.
UPGRADES = [
    ([(0, 1015, 201), (0.1, 1015, 202), (0.1, 1015, 203)], ANSWERED, [201, 202, 203], ""),
    ([(0, 1015, 201), (0.1, 1015, -2)], REFUSED, [201, -2], ""),
    ([(0, 1015, -256)], REFUSED, [-256], ""),
    (
        [(0, 1015, 201), (0.1, 1015, 202)],
        NO_ANSWER,
        [201, 202],
        "no word of the job within 1 s; the last was 202, image verified, flashing",
    ),
    # A new session in the middle of the job, whose statuses come late.
    (
        [(0, 1015, 201), (0.1, 1000, {"macaddr": OTHER}), (0.1, 1015, 202), (0.1, 1015, 203)],
        ANSWERED,
        [201, 202, 203],
        f"note: device {OTHER} has connected again; its job may still run\n",
    ),
    ([(0, 1015, 202), (0.1, 1015, 203)], REFUSED, [], "another upgrade runs"),
    ([], NO_ANSWER, [], "no word of the job within 1 s\n"),
]


def test_upgrades(pretend):
    for answers, status, shown, said in UPGRADES:
        data = [(pause, kind, {UPGRADE_BODIES[kind]: value}) for pause, kind, value in answers]
        device = pretend(*data)
        got = qvctl("-d", OTHER, "--timeout", "1", "upgrade", "i", "--md5", MD5, "--background")
        statuses = [int(value) for value in re.findall(r"^[#.]{24} +(-?\d+)  \w", got[1], re.M)]
        assert (got[0], statuses) == (status, shown), got
        assert said in got[2]
        device.close()
    # Below 0 a flash reports how its tool ended, and nothing else.
    pretend((0, 1015, {"updata_stats": -2}))
    status, output, _ = qvctl("-d", OTHER, "flash")
    assert status == REFUSED and "the flashing tool was ended by signal 2\n" in output


def test_upgrade_of_an_agent(controller, wifi_manager, agent, images):
    """A real download from a real server, beside the pretended ones above."""
    for board, command, statuses in (
        (ROOTFS_BOARDS[0], ["--save-config", "--reboot"], [202, 203]),
        (SYSUPGRADE_BOARD, [], [203]),
        # The last: the agent discards commands for a moment after the job's end.
        (ROOTFS_BOARDS[0], ["--background"], [201, 202, 203]),
    ):
        BOARD.write_text(board)
        got = qvctl(
            "-d",
            MAC,
            "upgrade",
            "fw.img",
            "--md5",
            images.md5().upper(),
            "--server-port",
            str(images.port),
            *command,
        )
        shown = [int(value) for value in re.findall(r"^[#.]{24} +(-?\d+)  \w", got[1], re.M)]
        assert (got[0], shown, got[2]) == (ANSWERED, statuses, "")
        assert got[1].splitlines()[-1].startswith(24 * "#")


class Terminal:
    """qvctl on a terminal that does not tell its size, as a serial console: 80 columns, 24 lines."""

    def __init__(self, *arguments, environment=ENVIRONMENT):
        self.master, self.slave = pty.openpty()
        self.before = termios.tcgetattr(self.slave)
        self.seen = ""
        self.process = subprocess.Popen(
            [QVCTL, *arguments],
            stdin=self.slave,
            stdout=self.slave,
            stderr=self.slave,
            env=environment,
            start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY, 0),
        )
        threading.Thread(target=self._read, daemon=True).start()

    def _read(self):
        try:
            while chunk := os.read(self.master, 4096):
                self.seen += chunk.decode(errors="replace")
        except OSError:
            pass

    def type(self, text):
        os.write(self.master, text.encode())

    def wait(self, pattern, timeout=15):
        try:
            poll(lambda: re.search(pattern, self.seen), timeout, pattern)
        except Deadline as missing:
            raise Deadline(f"{missing}; seen: {self.seen!r}") from None

    def end(self):
        """The exit status, once the terminal is as it was."""
        status = self.process.wait(5)
        assert termios.tcgetattr(self.slave) == self.before
        return status


def test_password(controller):
    terminal = Terminal("-d", OTHER, "password")
    terminal.wait("New password for admin: ")
    terminal.type("s3cret\n")
    terminal.wait("Again: ")
    terminal.type("s3cret\n")
    assert terminal.end() == ANSWERED
    assert "s3cret" not in terminal.seen
    assert qvctl("-d", OTHER, "password", stdin="from a pipe\n")[0] == ANSWERED
    for count, password in ((1, "s3cret"), (2, "from a pipe")):
        _, command = controller.wait_report(1016, 3, count=count)
        assert command["data"] == {"general_data": password}

    terminal = Terminal("-d", OTHER, "password")
    terminal.wait("admin: ")
    terminal.type("one\n")
    terminal.wait("Again: ")
    terminal.type("two\n")
    assert terminal.end() == REFUSED
    for interrupt in (lambda: terminal.type("half\x03"), lambda: terminal.process.terminate()):
        terminal = Terminal("-d", OTHER, "password")
        terminal.wait("admin: ")
        interrupt()
        assert terminal.end() == REFUSED
    assert len(controller.times(1016)) == 2


@pytest.mark.parametrize("ending, locale", [("q", "C"), ("\x03", "C.UTF-8")])
def test_top(agent, wifi_manager, controller, ending, locale):
    wifi_manager.restart("--stations", "255")
    terminal = Terminal("-d", MAC, "top", "-i", "1", environment=ENVIRONMENT | {"LC_ALL": locale})
    terminal.wait(r"\.\.\. and 24\d more")
    terminal.type(ending)
    assert terminal.end() == ANSWERED
    assert terminal.seen.startswith("\x1b[?1049h\x1b[?25l")
    terminal.wait(r"\x1b\[\?25h\x1b\[\?1049l$")
    written = re.findall(r"\x1b\[(\d+);1H(.*?)\x1b\[K", terminal.seen)
    screen = {int(row): re.sub(r"\x1b\[[\d;]*m", "", line) for row, line in written}
    lines = [screen[row] for row in sorted(screen)]
    assert [row for row, _ in written].count("1") == 1  # only lines that differ are written
    assert max(screen) <= 24 and max(map(len, lines)) <= 80
    assert lines[0].startswith("qvctl top  broker localhost:1883  1 device")
    assert any(("#" if locale == "C" else "█") in line for line in lines)
    assert lines[0].isascii() and (locale != "C" or all(line.isascii() for line in lines))


def test_watch_and_completion(agent, controller):
    status, output, _ = qvctl("watch", "-n", "1")
    assert status == ANSWERED
    assert re.fullmatch(rf"\d\d:\d\d:\d\d  {MAC}  1000 announcement  1 members\n", output)

    page = qvctl("--generate", "man")[1]
    assert page.count("Exit status") == 0 and ".SH EXAMPLES" in page
    if shutil.which("groff"):
        groff = ["groff", "-man", "-Tascii", "-ww", "-z"]
        done = subprocess.run(groff, input=page, capture_output=True, text=True, check=True)
        assert done.stderr == ""

    script = qvctl("--generate", "bash-completion")[1]
    for words, offered in (
        ("-d x set lan dhcpLanI", "dhcpLanIgnore="),
        ("get rad", "radios radio-stats"),
        ("devices --h", "--help --host"),
    ):
        asked = f"COMP_WORDS=(qvctl {words}) COMP_CWORD={len(words.split())}; _qvctl"
        done = subprocess.run(
            ["bash", "-c", f"compopt() {{ :; }}\n{script}\n{asked}; echo ${{COMPREPLY[*]}}"],
            capture_output=True,
            text=True,
            check=True,
        )
        assert done.stdout == offered + "\n"
