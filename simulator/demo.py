#!/usr/bin/python3
"""Shows the agent at its main job inside a simulated access point; qvctl plays the controller.

Started by scripts/demo. Exit status 0 when every report of the tour came and held something
(--once), or when a viewer ended it with Ctrl-C; 1 otherwise.
"""
import argparse
import json
import os
import shlex
import signal
import subprocess
import sys

QVCTL = os.path.join(os.environ["QV_BUILD_DIR"], "qvctl")
DEVICE = os.environ["AP_MAC"]

IMAGE = "/tmp/demo.img"
FLASHING_SECONDS = 2

# What qvctl is asked for, and what it is for.
TOUR = [
    ("watch -n 1 --all --timeout 15", "the agent announces itself until a controller speaks"),
    ("get system", "the first word ends the announcements"),
    ("get radio-stats", "the radios"),
    ("get stations", "the stations"),
]


class Failed(Exception):
    """A step of the demo did not go as it must."""


def ask(words, purpose):
    """Runs qvctl where it can be seen."""
    colour = sys.stdout.isatty() and "NO_COLOR" not in os.environ
    begin, end = ("\033[33m", "\033[0m") if colour else ("", "")
    print(f"\n# {purpose}\n{begin}$ qvctl {shlex.join(words)}{end}", flush=True)
    status = subprocess.run([QVCTL, "-d", DEVICE, *words], check=False).returncode
    if status != 0:
        raise Failed(f"qvctl {shlex.join(words)} ended with status {status}")


def require_content(words):
    """A device whose wifi manager is silent reports too, but nothing but zeros."""
    output = subprocess.run(
        [QVCTL, "-d", DEVICE, "--json", *words], check=False, stdout=subprocess.PIPE
    ).stdout
    (body,) = json.loads(output or b'{"data": {"none": []}}')["data"].values()
    if not any(body.values() if isinstance(body, dict) else body):
        raise Failed(f"the report of qvctl {shlex.join(words)} is empty")


def tour():
    for words, purpose in TOUR:
        ask(words.split(), purpose)
        if words.startswith("get "):
            require_content(words.split())
    with open(os.path.join(os.environ["AP_DIR"], "tools/updata_rootfs.sh.delay"), "w") as delay:
        delay.write(str(FLASHING_SECONDS))
    with open(IMAGE, "wb") as image:
        image.write(b"a firmware image of the demo's own\n" * 300000)
    ask(["upgrade", "--serve", IMAGE, "--timeout", "20"], "a firmware upgrade")


def interrupt(*_):
    for number in (signal.SIGINT, signal.SIGTERM):
        signal.signal(number, signal.SIG_IGN)  # ending is under way
    raise KeyboardInterrupt


def stop(agent):
    agent.terminate()
    try:
        ended = agent.wait(10)
    except subprocess.TimeoutExpired:
        agent.kill()
        ended = agent.wait()
    if ended != 0:
        raise Failed(f"the agent ended with status {ended}")


def main():
    options = argparse.ArgumentParser(description=__doc__)
    options.add_argument("--once", action="store_true", help="end after the tour")
    options.add_argument("--log", required=True, help="file for the agent's log")
    options.add_argument("agent", help="the agent's executable")
    arguments = options.parse_args()
    signal.signal(signal.SIGINT, interrupt)
    signal.signal(signal.SIGTERM, interrupt)

    with open(arguments.log, "wb") as log:
        agent = subprocess.Popen([arguments.agent], stdout=log, stderr=log)
    print(
        f"agent started; its log: {arguments.log}\n"
        "beside it, on a second terminal: simulator/simulated-ap --join"
        f" {os.environ['AP_LAUNCHER']}\n"
        "and there, for example: qvctl top",
        flush=True,
    )
    try:
        try:
            tour()
            if not arguments.once:
                ask(
                    ["watch", "--all"], "the agent reports by itself, about every 10 s; Ctrl-C ends"
                )
        except KeyboardInterrupt:
            print()
            if arguments.once:
                raise Failed("interrupted") from None
        finally:
            stop(agent)
    except Failed as failure:
        print(f"demo failed: {failure}", file=sys.stderr)
        return 1
    print(
        "\ntry next: simulator/simulated-ap --shell, an access point with an agent and a\n"
        "shell, and in it qvctl top, qvctl set vap ath1 ssid=Guest or qvctl help"
    )
    return 0


sys.exit(main())
