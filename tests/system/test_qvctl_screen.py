"""qvctl on a terminal."""
import re

import pytest
from qvctl import ANSWERED, ENVIRONMENT, MAC, Terminal


@pytest.mark.parametrize("ending, locale", [("q", "C"), ("\x03", "C.UTF-8")])
def test_top(agent, wifi_manager, overheard, ending, locale):
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
