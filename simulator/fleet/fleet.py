#!/usr/bin/python3
"""Runs a fleet of simulated access points with a controller, takes the broker away in the middle,
and holds all devices to what they owe a controller. Prints what it measures.

Exit status 1, with one line that says what, when a demand is not met.
"""
import argparse
import pathlib
import resource
import statistics
import sys
import time

import access_points
import certificates
import documents
from access_points import AccessPoint
from controller import ASK_RADIO_STATS, DISCOVERY, REPORT_TOPIC, SYSTEM_STATS, Controller, Unmet
from one_broker import OneBroker
from trespasser import Trespasser

PERIOD_S, ANNOUNCE_PERIOD_S = 10, 5  # of system statistics, and until a controller speaks
PUBLISH_HEADER = 5 + len(REPORT_TOPIC)  # of a message of 128 bytes to 16 KiB, in bytes
GAP_LIMIT_S = 12
ANSWER_LIMIT_S = 15
LOG_LIMIT_S = 5  # until a broker's log tells of a connection
DESCRIPTORS = 16384  # for the greatest burst: two for each of its sessions at the proxy


def say(phase, text):
    print(f"{phase:<9} {text}", flush=True)


class Fleet:
    def __init__(self, count, broker, tls=False):
        self.points = [AccessPoint(number) for number in range(1, count + 1)]
        self.broker = broker
        self.certificates = certificates.FOLDER if tls else None
        self.controller = Controller(point.mac for point in self.points)
        self.trespasser = None
        self.figures = {}  # what was measured, as rows of a table

    def row(self, phase, name, text):
        self.figures[name] = str(text)
        say(phase, f"{name}: {text}")

    def rows(self, phase, pairs):
        for name, text in pairs:
            self.row(phase, name, text)

    def start(self):
        access_points.set_up_network(self.points)
        if self.certificates:
            certificates.make(self.broker.host, (point.mac for point in self.points))
        self.broker.start()
        self.controller.connect(
            self.broker.host,
            certificates.files(certificates.CONTROLLER) if self.certificates else None,
        )
        begin = time.monotonic()
        access_points.start(self.points, self.broker.host, self.controller, self.certificates)
        deadline = time.monotonic() + ANSWER_LIMIT_S
        self.controller.wait_answers(deadline, "first command")
        answers = self.controller.answer_times()
        if max(answers) >= ANSWER_LIMIT_S:
            raise Unmet(f"first command: answered only after {max(answers):.1f} s")
        self.expect_connects(self.once_each(), "after the start")
        if self.certificates and len(self.points) > 1:
            macs = self.points[0].mac, self.points[-1].mac
            self.trespasser = Trespasser(self.broker.host, *macs)
        self.row("start", "all announced and answering", f"{time.monotonic() - begin:.0f} s")
        self.row(
            "start",
            "first command to report",
            f"median {statistics.median(answers) * 1000:.1f} ms, "
            f"worst {max(answers) * 1000:.1f} ms",
        )

    def steady(self, seconds, title):
        """Nothing happens but the devices' periodic reports."""
        begin = time.monotonic()
        time.sleep(seconds)
        end = time.monotonic()
        self.check_alive()
        times = [self.stats_between(point, begin, end) for point in self.points]
        gaps = [gaps_of(series, begin, end) for series in times]
        worst = max(gap for series in gaps for gap in series)
        counts = [len(series) for series in times]
        self.row(
            "steady",
            f"system statistics in {seconds:.0f} s {title}",
            f"{sum(counts)}, {min(counts)} to {max(counts)} per device, "
            f"worst gap {worst:.2f} s",
        )
        if worst >= GAP_LIMIT_S:
            late = self.points[max(range(len(gaps)), key=lambda at: max(gaps[at]))]
            raise Unmet(f"{title}: {late.mac} sent no system statistics for {worst:.1f} s")

    def stats_between(self, point, begin, end):
        stats = self.controller.devices[point.mac].stats
        return [at for at in list(stats) if begin <= at <= end]

    def measured_steady(self, seconds, title):
        groups = {
            "agents": access_points.is_agent,
            "simulators": access_points.is_simulator,
            "broker": self.broker.owns,
        }
        before = {name: access_points.usage(wanted) for name, wanted in groups.items()}
        messages, payload = self.controller.totals()
        self.steady(seconds, title)
        after_messages, after_payload = self.controller.totals()
        for name, wanted in groups.items():
            self.usage_row(name, before[name], access_points.usage(wanted), seconds)
        self.row(
            "steady",
            "reports per second",
            f"{(after_messages - messages) / seconds:.1f}, "
            f"{(after_payload - payload) / seconds:.0f} bytes of payload",
        )

    def usage_row(self, name, before, after, seconds):
        count = 1 if name == "broker" else len(self.points)
        cpu = after.cpu_s - before.cpu_s
        text = f"{after.pss_kib / 1024:.1f} MiB, {cpu / seconds * 100:.2f} % of one processor"
        if count > 1:
            text += (
                f"; per device {after.pss_kib / count:.0f} KiB, "
                f"{cpu / count / seconds * 60 * 1000:.1f} ms a minute"
            )
        self.row("steady", f"{name}, memory (PSS) and CPU", text)

    def outage(self):
        begin = time.monotonic()
        agents = access_points.usage(access_points.is_agent).cpu_s
        expected = self.broker.kill(self.points)
        # Not before the kill: who answers the old broker has not come back.
        self.controller.new_round(ASK_RADIO_STATS)
        broker = access_points.usage(self.broker.owns).cpu_s
        self.broker.restore()
        answered = self.controller.wait_answers(begin + ANSWER_LIMIT_S, self.broker.OUTAGE)
        back = [at - begin for at in answered]
        self.row(
            "outage",
            self.broker.OUTAGE,
            f"all back and answering, median {statistics.median(back):.1f} s, "
            f"worst {max(back):.1f} s from the kill",
        )
        self.return_row(agents, broker, sum(expected.values()))
        return expected

    def return_row(self, agents, broker, sessions):
        """`agents` and `broker`: their processor time before the devices came back."""
        agents = access_points.usage(access_points.is_agent).cpu_s - agents
        broker = access_points.usage(self.broker.owns).cpu_s - broker
        self.row(
            "outage",
            "processor time until all are back",
            f"agents {agents / len(self.points) * 1000:.1f} ms each, "
            f"broker {broker / sessions * 1000:.2f} ms per session",
        )

    def once_each(self):
        return {point.address: 1 for point in self.points}

    def expect_connects(self, expected, when):
        deadline = time.monotonic() + LOG_LIMIT_S
        while (wrong := self.wrong_connects(expected)) and time.monotonic() < deadline:
            time.sleep(0.2)
        if wrong:
            raise Unmet(f"{when}: wrong number of connections from {len(wrong)}: {wrong[:5]}")
        self.row("connects", f"connections {when}", f"{sum(expected.values())}, none twice")

    def wrong_connects(self, expected):
        found = self.broker.connects()
        return [
            f"{point.mac} {found.get(point.address, 0)}"
            for point in self.points
            if found.get(point.address, 0) != expected[point.address]
        ]

    def check_alive(self):
        ended = [point for point in self.points if point.process.poll() is not None]
        if ended:
            raise Unmet(f"{ended[0].mac} has ended: {ended[0].log_end()}")
        if self.controller.strangers:
            raise Unmet(f"strangers speak: {sorted(self.controller.strangers)}")

    def load_rows(self):
        """What 10,000 such devices would send."""
        for name, kind, period in (
            ("announcements", DISCOVERY, ANNOUNCE_PERIOD_S),
            ("system statistics", SYSTEM_STATS, PERIOD_S),
        ):
            size, rate = self.controller.traffic[kind].mean(), 10000 / period
            self.row(
                "end",
                f"{name} of 10,000 devices",
                f"{size} bytes each, {size + PUBLISH_HEADER} as MQTT; {rate:.0f} messages, "
                f"{rate * (size + PUBLISH_HEADER) / 1000:.0f} kB per second",
            )

    def finish(self):
        self.load_rows()
        self.rows("end", self.broker.compare(set(self.controller.heard)))
        self.check_alive()
        if self.trespasser:
            self.trespasser.close(self.controller.traffic)
        self.controller.close()
        failed = access_points.stop(self.points)
        if failed:
            raise Unmet(
                f"{len(failed)} agents did not end well, {failed[0].mac}: " f"{failed[0].log_end()}"
            )
        self.rows("end", self.broker.measure())

    def run(self, seconds):
        self.start()
        self.measured_steady(seconds / 2, "before the outage")
        self.expect_connects(self.once_each(), "until the outage")
        expected = self.outage()
        self.steady(seconds / 2, "after the outage")
        self.expect_connects(expected, "after the outage")
        self.finish()


