#!/usr/bin/python3
"""Measures the agent and the floors inside a simulated access point, and prints one JSON object
with the figures of every fresh start.

With --quick it makes one start each and few commands, to see that everything answers, and prints
the table; exit status 1 when commands were handled out of order.
"""
import argparse
import collections
import json
import os
import subprocess
import sys
import time

import callgrind
import programs
import report
import stand_ins
from programs import Agent, Floor, WifiManager, ask, client, gauge, harness

Case = collections.namedtuple("Case", "name command message commands wifi_manager")
FEW = ("--stations", "20", "--vaps", "2", "--still")
CASES = [
    Case("1034, system statistics", 1034, 4, 2000, FEW),
    Case("1024, 20 stations", 1024, 3, 2000, FEW),
    Case("1024, 255 stations", 1024, 3, 2000, ("--stations", "255", "--still")),
    Case("1028, 8 full VAPs", 1028, 16, 2000, ("--vaps", "8", "--freqs", "85", "--still")),
]
OUTSTANDING = 20
FILTER_STA_STATS = "3 silent"  # each 1024 then holds the controller thread for five seconds
BATCH = 1000


class Plan:
    """How much is measured."""

    def __init__(self, quick):
        self.quick = quick
        self.starts = 1 if quick else 5
        self.share = 0.05 if quick else 1  # of a case's commands
        self.warm_up_s = 0 if quick else 1
        self.idle_s = 1 if quick else 30  # three of the agent's own reports
        self.queued = 3 * BATCH if quick else 100 * BATCH
        self.profiled = 0 if quick else 200  # commands

    def of(self, commands):
        return max(20, int(commands * self.share))


def start_to_connack(program):
    """Milliseconds; the broker's place is held by something that only says yes."""
    accepted = []

    def accept(connection):
        connection.recv(1024)
        connection.sendall(b"\x20\x02\x00\x00")
        accepted.append(time.monotonic())

    broker = stand_ins.StandInBroker(accept)
    with program() as started:
        harness.poll(lambda: accepted, 10, "CONNECT")
        taken = accepted[0] - started.started
    broker.close()
    return {"start_ms": 1000 * taken}


def at_rest(program):
    program.settle()
    time.sleep(1)
    usage = gauge.usage(program.process)
    return {
        "idle_pss": usage.pss,
        "idle_own": usage.own,
        "threads": usage.threads,
    }


def idle_minute(result, agent, plan):
    """From half of one, of both at once: they do not speak to each other."""
    with Floor(100) as floor:
        time.sleep(1)
        before = [program.cpu_us() for program in (floor, agent)]
        time.sleep(plan.idle_s)
        for name, program, start in zip(("floor", "agent"), (floor, agent), before):
            taken_ms = (program.cpu_us() - start) / 1000
            result[name]["idle_cpu_ms"] = taken_ms * 60 / plan.idle_s


def sequential(program, case, plan):
    commands = plan.of(case.commands)
    return client("rounds", case.command, commands, 1, program.cpu_us, plan.warm_up_s)


def under_load(program, case, plan):
    program.settle()
    result = {"sequential": sequential(program, case, plan)}
    if case == CASES[0]:
        bursts = plan.of(5 * case.commands) // OUTSTANDING
        result["throughput"] = client(
            "throughput",
            case.command,
            plan.of(5 * case.commands),
            OUTSTANDING,
            warm_up_s=plan.warm_up_s,
        )
        result["burst"] = client(
            "rounds", case.command, bursts, OUTSTANDING, warm_up_s=plan.warm_up_s
        )
    return result


def lines(beginning):
    """The numbers behind a beginning of log lines, in the order of the log."""
    beginning = beginning.encode()
    return [
        int(line[len(beginning) :].split(b",")[0].rstrip(b"}"))
        for line in programs.LOG.read_bytes().splitlines()
        if line.startswith(beginning)
    ]


def queue_up(agent, controller, count):
    """Queues commands with rising numbers while a handler waits. Returns the microseconds of
    processor time per command in the first and the last batch, from the socket to the queue."""
    costs = []
    for first in range(0, count, BATCH):
        before = agent.cpu_us()
        for number in range(first, first + BATCH):
            controller.publish(programs.TOPIC, b'{"type":1000,"timestamp":%d}' % number)
        wanted = b"hdr.type: 1000, hdr.ts: %d\n" % (first + BATCH - 1)
        harness.poll(lambda: tail_has(wanted), 60, f"command {first + BATCH - 1}")
        time.sleep(0.01)
        costs.append((agent.cpu_us() - before) / BATCH)
    return costs[0], costs[-1]


