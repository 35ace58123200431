"""qvctl alone, with no device, and with several of them."""
import re
import subprocess
import threading

from harness import EASE_S
from qvctl import ANSWERED, MAC, MD5, NO_ANSWER, OTHER, QVCTL, REFUSED, USAGE, Terminal, qvctl, sent


# The words, and a piece of standard error. No broker runs: nothing gets that far.
MISUSED = {
    "": "Usage: qvctl",
    "weather": "qvctl: weather is unknown; it must be one of help, get, set, devices, ",
    "set hostnme Garden": "set: hostnme is unknown; the nearest is hostname, and it must be ",
    "-d 02:11:22:33:44:5g get stations": "02:11:22:33:44:5g is no MAC address",
    "set settings /nonexistent.json": "/nonexistent.json: No such file or directory",
    "set settings hostname=a /dev/null": "only the first word may name a file",
    "set settings": "FILE|KEY=VALUE is required",
    "set vap ssid=a": "set vap: ifname says which one, and is missing",
    "clock 2023-02-29T00:00:00Z": "2023-02-29T00:00:00Z: no time",
    "get maclist 1e3": "1e3 is no number of digits only",
    "set lan --confirm 9 mtu=1": "--confirm: Value 9 not in range",
    "set wan --confirm 10 --no-confirm mtu=1": "excludes",
    "set settings --no-confirm hostname=a": "--no-confirm",
    "--json top": "top shows a screen only",
    "upgrade": "IMAGE or --serve FILE is required",
    "upgrade --serve /tmp --md5 " + MD5: "/tmp: is no file",
    "upgrade image --md5 abc": "abc is no MD5 sum",
}
BAD_RADIO = '{"channel":1,"disabled":0,"txpower":1,"country":1,"hwmode":[]}'
NOT_FITTING = {
    "clock @253402300800": "timestamp: the year must be from 1000 to 9999",
    "password": "password: is empty",
    "set settings hostname=" + 41 * "h": "hostname: 41 bytes, at most 40",
    "set lan dhcp_lan_start=a": "dhcp_lan_start: is unknown here; the nearest is dhcpLanSta",
    f'set settings server=["{50 * "s"}"]': "server[0]: 50 bytes, at most 49",
    f'set settings server=[{10 * "1,"}1]': "server: 11 elements, at most 10",
    'set settings server=["a\\tb"]': "server[0]: holds control characters",
    "set vap ifname=ath0 freqlist=[]": "freqlist: is reported only",
    "set radio radio_name=wifi0 vap_list=[] key="
    + 33 * "k": "vap_list[0].key: 33 bytes, at most 32",
    "set maclist maclist_size=2147483648": 'maclist_size: "2147483648" is no integer from -21474',
    "set ap radio_list=[{},{},{},{}]": "radio_list: 4 elements, at most 3",
    f"set ap radio_list=[{BAD_RADIO}]": "radio_list[0].hwmode: is no text",
    # The members fit, the command that holds them all does not.
    f"upgrade {127 * 'i'} --md5 {MD5}": "command text: ",
    f"-d {OTHER} get stations": "broker localhost:1883: Connection refused",
}


def test_what_is_not_sent():
    failures = []
    for status, sayings in ((USAGE, MISUSED), (REFUSED, NOT_FITTING)):
        for words, said in sayings.items():
            got = qvctl(*words.split(), stdin="\n" if words == "password" else "")
            if got[0] != status or said not in got[2] or got[1]:
                failures.append((words, got))
    assert not failures


NO_VAPS = f"qvctl: device {OTHER}: no report of type 1009 (VAP settings) within 2 s\n"
SHORT = "note: a device may keep silent for 10 s; 0.3 s may not be enough to hear it\n"
NO_DEVICE = [
    ("devices --listen 0.3", NO_ANSWER, "none\n", SHORT),
    (f"-d {OTHER} get vaps --timeout 2", NO_ANSWER, "", NO_VAPS),
    ("watch -n 1 --timeout 2", NO_ANSWER, "", "qvctl: no report within 2 s\n"),
    (f"-d {OTHER.upper()} wifi-reload", ANSWERED, sent(1021, OTHER), ""),
]


def test_no_device(overheard):
    for words, *wanted in NO_DEVICE:
        assert list(qvctl(*words.split())) == wanted


