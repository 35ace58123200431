"""Many devices that come at once: how fast sessions with a subscription can be had."""
import asyncio
import dataclasses
import ssl
import struct
import time

# As an agent does it: so long for the TCP connection, again for the CONNACK, and until the
# keep-alive fails; then so long until the next attempt.
ATTEMPT_S, SILENCE_S, PAUSE_S = 10, 30, 2
LIMIT_S = 120  # for all together


@dataclasses.dataclass
class Burst:
    wanted: int
    times: list = dataclasses.field(default_factory=list)  # from the begin to each subscription
    failed: int = 0  # attempts

    def __str__(self):
        last = max(self.times, default=0.0)
        rate = len(self.times) / last if last else 0
        all_or = "all" if len(self.times) == self.wanted else f"only {len(self.times)}"
        return f"{all_or} in {last:.1f} s, {rate:.0f} per second, {self.failed} attempts failed"


def packet(kind, body):
    assert len(body) < 128
    return bytes([kind, len(body)]) + body


def text(value):
    return struct.pack(">H", len(value)) + value.encode()


CONNECT = packet(0x10, text("MQTT") + bytes([4, 2, 0, 60]) + text(""))  # clean session
CONNACK, SUBACK = (0x20, 4), (0x90, 5)


async def expect(reader, answer, limit):
    kind, length = answer
    reply = await asyncio.wait_for(reader.readexactly(length), limit)
    if reply[0] != kind or reply[-1] != 0:  # the return code, or the QoS granted
        raise ConnectionError(f"refused: {reply.hex()}")


async def subscribe(address, greeting, tls, topic, writers):
    """A connection that has subscribed."""
    connection = asyncio.open_connection(*address, ssl=tls)
    reader, writer = await asyncio.wait_for(connection, ATTEMPT_S)
    try:
        writer.write(greeting + CONNECT)
        await expect(reader, CONNACK, ATTEMPT_S)
        writer.write(packet(0x82, b"\0\1" + text(topic) + b"\0"))
        await expect(reader, SUBACK, SILENCE_S)
    except BaseException:
        writer.close()
        raise
    writers.append(writer)


def untrusting():
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_CLIENT)
    context.check_hostname, context.verify_mode = False, ssl.CERT_NONE
    return context


async def run(addresses, count, in_flight, greeting, tls):
    gate = asyncio.Semaphore(in_flight)
    result, writers = Burst(count), []
    begin = time.monotonic()

    async def device(number):
        address, topic = addresses[number % len(addresses)], f"qv/device_burst{number}"
        async with gate:
            while time.monotonic() < begin + LIMIT_S:
                try:
                    await subscribe(address, greeting, tls, topic, writers)
                    result.times.append(time.monotonic() - begin)
                    return
                except (OSError, asyncio.TimeoutError, asyncio.IncompleteReadError):
                    result.failed += 1
                    await asyncio.sleep(PAUSE_S)

    await asyncio.gather(*(device(number) for number in range(count)))
    for writer in writers:
        writer.close()
    return result


def burst(addresses, count, in_flight=None, greeting=b"", tls=False):
    """`count` sessions, no more than `in_flight` being made at any time, spread over the
    addresses (host and port)."""
    return asyncio.run(
        run(addresses, count, in_flight or count, greeting, untrusting() if tls else None)
    )
