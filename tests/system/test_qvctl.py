"""qvctl alone, with no device, and with several of them."""
import json
import re
import shutil
import subprocess
import threading
import time

from qvctl import ANSWERED, MAC, MD5, NO_ANSWER, OTHER, QVCTL, REFUSED, USAGE, Terminal, qvctl, sent


# Arguments, exit status, a piece of standard error. No broker runs: nothing gets that far.
NOT_SENT = [
    ("", USAGE, "Usage: qvctl"),
    ("weather", USAGE, "qvctl: weather is unknown; it must be one of help, get, set, devices, "),
    ("get", USAGE, "get: what? One of stations, aps, interfaces, radios, radio-stats, system, "),
    ("get weather", USAGE, "get: weather is unknown; it must be one of stations, aps, "),
    (
        "set hostnme Garden",
        USAGE,
        "set: hostnme is unknown; the nearest is hostname, and it must be ",
    ),
    ("set weather", USAGE, "set: weather is unknown; it must be one of settings, vap, radio, ap, "),
    ("-d 02:11:22:33:44:5g get stations", USAGE, "02:11:22:33:44:5g is no MAC address"),
    ("-d 02:11:22:33:44:55:66 get stations", USAGE, "02:11:22:33:44:55:66 is no MAC address"),
    ("help get weather", USAGE, "help: weather is unknown"),
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
    ("upgrade", USAGE, "IMAGE or --serve FILE is required"),
    ("upgrade /nonexistent.img", USAGE, "/nonexistent.img: No such file or directory"),
    ("upgrade --serve /tmp --md5 " + MD5, USAGE, "/tmp: is no file"),
    ("upgrade image --md5 abc", USAGE, "abc is no MD5 sum"),
    ("clock @253402300800", REFUSED, "timestamp: the year must be from 1000 to 9999"),
    ("password", REFUSED, "password: is empty"),
    ("notes " + 32 * "n", REFUSED, "equipment_notes: 32 bytes, at most 31"),
    ("passthrough " + 64 * "p", REFUSED, "general_data: 64 bytes, at most 63"),
    ("get maclist 12345678", REFUSED, "index: 8 bytes, at most 7"),
    ("set settings hostname=" + 41 * "h", REFUSED, "hostname: 41 bytes, at most 40"),
    ("set settings host=a", REFUSED, "host: is unknown here; the nearest is hostname\n"),
    (
        "set lan dhcp_lan_start=a",
        REFUSED,
        "dhcp_lan_start: is unknown here; the nearest is dhcpLanSta",
    ),
    ("set settings qqqqqq=a", REFUSED, "qqqqqq: is unknown here\n"),
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


def test_no_device(overheard):
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


def test_two_devices(agent, pretend):
    other = pretend((0, 1005, {"sta_stats_list": []}))
    agent.wait_line("PUB MSG", 10)

    stop = threading.Event()

    def speak():
        while not stop.wait(0.5):
            other.report(1005, {"sta_stats_list": []})

    speaker = threading.Thread(target=speak)
    speaker.start()
    status, _, said = qvctl("get", "stations")
    assert (status, said) == (
        USAGE,
        f"qvctl: more than one device speaks ({OTHER}, {MAC}): name one with -d\n",
    )
    # Each as soon as it speaks.
    begin = time.monotonic()
    listing = subprocess.Popen(
        [QVCTL, "devices", "--listen", "6"],
        stdout=subprocess.PIPE,
        text=True,
        stderr=subprocess.DEVNULL,
    )
    output = listing.stdout.readline() + listing.stdout.readline()
    assert time.monotonic() - begin < 5
    output += listing.stdout.read()
    assert listing.wait(5) == ANSWERED
    assert re.search(rf"^{OTHER}  10\.0\.0\.9 +X +Y +reporting$", output, re.M)
    assert re.search(rf"^{MAC} .* announcing$", output, re.M)
    # The digits that only one ends in, in any notation, are enough.
    assert qvctl("-d", OTHER[-5:].upper().replace(":", "-"), "--listen", "1", "get", "stations")[
        :2
    ] == (ANSWERED, "none\n")
    assert qvctl("-d", OTHER.replace(":", "."), "get", "stations") == (ANSWERED, "none\n", "")
    status, _, said = qvctl("-d", "7777", "--listen", "1", "get", "stations")
    assert status == NO_ANSWER and "no device that ends in 7777 has spoken within 1 s\n" in said
    # Each answers for itself.
    assert qvctl("-d", OTHER, "get", "stations") == (ANSWERED, "none\n", "")
    assert qvctl("-d", MAC, "get", "stations")[1].count("06:5a:10") == 12
    assert qvctl("-d", OTHER, "get", "vaps", "--timeout", "1")[0] == NO_ANSWER
    stop.set()
    speaker.join()


def test_password(overheard):
    terminal = Terminal("-d", OTHER, "password")
    terminal.wait("New password for admin: ")
    terminal.type("s3cret\n")
    terminal.wait("Again: ")
    terminal.type("s3cret\n")
    assert terminal.end() == ANSWERED
    assert "s3cret" not in terminal.seen
    assert qvctl("-d", OTHER, "password", stdin="from a pipe\n")[0] == ANSWERED
    for count, password in ((1, "s3cret"), (2, "from a pipe")):
        _, command = overheard.wait_report(1016, 3, count=count)
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
    assert len(overheard.times(1016)) == 2


def test_full_disk(agent, overheard):
    for words in (["get", "stations"], ["watch"], ["--generate", "man"]):
        with open("/dev/full", "w", encoding="ascii") as full:
            done = subprocess.run(
                [QVCTL, "-d", MAC, *words],
                stdout=full,
                stderr=subprocess.PIPE,
                timeout=20,
                check=False,
            )
        assert (done.returncode, done.stderr) == (
            REFUSED,
            b"qvctl: standard output: No space left on device\n",
        )


def test_watch_and_completion(agent, overheard):
    status, output, _ = qvctl("watch", "-n", "1")
    assert status == ANSWERED
    assert re.fullmatch(rf"\d\d:\d\d:\d\d  {MAC}  1000 announcement  macaddr={MAC}\n", output)

    assert qvctl("help", "get", "stations") == qvctl("get", "stations", "--help")
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
