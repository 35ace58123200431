#!/usr/bin/python3
"""Makes the figures of measure.py readable: a table and, from the file that holds them, all that
scripts/bench keeps in docs/ (performance.json, performance.svg, its section of performance.md).

usage: report.py FILE     what measure.py has printed, or an earlier performance.json
"""
import functools
import json
import pathlib
import statistics
import subprocess
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "simulator/fleet"))
import documents

DOCS = pathlib.Path(__file__).resolve().parents[1] / "docs"
MARKS = "<!-- scripts/bench begin -->", "<!-- scripts/bench end -->"
FLOOR, ASKING, HANDING_ON, AGENT = PROGRAMS = "floor", "asking", "handing on", "agent"
SMALL_GOAL, LARGE_GOAL, P99_GOAL = {FLOOR: 2.2, ASKING: 1.35}, {FLOOR: 3}, {FLOOR: 3}
LARGE_BYTES = 16 * 1024


def over(starts, who, keys, summary):
    """Of all starts; None where this was not measured."""
    try:
        return summary(
            functools.reduce(lambda found, key: found[key], keys, start[who]) for start in starts
        )
    except KeyError:
        return None


class Row:
    """One line of the table: what was measured, and the goal for the agent, in words and as a
    test of the figures of all programs."""

    def __init__(self, starts, name, unit, keys, goal="", met=None, digits=0, summary=None):
        self.name, self.unit, self.goal, self._digits = name, unit, goal, digits
        summary = summary or statistics.median
        self.figures = {who: over(starts, who, keys, summary) for who in PROGRAMS}
        self.ratios = {
            f"{AGENT}/{who}": self.figures[AGENT] / self.figures[who] if self.figures[who] else None
            for who in (FLOOR, ASKING)
        }
        self.met = met(self.figures) if met else None

    def as_json(self):
        return {
            "row": self.name,
            "unit": self.unit,
            **self.figures,
            **self.ratios,
            "goal": self.goal,
            "met": self.met,
        }

    def as_line(self):
        def text(value, digits):
            return "" if value is None else f"{value:,.{digits}f}"

        verdict = {None: "", True: ": met", False: ": missed"}[self.met]
        cells = [f"{self.name}, {self.unit}" if self.unit else self.name]
        cells += [text(figure, self._digits) for figure in self.figures.values()]
        cells += [text(ratio, 2) for ratio in self.ratios.values()]
        return "| " + " | ".join([*cells, self.goal + verdict]) + " |"


def times(limits):
    """At most so many times what each of these programs takes."""
    words = (f"{limit:g} times {who}" for who, limit in limits.items())
    return {
        "goal": "at most " + " and ".join(words),
        "met": lambda figures: all(
            figures[AGENT] <= limit * figures[who] for who, limit in limits.items()
        ),
    }


def rows(result):
    make = functools.partial(Row, result["starts"])
    cases = result["report_bytes"]
    first = next(iter(cases))
    table = []
    for case, size in cases.items():
        goal = LARGE_GOAL if size > LARGE_BYTES else SMALL_GOAL
        table.append(make(f"{case}, p50", "µs", (case, "sequential", "p50"), **times(goal)))
        table.append(make(f"{case}, p99", "µs", (case, "sequential", "p99"), **times(P99_GOAL)))
    plain = table[0].figures[AGENT]
    table += [
        make(
            "1034, agent's link by TLS, p50",
            "µs",
            ("tls", "p50"),
            "at most 1.3 times plain",
            lambda figures: figures[AGENT] is not None and figures[AGENT] <= 1.3 * plain,
        ),
        make("CPU, 1034, agent's link by TLS", "µs", ("tls", "cpu_us")),
        make(
            "1034, 20 outstanding",
            "commands/s",
            (first, "throughput", "per_second"),
            "at least 0.55 times floor",
            lambda figures: figures[AGENT] >= 0.55 * figures[FLOOR],
        ),
        make("1034, burst of 20, last answer", "µs", (first, "burst", "p50"), **times({FLOOR: 3})),
        make(
            "slowest such burst",
            "µs",
            (first, "burst", "max"),
            "no step of 40 ms",
            lambda figures: figures[AGENT] < 40000,
            summary=max,
        ),
    ]
    table += [make(f"CPU, {case}", "µs", (case, "sequential", "cpu_us")) for case in cases]
    table += [
        make("idle PSS", "KiB", ("idle_pss",), **times({FLOOR: 1.5})),
        make("idle, of which in no file", "KiB", ("idle_own",)),
        make(
            "CPU in an idle minute",
            "ms",
            ("idle_cpu_ms",),
            "at most 2 times floor and 5 ms",
            lambda figures: figures[AGENT] <= 2 * figures[FLOOR] + 5,
            digits=1,
        ),
        make("threads", "", ("threads",)),
        make("start to CONNACK", "ms", ("start_ms",), digits=1),
        make("memory per queued command", "bytes", ("queue_bytes",)),
        make("CPU per command, first 1,000 queued", "µs", ("push_first_us",), digits=2),
        make("CPU per command, last 1,000 queued", "µs", ("push_last_us",), digits=2),
    ]
    flat = table[-1].figures[AGENT] <= 1.5 * table[-2].figures[AGENT]
    table[-1].goal, table[-1].met = "at most 1.5 times the first", flat
    table += [
        make("RSS before", "KiB", ("rss_before",)),
        make("RSS, all queued", "KiB", ("rss_queued",)),
        make("RSS, all handled", "KiB", ("rss_after",)),
    ]
    back = table[-1].figures[AGENT] <= 1.05 * table[-3].figures[AGENT]
    table[-1].goal, table[-1].met = "at most 1.05 times that before", back
    table.append(make("handled in order, of all starts", "", ("in_order",), summary=sum))
    all_of_them = table[-1].figures[AGENT] == len(result["starts"])
    table[-1].goal, table[-1].met = "each", all_of_them
    return table


