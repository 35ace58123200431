#!/usr/bin/python3
"""Measures the agent that QV_AGENT names, inside a simulated access point: at rest, and while it
reports 255 stations and 8 VAPs with full frequency lists in turn. Prints the figures as cells of
a table: idle PSS, peak RSS, threads, CPU.

Exit status 1 when memory still grows after the first rounds, or when the agent does not serve.
"""
import argparse
import os
import sys
import threading
import time

import gauge
import harness

WARM_UP_ROUNDS = 50
SAMPLE_EVERY = 10  # rounds
# What rests in glibc's heap wanders, because each thread keeps a few free blocks of every size for
# itself (tcache), and their pages with them; 18 bytes lost per report would be more.
GROWTH_KIB = 32
REPORTS = ((1024, 1005), (1028, 1009))  # command, report


def ask(controller, command, kind):
    controller.send(command)
    controller.wait_report(kind, 20)
    controller.reports.clear()


def at_rest(agent, seconds):
    time.sleep(3)
    before = gauge.cpu_seconds(agent.process)
    time.sleep(seconds)
    used = gauge.cpu_seconds(agent.process) - before
    usage = gauge.usage(agent.process)
    return {"idle_pss": usage.pss, "threads": usage.threads, "cpu_ms": round(used * 1000, 1)}


class Peak(threading.Thread):
    """The highest RSS seen while it runs: 20 times a second, also amid a report."""

    def __init__(self, process):
        super().__init__(daemon=True)
        self.rss = 0
        self._process = process
        self._error = None
        self._done = threading.Event()

    def run(self):
        try:
            while not self._done.wait(0.05):
                self.rss = max(self.rss, gauge.usage(self._process).rss)
        except Exception as error:  # for the thread that waits
            self._error = error

    def __enter__(self):
        self.start()
        return self

    def __exit__(self, *_):
        self._done.set()
        self.join()
        if self._error:
            raise self._error


def under_load(agent, controller, rounds):
    between = []  # RSS between two rounds
    with Peak(agent.process) as peak:
        for count in range(1, rounds + 1):
            for command, kind in REPORTS:
                ask(controller, command, kind)
            agent.log.clear()
            if count >= WARM_UP_ROUNDS and count % SAMPLE_EVERY == 0:
                between.append(gauge.usage(agent.process).rss)
    return {"peak_rss": peak.rss, "warm_rss": between[0], "later_rss": max(between)}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--idle", type=int, default=60, help="seconds at rest")
    arguments = parser.parse_args()
    if arguments.rounds < WARM_UP_ROUNDS + SAMPLE_EVERY:
        parser.error(f"at least {WARM_UP_ROUNDS + SAMPLE_EVERY} rounds")
    gauge.place_guest()

    broker = harness.Broker().start()
    wifi_manager = harness.WifiManager()
    wifi_manager.start("--stations", "255", "--vaps", "8", "--freqs", "85")
    controller = harness.Controller("qv/device_" + os.environ["AP_MAC"]).connect()
    agent = harness.Agent()
    broker.wait_subscribed(timeout=20)
    ask(controller, 1034, 1003)
    result = at_rest(agent, arguments.idle) | under_load(agent, controller, arguments.rounds)
    agent.close()
    controller.close()
    wifi_manager.close()
    broker.close()
    print("{idle_pss} KiB | {peak_rss} KiB | {threads} | {cpu_ms} ms".format(**result))
    if result["later_rss"] <= result["warm_rss"] + GROWTH_KIB:
        return 0
    print(
        f"footprint: {harness.AGENT[-1]} grew from {result['warm_rss']} KiB after round"
        f" {WARM_UP_ROUNDS} to {result['later_rss']} KiB",
        file=sys.stderr,
    )
    return 1


if __name__ == "__main__":
    sys.exit(main())
