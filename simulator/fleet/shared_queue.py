"""Two controllers that share the reports of all devices: one quorum queue bound to the report
topic, and each of them a consumer of it, by AMQP through the proxy."""
import json
import threading
import time

import pika

from controller import Unmet

QUEUE, EXCHANGE = "reports", "amq.topic"
ROUTING_KEY = "qv.dev_to_controller"  # the report topic with a dot for every slash
# Of payload, half an hour of 10,000 devices; then the oldest reports go.
QUEUE_LIMIT = 1 << 30
LATE_S = 5  # until what is on its way has arrived


class Consumer(threading.Thread):
    def __init__(self, host):
        super().__init__(daemon=True)
        self.ready = threading.Event()
        self.heard = set()  # (mac, type, timestamp)
        credentials = pika.PlainCredentials("fleet", "fleet")
        self._where = pika.ConnectionParameters(
            host, credentials=credentials, heartbeat=10, blocked_connection_timeout=10
        )

    def run(self):
        while True:
            try:
                with pika.BlockingConnection(self._where) as connection:
                    self._consume(connection.channel())
            except pika.exceptions.AMQPError:
                time.sleep(1)

    def _consume(self, channel):
        channel.queue_declare(
            QUEUE,
            durable=True,
            arguments={"x-queue-type": "quorum", "x-max-length-bytes": QUEUE_LIMIT},
        )
        channel.queue_bind(QUEUE, EXCHANGE, ROUTING_KEY)
        channel.basic_qos(prefetch_count=20)
        self.ready.set()
        for method, _, body in channel.consume(QUEUE):
            report = json.loads(body)
            self.heard.add((report["macaddr"], report["type"], report["timestamp"]))
            channel.basic_ack(method.delivery_tag)


class SharedQueue:
    def __init__(self, host):
        self.consumers = [Consumer(host) for _ in range(2)]

    def start(self):
        for consumer in self.consumers:
            consumer.start()
            if not consumer.ready.wait(30):
                raise Unmet("a consumer of the shared queue does not reach it")

    def compare(self, heard):
        """With what another controller heard by MQTT: it must all have come, and to both."""
        deadline = time.monotonic() + LATE_S
        while time.monotonic() < deadline and heard - self._union():
            time.sleep(0.1)
        lost = heard - self._union()
        if lost:
            raise Unmet(f"{len(lost)} reports did not come by the shared queue: {list(lost)[:3]}")
        shares = [len(consumer.heard) for consumer in self.consumers]
        if not all(shares):
            raise Unmet(f"the consumers do not share the reports: {shares}")
        twice = sum(shares) - len(self._union())
        return (
            f"{shares[0]} and {shares[1]}, {twice} of them both; none missing, "
            f"{len(self._union() - heard)} that the MQTT controller missed"
        )

    def _union(self):
        return set().union(*(consumer.heard.copy() for consumer in self.consumers))