def tail_has(text):
    with programs.LOG.open("rb") as log:
        log.seek(max(0, log.seek(0, os.SEEK_END) - 4096))
        return text in log.read()


def growth(agent, wifi_manager, plan):
    controller = harness.Controller(programs.TOPIC).connect()
    before = gauge.usage(agent.process).rss
    wifi_manager.behave(FILTER_STA_STATS)
    for _ in range(20):
        controller.send(1024)
    first, last = queue_up(agent, controller, plan.queued)
    queued = gauge.usage(agent.process).rss
    drained_early = lines('SUB MSG: payload={"type":1000,"timestamp":')
    wifi_manager.behave("")
    harness.poll(lambda: tail_has(b"msg_queue_pop: 0\n"), 120, "empty queue")
    time.sleep(1)
    drained = lines('SUB MSG: payload={"type":1000,"timestamp":')
    after = gauge.usage(agent.process).rss
    controller.close()
    assert not drained_early, "the handler did not wait long enough"
    return {
        "queue_bytes": 1024 * (queued - before) / plan.queued,
        "push_first_us": first,
        "push_last_us": last,
        "in_order": drained == list(range(plan.queued)),
        "rss_before": before,
        "rss_queued": queued,
        "rss_after": after,
    }


def handled(command):
    return programs.LOG.read_bytes().count(b"\nprocess_msg->type %d\n" % command)


def switch_profiling(process, state):
    subprocess.run(
        ["callgrind_control", str(process.pid), "-i", state],
        check=True,
        stdout=subprocess.DEVNULL,
        stderr=subprocess.DEVNULL,
    )


def profile(case, plan):
    """Instructions of one command by what they are for."""
    out = harness.AP_DIR / "callgrind.out"
    with Agent(*programs.VALGRIND, f"--callgrind-out-file={out}") as agent:
        agent.settle()
        switch_profiling(agent.process, "on")
        before = handled(case.command)
        client("rounds", case.command, plan.profiled, 1)
        commands = handled(case.command) - before  # more when an unasked report spoilt some
        switch_profiling(agent.process, "off")
    totals = callgrind.Profile(out.read_text()).totals()
    return {what: count / commands for what, count in totals.most_common()}


def one_start_each(plan, sizes, wifi_manager):
    """Everything once, the programs in turn."""
    result = {"floor": start_to_connack(lambda: Floor(100)), "agent": start_to_connack(Agent)}
    result |= {"asking": {}, "handing on": {}}
    broker = harness.Broker().start()
    for case in CASES:
        wifi_manager.start(*case.wifi_manager)
        if case.name not in sizes:
            with Agent():
                sizes[case.name] = ask(case.command)["bytes"]
        with Floor(sizes[case.name]) as floor:
            result["floor"][case.name] = under_load(floor, case, plan)
        for way in ("asking", "handing-on"):
            with Floor(sizes[case.name], way, case.message) as floor:
                result[way.replace("-", " ")][case.name] = under_load(floor, case, plan)
        with Agent() as agent:
            result["agent"][case.name] = under_load(agent, case, plan)
        if case == CASES[0]:
            with programs.secured(), Agent() as agent:
                agent.settle()
                result["agent"]["tls"] = sequential(agent, case, plan)
        wifi_manager.stop()
    wifi_manager.start(*FEW)
    with Floor(sizes[CASES[0].name]) as floor:
        result["floor"] |= at_rest(floor)
    with Agent() as agent:
        result["agent"] |= at_rest(agent)
        idle_minute(result, agent, plan)
        result["agent"] |= growth(agent, wifi_manager, plan)
    wifi_manager.stop()
    broker.close()
    return result


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--quick", action="store_true")
    plan = Plan(parser.parse_args().quick)
    wifi_manager = WifiManager()
    programs.offer_tls()
    sizes = {}
    starts = []
    for number in range(plan.starts):
        starts.append(one_start_each(plan, sizes, wifi_manager))
        print(f"bench: start {number + 1} of {plan.starts} measured", file=sys.stderr, flush=True)
    broker = harness.Broker().start()
    profiles = {}
    for case in CASES if plan.profiled else []:
        wifi_manager.start(*case.wifi_manager)
        profiles[case.name] = profile(case, plan)
        wifi_manager.stop()
    broker.close()
    result = {
        "machine": report.documents.machine(),
        "report_bytes": sizes,
        "instructions": profiles,
        "starts": starts,
    }
    if plan.quick:
        print(report.main_table(result), end="")
        return int(not all(start["agent"]["in_order"] for start in starts))
    print(json.dumps(result))
    return 0


if __name__ == "__main__":
    sys.exit(main())
