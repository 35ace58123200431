#!/usr/bin/python3
"""Runs qvctl on a terminal inside a simulated access point, with an agent, and writes what it leaves
on the screen as an SVG. Started by scripts/screenshot.

usage: screenshot.py SVG ARGUMENT... of qvctl
"""
import html
import os
import pathlib
import pty
import re
import subprocess
import sys
import time

BUILD = pathlib.Path(os.environ["QV_BUILD_DIR"])
COLUMNS, CHARACTER, LINE, MARGIN = 80, 8.4, 18, 12  # the last three in pixels
COLOURS = {"1": "#ffffff", "2": "#8b949e", "31": "#f47067", "32": "#57ab5a", "33": "#daaa3f"}
PLAIN = "#c9d1d9"


def left_behind(arguments):
    """What stands on the terminal at the end, with its colours."""
    agent = subprocess.Popen([BUILD / "qvagent"], stdout=subprocess.DEVNULL)
    time.sleep(2)
    master, slave = pty.openpty()
    qvctl = subprocess.Popen(
        [BUILD / "qvctl", *arguments],
        stdin=slave,
        stdout=slave,
        stderr=slave,
        env=os.environ
        | {"LC_ALL": "C.UTF-8", "TERM": "xterm", "QVCTL_DEVICE": os.environ["AP_MAC"]},
    )
    os.close(slave)
    seen = b""
    try:
        while chunk := os.read(master, 65536):
            seen += chunk
    except OSError:  # how a terminal says that nobody writes to it any more
        pass
    agent.terminate()
    agent.wait()
    if qvctl.wait() != 0:
        sys.exit(seen.decode())
    return seen.decode().split("\x1b[?1049l")[-1].splitlines()


def spans(line):
    """The line's texts, with column and colour."""
    column, colour = 0, PLAIN
    for code, text in re.findall(r"\x1b\[(\d+)m|([^\x1b]+)", line):
        if code:
            colour = COLOURS.get(code, PLAIN)
        elif text.strip():
            yield column, colour, text.rstrip()
        column += len(text)


def svg(lines):
    width, height = 2 * MARGIN + COLUMNS * CHARACTER, 2 * MARGIN + len(lines) * LINE
    yield (
        f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width:g} {height:g}" '
        'font-family="monospace" font-size="14" style="white-space:pre" xml:space="preserve">'
    )
    yield f'<rect width="{width:g}" height="{height:g}" rx="6" fill="#22272e"/>'
    for row, line in enumerate(lines):
        for column, colour, text in spans(line):
            yield (
                f'<text x="{MARGIN + column * CHARACTER:g}" y="{MARGIN + row * LINE + 14}" '
                f'textLength="{len(text) * CHARACTER:g}" fill="{colour}">{html.escape(text)}</text>'
            )
    yield "</svg>"


if __name__ == "__main__":
    picture, *words = sys.argv[1:]
    pathlib.Path(picture).write_text("\n".join(svg(left_behind(words))) + "\n", encoding="utf-8")
