"""The broker link secured by files in /etc/qvagent: who gets in, who does not and why, and that a
device which has such files never says a word in plain text."""
import contextlib
import os
import shutil
import signal
import ssl
import subprocess
import time

import harness
import stand_ins
import pytest
import secured
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, poll
from secured import FOLDER, certify

NAME = "broker.test"
SECURED = ("ca.pem", "client.pem", "client.key")
FAILED = "^QV_ERR: TLS handshake failed: "

# The broker's listeners beside the plain one, and whose certificates they have. The last one alone
# demands those of devices, and takes the user name from them.
OPEN, LAPSED, LATER, STRICT = range(8883, 8887)
LISTENERS = [
    (OPEN, "127.0.0.1", "good"),
    (OPEN, "::1", "strange"),
    (LAPSED, "127.0.0.1", "lapsed"),
    (LATER, "127.0.0.1", "later"),
    (STRICT, "127.0.0.1", "good"),
]


@pytest.fixture(autouse=True)
def as_built(request):
    without_tls = os.environ.get("QV_TLS") == "0"
    if without_tls != (request.function is test_built_without_tls):
        pytest.skip("for agents that are built the other way")


@pytest.fixture(scope="module")
def made(tmp_path_factory):
    top = tmp_path_factory.mktemp("made")
    certify(top / "good", NAME, "127.0.0.1")
    certify(top / "good", "--device", "first", "second")
    certify(top / "good", "--device", "young", begin=2025)
    certify(top / "good", "--device", "issued")
    with open(top / "good/issued.pem", "a", encoding="ascii") as chain:
        chain.write((top / "good/young.pem").read_text())
    for folder, dates in (("lapsed", {"end": 2024}), ("later", {"begin": 2047})):
        shutil.copytree(top / "good", top / folder)
        certify(top / folder, "127.0.0.1", **dates)
    certify(top / "strange", NAME, "localhost")
    subprocess.run(["mosquitto_passwd", "-b", "-c", top / "users", "known", "secret"], check=True)
    return top


@pytest.fixture
def broker(made, stopped_broker, tmp_path):
    lines = [f"password_file {made}/users"]
    for port, address, folder in LISTENERS:
        lines += [f"listener {port} {address}", f"cafile {made}/good/ca.pem"]
        lines += [f"certfile {made}/{folder}/server.pem", f"keyfile {made}/{folder}/server.key"]
    lines += ["require_certificate true", "use_identity_as_username true"]
    stopped_broker.CONFIG = tmp_path / "mosquitto.conf"
    stopped_broker.CONFIG.write_text("\n".join(lines) + "\n" + harness.Broker.CONFIG.read_text())
    return stopped_broker.start()


@pytest.fixture
def install(made, store):
    def put(*names, device="first", authority="good"):
        secured.install(made / authority, device, names)

    return put


@pytest.fixture
def start_in(start_agent):
    """Starts an agent whose clock shows that year, or the machine's with none."""

    def start(year):
        if year is None:
            return start_agent()
        if harness.emulated():
            pytest.skip("a native library cannot be preloaded")
        clock = harness.SteppedClock()
        clock.step((year - 1970) * 365.25 * 86400 + 86400 - time.time())
        return start_agent(**clock.environment())

    return start


def lead(port, host="127.0.0.1"):
    """Where the agent's next attempt goes."""
    for key, value in (("host", host), ("port", port)):
        old = harness.store_option("system", "broker", key)
        harness.edit_store("system", f"option {key} '{old}'", f"option {key} '{value}'")


def sessions(broker, user):
    """Accepted ones of the agent, with that user name."""
    user = f", u'{user}'" if user else ""
    return broker.count(rf"New client connected from \S+ as auto-\S+ \(p2, c1, k15{user}\)")


@pytest.mark.parametrize(
    "names, year, port, user",
    [
        (("ca.pem",), 1970, OPEN, None),
        (SECURED, None, STRICT, "first"),
        ((*SECURED, "login"), None, OPEN, "known"),
        (("login",), None, 1883, "known"),
    ],
)
def test_admitted(broker, controller, wifi_manager, start_in, install, names, year, port, user):
    install(*names)
    lead(port)
    agent = start_in(year)
    controller.wait_report(DISCOVERY, EASE_S)
    controller.ask(1034, SYSTEM_STATS)
    assert sessions(broker, user) == 1
    assert not agent.lines("^QV_ERR: ")