def main_table(result):
    head = ["", *PROGRAMS, f"{AGENT}/{FLOOR}", f"{AGENT}/{ASKING}", "goal"]
    lines = ["| " + " | ".join(head) + " |", "|---|" + "--:|" * (len(head) - 2) + "---|"]
    return "\n".join([*lines, *(row.as_line() for row in rows(result))]) + "\n"


def profile_table(profiles):
    """Thousands of instructions per command."""
    if not profiles:
        return ""
    whats = list(dict.fromkeys(what for profile in profiles.values() for what in profile))
    lines = ["| | " + " | ".join(profiles) + " |", "|---|" + "--:|" * len(profiles)]
    for what in whats:
        cells = (f"{profile.get(what, 0) / 1000:.1f}" for profile in profiles.values())
        lines.append(f"| {what} | " + " | ".join(cells) + " |")
    totals = (f"{sum(profile.values()) / 1000:.1f}" for profile in profiles.values())
    lines.append("| together | " + " | ".join(totals) + " |")
    return "\n".join(lines) + "\n"


PLOT = """set terminal svg size 900,640 font "sans,13" background "white"
set output "{path}"
set multiplot layout 2,1
set style data histograms
set style histogram clustered gap 1
set style fill solid 0.9 noborder
set grid ytics
set xrange [-0.6:3.6]
set yrange [0:*]
set key top left
set linetype 1 lc rgb "#9aa5b1"
set linetype 2 lc rgb "#a3c4a8"
set linetype 3 lc rgb "#5b8db8"
set linetype 4 lc rgb "#c8553d"
set datafile missing "None"
"""
PANEL = """$data << END
{data}END
set ylabel "{label}"
plot {bars}
"""


def panel(result, what, label):
    data = ""
    for case in result["report_bytes"]:
        figures = (
            over(result["starts"], who, (case, "sequential", what), statistics.median)
            for who in PROGRAMS
        )
        data += f'"{case}" ' + " ".join(map(str, figures)) + "\n"
    bars = ", ".join(
        f'$data using {column}:xtic(1) title "{who}"' for column, who in enumerate(PROGRAMS, 2)
    )
    return PANEL.format(data=data, label=label, bars=bars)


def plot(result, path):
    script = PLOT.format(path=path)
    script += panel(result, "p50", "command to report, p50, µs")
    script += panel(result, "cpu_us", "CPU per command, µs")
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def section(result):
    machine = result["machine"]
    return f"""On {machine}; {len(result["starts"])} starts each.

{main_table(result)}
![Time and CPU per command](performance.svg)

Thousands of instructions per command in the agent's process, the kernel's not counted:

{profile_table(result["instructions"])}"""


def main():
    if len(sys.argv) != 2:
        sys.exit("usage: report.py FILE")
    result = json.loads(pathlib.Path(sys.argv[1]).read_text())
    kept = {
        "machine": result["machine"],
        "report_bytes": result["report_bytes"],
        "rows": [row.as_json() for row in rows(result)],
        "instructions": result["instructions"],
        "starts": result["starts"],
    }
    (DOCS / "performance.json").write_text(json.dumps(kept, indent=1, ensure_ascii=False) + "\n")
    plot(result, DOCS / "performance.svg")
    documents.write(DOCS / "performance.md", MARKS, section(result).rstrip())
    print(main_table(result), end="")


if __name__ == "__main__":
    main()
