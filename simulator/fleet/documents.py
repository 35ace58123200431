"""Puts measured figures into a page of docs, between two marks; the rest of it is left alone."""
import os
import platform
import re
import sys
import time

FLEET = "<!-- fleet figures: made by scripts/fleet --document -->", "<!-- end of fleet figures -->"
TLS = " --tls"  # at the end of the command


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


def columns(text, command):
    """Figures of the same fleet that a page has, by the command that made them."""
    commands = re.findall(r"^    (scripts/fleet .*)$", text, re.MULTILINE)
    cells = [line.strip("|").split("|") for line in text.splitlines() if line.startswith("| ")]
    rows = {name.strip(): values for name, *values in cells}
    return {
        made_by: {name: values[at].strip() for name, values in rows.items() if name}
        for at, made_by in enumerate(commands)
        if made_by.removesuffix(TLS) == command
    }


def table(found):
    names = list(dict.fromkeys(name for figures in found.values() for name in figures))
    lines = [f"    {command}" for command in found]
    heads = ["TLS" if command.endswith(TLS) else "plain" for command in found]
    lines += [
        "",
        machine() + ":",
        "",
        f"| | {' | '.join(heads)} |",
        "|" + "---|" * (1 + len(heads)),
    ]
    for name in names:
        lines.append(f"| {name} | {' | '.join(f.get(name, '') for f in found.values())} |")
    return "\n".join(lines)


def write_fleet(page, command, tls, figures):
    """The other kind of link keeps its figures beside these, if its fleet was the same."""
    old = page.read_text().partition(FLEET[0])[2].partition(FLEET[1])[0]
    kept = columns(old, command) | {command + TLS if tls else command: figures}
    write(page, FLEET, table({name: kept[name] for name in sorted(kept)}))