@pytest.mark.parametrize(
    "names, fault, line",
    [
        (SECURED[1:], ":", "client.pem without .*/ca.pem$"),
        (("client.key",), ":", "client.key without .*/ca.pem$"),
        (("ca.pem", "client.pem"), ":", "client.pem without .*/client.key$"),
        (("ca.pem", "client.key"), ":", "client.key without .*/client.pem$"),
        (("ca.pem",), "ln -sf nowhere ca.pem", "ca.pem is not a file"),
        (("ca.pem",), "rm ca.pem; rmdir $PWD; ln -s nowhere $PWD", "ca.pem is not a file"),
        (("ca.pem",), "rm ca.pem; mkfifo ca.pem", "ca.pem is not a file"),
        (("ca.pem",), "echo none >ca.pem", "ca.pem cannot be used: "),
        (SECURED, "echo none >client.pem", "client.pem cannot be used: "),
        (SECURED, "openssl genrsa -out client.key", "client.key cannot be used: "),
        (SECURED, "chmod 640 client.key", "client.key is open to others"),
        (("login",), "chmod 604 login", "login is open to others"),
        (("login",), "echo known >login", "login has no user name"),
        (("login",), "(echo; echo secret) >login", "login has no user name"),
        (("login",), "printf '\\377\\nsecret\\n' >login", "login cannot be used: "),
        (("login",), "(seq -s. 99; echo secret) >login", "login has no user name"),
    ],
)
def test_refused_without_a_connection(broker, start_agent, install, names, fault, line):
    install(*names)
    subprocess.run(fault, shell=True, cwd=FOLDER, check=True)
    lead(OPEN)
    agent = start_agent()
    agent.wait_line(rf"^QV_ERR: {FOLDER}/{line}", EASE_S)
    agent.wait_line("^COULD NOT CONNECT: ", EASE_S)
    assert len(agent.lines("^QV_ERR: ")) == 1
    assert broker.count(rf"New connection from \S+ on port {OPEN}") == 0


def test_built_without_tls(broker, start_agent, install):
    """Its ca.pem must not be passed over; a login needs no TLS."""
    install("ca.pem", "login")
    agent = start_agent()
    agent.wait_line(
        f"^QV_ERR: {FOLDER}/ca.pem asks for TLS, which this agent was built without$", EASE_S
    )
    agent.wait_line("^COULD NOT CONNECT: ", EASE_S)
    assert broker.agent_sessions() == 0
    (FOLDER / "ca.pem").unlink()
    poll(lambda: sessions(broker, "known") == 1, EASE_S, "session")


# Judged at the later of the clock and the youngest of the device's own certificates, which are of
# 2020 and, with that of "young", of 2025; so is what follows that of "issued".
@pytest.mark.parametrize(
    "authority, device, year, host, port, line",
    [
        ("strange", "", None, "127.0.0.1", OPEN, FAILED + "self.signed certificate in .* chain$"),
        ("good", "", None, "localhost", STRICT, FAILED + "hostname mismatch$"),
        ("strange", "", None, "::1", OPEN, FAILED + "IP address mismatch$"),
        ("good", "", None, "127.0.0.1", LAPSED, FAILED + "certificate has expired$"),
        ("good", "young", 1970, "127.0.0.1", LAPSED, FAILED + "certificate has expired$"),
        ("good", "issued", 1970, "127.0.0.1", LAPSED, FAILED + "certificate has expired$"),
        ("good", "", 1970, "127.0.0.1", LATER, FAILED + "certificate is not yet valid$"),
        ("good", "", None, "127.0.0.1", STRICT, "^QV_ERR: TLS session .* certificate required$"),
    ],
)
def test_refused_in_the_handshake(
    broker, start_in, install, authority, device, year, host, port, line
):
    install(*(SECURED if device else SECURED[:1]), device=device, authority=authority)
    lead(port, host)
    agent = start_in(year)
    agent.wait_line(line, EASE_S)
    agent.wait_line("^COULD NOT CONNECT: 8$|^Disconnected", EASE_S)
    assert len(agent.lines("^QV_ERR: ")) == 1
    assert broker.agent_sessions() == 0


