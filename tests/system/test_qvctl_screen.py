"""qvctl on a terminal."""
import re

import pytest
from qvctl import ANSWERED, ENVIRONMENT, MAC, NO_ANSWER, Terminal, qvctl

DOWN, PAGE_DOWN, UP = "\x1b[B", "\x1b[6~", "\x1b[A"


def screen_of(seen):
    """What the lines of the screen came to be, by their numbers."""
    written = re.findall(r"\x1b\[(\d+);1H(.*?)\x1b\[K", seen)
    return {int(row): re.sub(r"\x1b\[[\d;]*m", "", line) for row, line in written}, written


@pytest.mark.parametrize("ending, locale", [("q", "C"), ("\x03", "C.UTF-8")])
def test_top(agent, wifi_manager, overheard, ending, locale):
    wifi_manager.restart("--stations", "255")
    terminal = Terminal("-d", MAC, "top", "-i", "1", environment=ENVIRONMENT | {"LC_ALL": locale})
    terminal.wait(r"\.\.\. and 24\d more")
    terminal.wait(r"06:5a:10:00:\S+  ath\d  Office  ")
    terminal.type(ending)
    assert terminal.end() == ANSWERED
    assert terminal.seen.startswith("\x1b[?1049h\x1b[?25l")
    terminal.wait(r"\x1b\[\?25h\x1b\[\?1049l$")
    screen, written = screen_of(terminal.seen)
    lines = [screen[row] for row in sorted(screen)]
    assert [row for row, _ in written].count("1") == 1  # only lines that differ are written
    assert max(screen) <= 24 and max(map(len, lines)) <= 80
    assert lines[0].startswith("qvctl top  broker localhost:1883  1 device")
    assert lines[-1].startswith("q end   Tab device   s sort: signal")
    assert any(("#" if locale == "C" else "█") in line for line in lines)
    assert lines[0].isascii() and (locale != "C" or all(line.isascii() for line in lines))


def test_top_keys(agent, wifi_manager, overheard):
    wifi_manager.restart("--stations", "40", "--still")
    terminal = Terminal("-d", MAC, "top", "-i", "1")
    terminal.wait(r"06:5a:10:00:\S+  ath\d  ")
    for order in ("rate", "uptime", "network", "address"):
        terminal.type("s")
        terminal.wait("s sort: " + order)
    for keys, first in ((DOWN + DOWN, 3), (PAGE_DOWN, 13), (UP, 12), (5 * PAGE_DOWN, 40)):
        terminal.type(keys)
        terminal.wait(rf"PgDn: from {first}\b")
        terminal.wait(rf"06:5a:10:00:00:{first - 1:02x}  ath")
    terminal.type("q")
    assert terminal.end() == ANSWERED
    screen, _ = screen_of(terminal.seen)
    assert "06:5a:10:00:00:27" in "".join(screen.values())


def test_top_for_a_file_and_a_dumb_terminal(agent, overheard):
    # A counted screen stays on the terminal, below what stood there.
    terminal = Terminal("-d", MAC, "top", "-i", "1", "-n", "1")
    assert terminal.end() == ANSWERED
    terminal.wait(r"\x1b\[\?1049l(.|\n)*06:5a:10:00:00:00")
    left = terminal.seen.split("\x1b[?1049l")[1]
    assert left.startswith("\x1b[1mqvctl top") and left.count("\n") == 23
    terminal = Terminal("-d", MAC, "top", "-i", "1", environment=ENVIRONMENT | {"TERM": "dumb"})
    assert terminal.end() == ANSWERED
    terminal.wait("06:5a:10:00:00:00")
    assert "\x1b" not in terminal.seen


def test_silent_wifi_manager(agent, wifi_manager, overheard):
    """Zeros and empty lists are not shown as health."""
    assert qvctl("-d", MAC, "get", "stations")[0] == ANSWERED
    wifi_manager.restart("--stations", "0")
    assert qvctl("-d", MAC, "get", "stations") == (ANSWERED, "none\n", "")
    wifi_manager.behave("all close")
    for what in ("stations", "system", "settings"):
        status, _, said = qvctl("-d", MAC, "get", what)
        assert status == NO_ANSWER and f"device {MAC}: its wifi manager does not answer" in said
    assert re.search(
        "1003 system statistics  the wifi manager does not answer",
        qvctl("watch", "-n", "1", "--timeout", "12")[1],
    )
    terminal = Terminal("-d", MAC, "top", "-i", "1")
    terminal.wait(rf"\*{MAC}  +wifi manager does not answer")
    terminal.type("q")
    assert terminal.end() == ANSWERED


def test_tables_fit(agent, overheard):
    for what, said in (
        ("aps", "left out, see get --all: 9 members: frequency, phymode, ipaddr, "),
        ("vaps", "left out, see get --all: 33 members: country, hwmode, "),
        ("stations", "left out, see get --all: 1 member: txpower"),
    ):
        terminal = Terminal("-d", MAC, "--no-color", "get", what)
        assert terminal.end() == ANSWERED
        terminal.wait(said)
        assert max(map(len, terminal.seen.splitlines())) <= 80
    for words, note in (
        ("aps", "note: left out, see get --all: 6 members: "),
        ("aps --all", ""),
        ("stations", ""),
    ):
        said = qvctl("-d", MAC, "get", *words.split())[2]
        assert (said.count("\n"), said.startswith(note)) == (int(note != ""), True), said
    terminal = Terminal("-d", MAC, "--no-color", "watch", "-n", "1")
    assert terminal.end(15) == ANSWERED
    terminal.wait(rf"{MAC}  1003 system statistics  \r\n    hw_name=KX7310 fwinfo=\S+ .*\.\.\.\r\n")
    assert max(map(len, terminal.seen.splitlines())) <= 80


def test_broker_restart(agent, broker, wifi_manager, overheard):
    top = Terminal("-d", MAC, "top", "-i", "1")
    watch = Terminal("watch")
    top.wait("06:5a:10:00")
    watch.wait("1003 system")
    broker.kill()
    for terminal, said in ((top, "broker lost, trying again"), (watch, "lost; trying again")):
        terminal.wait(said)
        terminal.seen = ""
    broker.start()
    broker.wait_subscribed(2)
    watch.wait("connected again(.|\n)*1000 announcement|1003 system")
    top.wait("1 device\x1b")  # the line without the loss
    top.type("q")
    watch.type("\x03")
    assert (top.end(), watch.end()) == (ANSWERED, ANSWERED)
