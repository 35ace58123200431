"""Puts measured figures into a page of docs, between two marks; the rest of it is left alone."""
import os
import platform
import sys
import time

FLEET = "<!-- fleet figures: made by scripts/fleet --document -->", "<!-- end of fleet figures -->"


def machine():
    """The machine and system that the figures belong to, and the day."""
    cpu = next(
        line.partition(":")[2].strip()
        for line in open("/proc/cpuinfo", encoding="utf-8")
        if line.startswith(("model name", "Hardware", "CPU part"))
    )
    system = platform.freedesktop_os_release()["PRETTY_NAME"]
    memory = os.sysconf("SC_PHYS_PAGES") * os.sysconf("SC_PAGE_SIZE") >> 30
    return (
        f"{cpu}, {len(os.sched_getaffinity(0))} processors, {memory} GiB; {system}, "
        f"Linux {platform.release()} ({platform.machine()}); {time.strftime('%Y-%m-%d')}"
    )


def write(page, marks, text):
    begin, end = marks
    before, found, rest = page.read_text().partition(begin)
    _, ended, after = rest.partition(end)
    if not found or not ended:
        sys.exit(f"{page} has no place for figures ({begin})")
    page.write_text(f"{before}{begin}\n\n{text}\n\n{end}{after}")


def write_fleet(page, command, figures):
    rows = [f"| {name} | {text} |" for name, text in figures.items()]
    lines = [f"    {command}", "", machine() + ":", "", "| | |", "|---|---|", *rows]
    write(page, FLEET, "\n".join(lines))