def test_name_of_two_addresses(broker, start_agent, install, system_file):
    """Behind the first is a broker of that name whose issuer the device does not know."""
    system_file("/etc/hosts", f"::1 {NAME}\n127.0.0.1 {NAME}\n")
    install("ca.pem")
    lead(OPEN, NAME)
    agent = start_agent()
    broker.wait_subscribed()
    assert len(agent.lines("^QV_ERR: |^COULD")) == len(agent.lines(FAILED + "unable to get")) == 1


def test_files_are_read_for_each_session(broker, controller, start_agent, install):
    """Those of another device, none, and the first ones again, beside a session and after a fault."""
    install(*SECURED)
    lead(STRICT)
    agent = start_agent()
    broker.wait_subscribed()
    for number, names, port, user in ((2, SECURED, STRICT, "second"), (3, (), 1883, None)):
        install(*names, device="second")
        lead(port)
        controller.send(1014)
        broker.wait_subscribed(number)
        assert sessions(broker, user) == 1
    install(*SECURED[1:])
    controller.send(1014)
    agent.wait_line("^COULD NOT CONNECT: 8$", EASE_S)
    lead(STRICT)
    install(*SECURED)
    poll(lambda: sessions(broker, "first") == 2, EASE_S, "session of first")


def speak_plain(connection, *_):
    connection.sendall(bytes.fromhex("20 02 00 00 90 03 00 01 00"))  # CONNACK, SUBACK


def reset(connection, *_):
    stand_ins.PacketSession(connection).reset()


def reset_after_answer(connection, hello, folder, agent):
    """The device, held until then, finds no connection for its next message of the handshake."""
    context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
    context.load_cert_chain(folder / "server.pem", folder / "server.key")
    heard, answer = ssl.MemoryBIO(), ssl.MemoryBIO()
    heard.write(hello)
    with contextlib.suppress(ssl.SSLWantReadError):
        context.wrap_bio(heard, answer, server_side=True).do_handshake()
    agent.process.send_signal(signal.SIGSTOP)
    os.waitpid(agent.process.pid, os.WUNTRACED)
    connection.sendall(answer.read())
    reset(connection)
    agent.process.send_signal(signal.SIGCONT)


def dawdle(connection, *_):
    """A message of the handshake that has no end."""
    connection.sendall(bytes.fromhex("16 03 03 40 00 02 00 3f fc"))
    while True:
        time.sleep(0.3)
        connection.sendall(b"\0")


@pytest.mark.parametrize(
    "meet, line, seconds",
    [
        (speak_plain, FAILED + "wrong version number$", 0),
        (lambda connection, *_: connection.close(), FAILED, 0),
        (reset, FAILED + "connection lost$", 0),
        (reset_after_answer, FAILED + "connection lost$", 0),
        (dawdle, FAILED + "no answer in time$", 10),
    ],
)
def test_no_word_to_others(made, start_agent, install, meet, line, seconds):
    """Nor is a handshake awaited for longer than an attempt may last, or the agent's end may."""
    heard, started = [], []

    def listen(connection):
        heard.append(connection.recv(4096))
        poll(lambda: started, EASE_S, "agent")
        meet(connection, heard[-1], made / "strange", *started)

    install("ca.pem", "login", authority="strange")
    lead(1883, "localhost")
    listener = stand_ins.StandInBroker(listen)
    try:
        agent = start_agent()
        started.append(agent)
        agent.wait_line(line, seconds + EASE_S)
        poll(lambda: len(heard) == 2, EASE_S, "second attempt")
        status, took = agent.stop()
    finally:
        listener.close()
    assert (status, took < 3) == (0, True)
    assert harness.gaps(listener.accepted)[0] > seconds + 1.5
    assert all(hello[0] == 0x16 and b"localhost" in hello for hello in heard)  # the name, for SNI
    assert not any(b"MQTT" in hello or b"secret" in hello for hello in heard)
