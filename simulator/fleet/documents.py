"""Puts measured figures into a page of docs, between two marks; the rest of it is left alone."""
import os
import pathlib
import platform
import re
import time

BEGIN, END = (
    "<!-- fleet figures: made by scripts/fleet --document -->",
    "<!-- end of fleet figures -->",
)


def machine():
    """The machine and system that the figures belong to."""
    system = re.search(r'PRETTY_NAME="(.*)"', pathlib.Path("/etc/os-release").read_text())
    processor = re.search(r"model name\s*: (.*)", pathlib.Path("/proc/cpuinfo").read_text())
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") / (1 << 30)
    return (
        f"{system[1]}, Linux {platform.release()}, {len(os.sched_getaffinity(0))} processors "
        f"({processor[1] if processor else platform.machine()}), {memory:.0f} GiB, "
        f"{time.strftime('%Y-%m-%d')}"
    )


def table(command, figures):
    rows = [f"| {name} | {text} |" for name, text in figures.items()]
    return "\n".join([f"    {command}", "", machine() + ":", "", "| | |", "|---|---|", *rows])


def write(path, command, figures):
    text = path.read_text()
    before, found, rest = text.partition(BEGIN)
    _, ended, after = rest.partition(END)
    if not found or not ended:
        raise SystemExit(f"fleet: {path} has no place for figures ({BEGIN})")
    path.write_text(f"{before}{BEGIN}\n\n{table(command, figures)}\n\n{END}{after}")
