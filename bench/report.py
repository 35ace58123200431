#!/usr/bin/python3
"""Makes the figures of measure.py readable: a table, and from standard input everything that
scripts/bench keeps in docs/ (performance.json, performance.svg, its section of performance.md).
"""
import functools
import json
import pathlib
import statistics
import subprocess
import sys

DOCS = pathlib.Path(__file__).resolve().parents[1] / "docs"
BEGIN, END = "<!-- scripts/bench begin -->\n", "<!-- scripts/bench end -->\n"
FLOOR, HANDING_ON, AGENT = "floor", "handing on", "agent"
SMALL_GOAL, LARGE_GOAL, P99_GOAL = 2.0, 3.0, 3.0
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
    test of the floor's and the agent's figure."""

    def __init__(self, starts, name, unit, keys, goal="", met=None, digits=0, summary=None):
        self.name, self.unit, self.goal, self._digits = name, unit, goal, digits
        summary = summary or statistics.median
        self.figures = {
            who: over(starts, who, keys, summary) for who in (FLOOR, HANDING_ON, AGENT)
        }
        floor, agent = self.figures[FLOOR], self.figures[AGENT]
        self.ratio = agent / floor if floor else None
        self.met = met(floor, agent) if met else None

    def as_json(self):
        return {
            "row": self.name,
            "unit": self.unit,
            **self.figures,
            "ratio": self.ratio,
            "goal": self.goal,
            "met": self.met,
        }

    def as_line(self):
        def text(value):
            return "" if value is None else f"{value:,.{self._digits}f}"

        verdict = {None: "", True: ": met", False: ": missed"}[self.met]
        cells = [f"{self.name}, {self.unit}"]
        cells += [text(self.figures[who]) for who in (FLOOR, HANDING_ON, AGENT)]
        cells += ["" if self.ratio is None else f"{self.ratio:.2f}", self.goal + verdict]
        return "| " + " | ".join(cells) + " |"


def times(limit):
    return {
        "goal": f"at most {limit:g} times",
        "met": lambda floor, agent: agent <= limit * floor,
    }


def rows(result):
    make = functools.partial(Row, result["starts"])
    cases = result["sizes"]
    first = next(iter(cases))
    table = []
    for case, size in cases.items():
        goal = LARGE_GOAL if size > LARGE_BYTES else SMALL_GOAL
        table.append(make(f"{case}, p50", "µs", (case, "sequential", "p50"), **times(goal)))
        table.append(make(f"{case}, p99", "µs", (case, "sequential", "p99"), **times(P99_GOAL)))
    table += [
        make(
            "1034, 20 outstanding", "commands/s", (first, "throughput", "per_second"),
            "at least half", lambda floor, agent: agent >= floor / 2,
        ),
        make("1034, burst of 20, last answer", "µs", (first, "burst", "p50"), **times(3)),
        make(
            "slowest such burst", "µs", (first, "burst", "max"),
            "no step of 40 ms", lambda _, agent: agent < 40000, summary=max,
        ),
    ]
    table += [make(f"CPU, {case}", "µs", (case, "sequential", "cpu_us")) for case in cases]
    table += [
        make("idle PSS", "KiB", ("idle_pss",), **times(1.5)),
        make("idle PSS without libcurl", "KiB", ("idle_pss_own",), **times(1.5)),
        make("idle, of which in no file", "KiB", ("idle_own",)),
        make(
            "CPU in an idle minute", "ms", ("idle_cpu_ms",), "at most 2 times and 5 ms",
            lambda floor, agent: agent <= 2 * floor + 5, digits=1,
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
    head = "| | floor | handing on | agent | agent/floor | goal |\n|---|--:|--:|--:|--:|---|\n"
    return head + "".join(row.as_line().replace(",  |", " |") + "\n" for row in rows(result))


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
set linetype 2 lc rgb "#5b8db8"
set linetype 3 lc rgb "#c8553d"
"""
PANEL = """$data << END
{data}END
set ylabel "{label}"
plot $data using 2:xtic(1) title "floor", "" using 3 title "handing on", "" using 4 title "agent"
"""


def panel(result, what, label):
    data = ""
    for case in result["sizes"]:
        figures = (
            over(result["starts"], who, (case, "sequential", what), statistics.median)
            for who in (FLOOR, HANDING_ON, AGENT)
        )
        data += f'"{case}" ' + " ".join(map(str, figures)) + "\n"
    return PANEL.format(data=data, label=label)


def plot(result, path):
    script = PLOT.format(path=path)
    script += panel(result, "p50", "command to report, p50, µs")
    script += panel(result, "cpu_us", "CPU per command, µs")
    subprocess.run(["gnuplot"], input=script, text=True, check=True)


def section(result):
    machine = result["machine"]
    return f"""{BEGIN}
On {machine}; {len(result["starts"])} starts each.

{main_table(result)}
![Time and CPU per command](performance.svg)

Thousands of instructions per command in the agent's process, the kernel's not counted:

{profile_table(result["profiles"])}
{END}"""


def main():
    result = json.load(sys.stdin)
    page = DOCS / "performance.md"
    before, _, rest = page.read_text().partition(BEGIN)
    after = rest.partition(END)[2]
    kept = {
        "machine": result["machine"],
        "report_bytes": result["sizes"],
        "rows": [row.as_json() for row in rows(result)],
        "instructions": result["profiles"],
        "starts": result["starts"],
    }
    (DOCS / "performance.json").write_text(json.dumps(kept, indent=1, ensure_ascii=False) + "\n")
    plot(result, DOCS / "performance.svg")
    page.write_text(before + section(result) + after)
    print(main_table(result), end="")


if __name__ == "__main__":
    main()