def test_two_devices(agent, pretend):
    other = pretend((0, 1005, {"sta_stats_list": []}))
    agent.wait_line("PUB MSG", 10)

    stop = threading.Event()

    def speak():
        while not stop.wait(0.5):
            other.report(1005, {"sta_stats_list": []})

    speaker = threading.Thread(target=speak)
    speaker.start()
    unclear = f"qvctl: more than one device speaks ({OTHER}, {MAC}): name one with -d\n"
    assert qvctl("get", "stations") == (USAGE, "", unclear)
    status, output, _ = qvctl("devices", "--listen", "6")
    assert status == ANSWERED
    assert re.search(rf"^{OTHER}  10\.0\.0\.9 +X +Y +reporting$", output, re.M)
    assert re.search(rf"^{MAC} .* announcing$", output, re.M)
    # The digits that only one ends in, in any notation, are enough.
    for name in (OTHER[-5:].upper().replace(":", "-"), OTHER.replace(":", "."), OTHER):
        got = qvctl("-d", name, "--listen", "5", "get", "stations")
        assert got[:2] == (ANSWERED, "none\n")
    status, _, said = qvctl("-d", "7777", "--listen", "1", "get", "stations")
    assert status == NO_ANSWER and "no device that ends in 7777 has spoken within 1 s\n" in said
    # Each answers for itself.
    assert qvctl("-d", MAC, "get", "stations")[1].count("06:5a:10") == 12
    assert qvctl("-d", OTHER, "get", "vaps", "--timeout", "2")[0] == NO_ANSWER
    stop.set()
    speaker.join()


def test_password(overheard):
    for typed, status in (
        (["s3cret\n", "s3cret\n"], ANSWERED),
        (["one\n", "two\n"], REFUSED),
        (["half\x03"], REFUSED),
    ):
        terminal = Terminal("-d", OTHER, "password")
        for prompt, text in zip(["New password for admin: ", "Again: "], typed):
            terminal.wait(prompt)
            terminal.type(text)
        assert terminal.end() == status
        assert typed[0].strip() not in terminal.seen
    assert qvctl("-d", OTHER, "password", stdin="from a pipe\n")[0] == ANSWERED
    for count, password in ((1, "s3cret"), (2, "from a pipe")):
        _, command = overheard.wait_report(1016, EASE_S, count=count)
        assert command["data"] == {"general_data": password}
    terminal = Terminal("-d", OTHER, "password")
    terminal.wait("admin: ")
    terminal.process.terminate()
    assert terminal.end() == REFUSED
    assert len(overheard.times(1016)) == 2


def test_full_disk(agent, overheard):
    for words in (["get", "stations"], ["watch"], ["--generate", "man"]):
        with open("/dev/full", "w", encoding="ascii") as full:
            command = [QVCTL, "-d", MAC, *words]
            done = subprocess.run(command, stdout=full, stderr=subprocess.PIPE, timeout=20)
        said = b"qvctl: standard output: No space left on device\n"
        assert (done.returncode, done.stderr) == (REFUSED, said)


# The last of the words is to be completed.
COMPLETIONS = {
    "-d x set lan dhcpLanI": "dhcpLanIgnore=\n",
    "get rad": "radios radio-stats\n",
    "devices --h": "--help --host\n",
}


def test_watch_and_documents(agent, overheard):
    status, output, _ = qvctl("watch", "-n", "1")
    assert status == ANSWERED
    assert re.fullmatch(rf"\d\d:\d\d:\d\d  {MAC}  1000 announcement  macaddr={MAC}\n", output)

    assert qvctl("help", "get", "stations") == qvctl("get", "stations", "--help")
    assert qvctl("help") == qvctl("--help")
    page = qvctl("--generate", "man")[1]
    assert page.count("Exit status") == 0 and ".SH EXAMPLES" in page
    script = "compopt() { :; }\n" + qvctl("--generate", "bash-completion")[1]
    for words, offered in COMPLETIONS.items():
        asked = f"COMP_WORDS=(qvctl {words}) COMP_CWORD={len(words.split())}; _qvctl"
        command = ["bash", "-c", f"{script}\n{asked}; echo ${{COMPREPLY[*]}}"]
        assert subprocess.check_output(command, text=True) == offered