def gaps_of(times, begin, end):
    """Times between neighbours, with the begin and the end of the phase as neighbours too."""
    points = [begin, *times, end]
    return [later - earlier for earlier, later in zip(points, points[1:])]


def raise_descriptor_limit():
    """For all that this process starts, too. No further than needed: a RabbitMQ node makes tables
    of the size of its limit."""
    soft, hard = resource.getrlimit(resource.RLIMIT_NOFILE)
    unlimited = resource.RLIM_INFINITY
    if soft != unlimited and soft < DESCRIPTORS:
        wanted = DESCRIPTORS if hard == unlimited else min(DESCRIPTORS, hard)
        resource.setrlimit(resource.RLIMIT_NOFILE, (wanted, hard))


def make_broker(cluster, tls):
    if not cluster:
        return OneBroker(tls)
    from cluster import Cluster  # only it needs the packages of a cluster

    return Cluster(tls)


def main():
    parser = argparse.ArgumentParser(prog="fleet", description=__doc__)
    parser.add_argument("devices", type=int, metavar="N", help="number of access points")
    parser.add_argument("minutes", type=float, nargs="?", default=5, help="default: 5")
    parser.add_argument(
        "--cluster", action="store_true", help="around three RabbitMQ nodes, of which one is killed"
    )
    parser.add_argument(
        "--tls", action="store_true", help="the broker demands a certificate of every device"
    )
    parser.add_argument(
        "--document", type=pathlib.Path, metavar="FILE", help="write the figures into this page"
    )
    arguments = parser.parse_args()
    if not 1 <= arguments.devices <= access_points.LIMIT:
        parser.error(f"1 to {access_points.LIMIT} devices")

    raise_descriptor_limit()
    fleet = Fleet(arguments.devices, make_broker(arguments.cluster, arguments.tls), arguments.tls)
    try:
        fleet.run(60 * arguments.minutes)
    except Unmet as unmet:
        print(f"fleet: failed: {unmet}", file=sys.stderr, flush=True)
        return 1
    if arguments.document:
        option = "--cluster " if arguments.cluster else ""
        command = f"scripts/fleet {option}{arguments.devices} {arguments.minutes:g}"
        documents.write_fleet(arguments.document, command, arguments.tls, fleet.figures)
    print("fleet: all demands met", flush=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
