"""What a running agent uses, read from /proc.

Under the emulator the agent's own memory is what lies in the 4 GiB from GUEST_BASE on; the rest,
and one thread, belongs to the emulator.
"""
import dataclasses
import os
import pathlib
import re
import sys

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "tests/system"))
import harness

GUEST_BASE = 0x100000000
GUEST = range(GUEST_BASE, GUEST_BASE + (1 << 32))
NATIVE = range(1 << 64)
MAPPING = re.compile(r"([0-9a-f]+)-[0-9a-f]+ [-rwxps]{4} ")


@dataclasses.dataclass
class Usage:
    rss: int  # KiB
    pss: int  # KiB
    own: int  # KiB that lie in no file
    descriptors: int
    threads: int

    def __str__(self):
        return (
            f"RSS {self.rss} KiB, own {self.own} KiB, PSS {self.pss} KiB, "
            f"{self.descriptors} descriptors, {self.threads} threads"
        )


def place_guest():
    """Agents started from here on have their memory where usage() looks for it."""
    if harness.emulated():
        harness.AGENT[1:1] = ["-B", hex(GUEST_BASE)]


def usage(process):
    folder = pathlib.Path("/proc") / str(process.pid)
    addresses = GUEST if harness.emulated() else NATIVE
    sums = {"Rss": 0, "Pss": 0, "Anonymous": 0}
    counts = False
    for line in (folder / "smaps").read_text().splitlines():
        if mapping := MAPPING.match(line):
            counts = int(mapping[1], 16) in addresses
        elif counts and (name := line.partition(":")[0]) in sums:
            sums[name] += int(line.split()[1])
    threads = len(os.listdir(folder / "task")) - (1 if harness.emulated() else 0)
    return Usage(*sums.values(), len(os.listdir(folder / "fd")), threads)


def cpu_seconds(process):
    """Of all threads that run now."""
    tasks = pathlib.Path(f"/proc/{process.pid}/task").glob("*/schedstat")
    return sum(int(task.read_text().split()[0]) for task in tasks) / 1e9
