#!/usr/bin/python3
"""Measures the agent that QV_AGENT names, inside a simulated access point: at rest, and while it
reports 255 stations and 8 VAPs with full frequency lists in turn. Prints one JSON object.

Exit status 1 when memory still grows after the first rounds.
"""
import argparse
import json
import os
import pathlib
import sys
import time

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "system"))
import gauge
import harness

WARM_UP_ROUNDS = 50
# Threads that free what others allocated leave holes in glibc's heaps until these have settled,
# on 32-bit ARM after some 1,500 rounds; 64 bytes lost per report would be more than that.
GROWTH_KIB = 124
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


def under_load(agent, controller, rounds):
    samples = []
    for count in range(1, rounds + 1):
        for command, kind in REPORTS:
            ask(controller, command, kind)
        agent.log.clear()
        if count >= WARM_UP_ROUNDS and count % 10 == 0:
            samples.append(gauge.usage(agent.process).rss)
    return {"warm_rss": samples[0], "peak_rss": max(samples), "end_rss": samples[-1]}


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--rounds", type=int, default=1000)
    parser.add_argument("--idle", type=int, default=60, help="seconds at rest")
    arguments = parser.parse_args()
    if arguments.rounds < WARM_UP_ROUNDS:
        parser.error(f"at least {WARM_UP_ROUNDS} rounds")
    harness.AGENT[:] = gauge.with_known_base(harness.AGENT)

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
    print(json.dumps(result))
    return int(result["end_rss"] > result["warm_rss"] + GROWTH_KIB)


if __name__ == "__main__":
    sys.exit(main())
