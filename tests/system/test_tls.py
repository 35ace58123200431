"""The broker link secured by files in /etc/qvagent: who gets in, who does not and why, and that a
device which has such files never says a word in plain text."""
import os
import pathlib
import shutil
import socket
import subprocess
import time

import harness
import pytest
from harness import DISCOVERY, SYSTEM_STATS, PacketSession, poll

FOLDER = harness.ZENDRY_ROOT / "etc/qvagent"
SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "scripts/make-certificates"
NAME = "broker.test"
LOGIN = "known\nsecret\n"
SECURED = ("ca.pem", "client.pem", "client.key")
FAILED = "^QV_ERR: TLS handshake failed: "

# The broker's listeners beside the plain one, and whose certificates they have. The last one alone
# demands those of devices, and takes the user name from them.
OPEN, LAPSED, LATER, ISSUER_LAPSED, TWOFOLD, STRICT = range(8883, 8889)
LISTENERS = [
    (OPEN, "127.0.0.1", "good"),
    (LAPSED, "127.0.0.1", "lapsed"),
    (LATER, "127.0.0.1", "later"),
    (ISSUER_LAPSED, "127.0.0.1", "issuer_lapsed"),
    (TWOFOLD, "127.0.0.1", "good"),
    (TWOFOLD, "::1", "strange"),
    (STRICT, "127.0.0.1", "good"),
]


@pytest.fixture(autouse=True)
def as_built(request):
    with_tls = os.environ.get("QV_TLS") != "0"
    if with_tls == (request.function is test_built_without_tls):
        pytest.skip("for agents that are built the other way")


@pytest.fixture(scope="module")
def made(tmp_path_factory):
    top = tmp_path_factory.mktemp("made")

    def make(folder, *arguments, begin=2020, end=2048):
        dates = ["--from", f"{begin}0101000000Z", "--to", f"{end}0101000000Z"]
        subprocess.run([SCRIPT, top / folder, *arguments, *dates], check=True)

    make("good", NAME, "127.0.0.1")
    make("good", "--device", "first", "second")
    make("good", "--device", "young", begin=2025)
    for folder, dates in (("lapsed", {"end": 2024}), ("later", {"begin": 2047})):
        shutil.copytree(top / "good", top / folder)
        make(folder, "127.0.0.1", **dates)
    make("issuer_lapsed", end=2024)
    make("issuer_lapsed")
    make("strange", NAME)
    locked = ["-aes128", "-passout", "pass:secret", "-out", top / "good/locked.key"]
    subprocess.run(["openssl", "ec", "-in", top / "good/first.key", *locked], check=True)
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
    """Puts files into the folder in place of all that it had."""

    def put(*names, device="first", authority="good"):
        shutil.rmtree(FOLDER, ignore_errors=True)
        FOLDER.mkdir()
        for name in names:
            if name == "login":
                (FOLDER / name).touch(0o600)
                (FOLDER / name).write_text(LOGIN)
            else:
                shutil.copy(made / authority / name.replace("client", device), FOLDER / name)

    yield put
    shutil.rmtree(FOLDER, ignore_errors=True)


def lead(port, host="127.0.0.1"):
    """Where the agent's next attempt goes."""
    for key, value in (("host", host), ("port", port)):
        old = harness.store_option("system", "broker", key)
        harness.edit_store("system", f"option {key} '{old}'", f"option {key} '{value}'")


def sessions(broker, user=""):
    """Accepted ones of the agent, with that user name."""
    user = f", u'{user}'" if user else ""
    return broker.count(rf"New client connected from \S+ as auto-\S+ \(p2, c1, k15{user}\)")


@pytest.mark.parametrize(
    "names, port, user",
    [
        (("ca.pem",), OPEN, None),
        (("ca.pem", "login"), OPEN, "known"),
        (SECURED, OPEN, None),
        (SECURED, STRICT, "first"),
        ((*SECURED, "login"), OPEN, "known"),
        (("login",), 1883, "known"),
    ],
)
def test_admitted(broker, controller, wifi_manager, start_agent, install, names, port, user):
    install(*names)
    lead(port)
    agent = start_agent()
    controller.wait_report(DISCOVERY, 5)
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, 3)
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
        (("ca.pem",), "rm ca.pem; mkdir ca.pem", "ca.pem is not a file"),
        (("ca.pem",), "echo none >ca.pem", "ca.pem cannot be used: "),
        (SECURED, "echo none >client.pem", "client.pem cannot be used: "),
        (SECURED, "echo none >client.key", "client.key cannot be used: "),
        (SECURED, "cat $MADE/second.key >client.key", "client.key cannot be used: key values"),
        (SECURED, "cat $MADE/locked.key >client.key", "client.key cannot be used: "),
        (SECURED, "chmod 640 client.key", "client.key is open to others"),
        (("login",), "chmod 604 login", "login is open to others"),
        (("login",), ": >login", "login has no user name"),
        (("login",), "echo known >login", "login has no user name"),
        (("login",), "(echo; echo secret) >login", "login has no user name"),
        (("login",), "printf '\\377\\nsecret\\n' >login", "login cannot be used: "),
        (("login",), "(seq -s. 99; echo secret) >login", "login has no user name"),
    ],
)
def test_refused_without_a_connection(broker, start_agent, install, made, names, fault, line):
    install(*names)
    subprocess.run(fault, shell=True, cwd=FOLDER, env={"MADE": f"{made}/good"}, check=True)
    lead(OPEN)
    agent = start_agent()
    agent.wait_line(rf"^QV_ERR: {FOLDER}/{line}", 5)
    agent.wait_line("^COULD NOT CONNECT: ", 1)
    assert len(agent.lines("^QV_ERR: ")) == 1
    assert broker.count(rf"New connection from \S+ on port {OPEN}") == 0


def test_built_without_tls(broker, start_agent, install):
    """Its ca.pem must not be passed over; a login needs no TLS."""
    install("ca.pem", "login")
    agent = start_agent()
    agent.wait_line(
        rf"^QV_ERR: {FOLDER}/ca.pem asks for TLS, which this agent was built without$", 5
    )
    agent.wait_line("^COULD NOT CONNECT: ", 1)
    assert broker.agent_sessions() == 0
    (FOLDER / "ca.pem").unlink()
    poll(lambda: sessions(broker, "known") == 1, 4, "session")


@pytest.mark.parametrize(
    "authority, host, port, line",
    [
        ("strange", "127.0.0.1", OPEN, FAILED + "self.signed certificate in certificate chain$"),
        ("good", "localhost", OPEN, FAILED + "hostname mismatch$"),
        ("strange", "::1", TWOFOLD, FAILED + "IP address mismatch$"),
        ("good", "127.0.0.1", LAPSED, FAILED + "certificate has expired$"),
        ("good", "127.0.0.1", LATER, FAILED + "certificate is not yet valid$"),
        ("issuer_lapsed", "127.0.0.1", ISSUER_LAPSED, FAILED + "certificate has expired$"),
        ("good", "127.0.0.1", STRICT, "^QV_ERR: TLS session ended .* certificate required$"),
        ("good", "127.0.0.1", 1883, FAILED),
    ],
)
def test_refused_in_the_handshake(broker, start_agent, install, authority, host, port, line):
    install("ca.pem", authority=authority)
    lead(port, host)
    agent = start_agent()
    agent.wait_line(line, 5)
    agent.wait_line("^COULD NOT CONNECT: 8$|^Disconnected", 1)
    assert len(agent.lines("^QV_ERR: ")) == 1
    assert broker.agent_sessions() == 0


# Judged at the later of the clock and the youngest of the device's own certificates, which are of
# 2020 and, with that of "young", of 2025.
@pytest.mark.skipif(harness.emulated(), reason="a native library cannot be preloaded")
@pytest.mark.parametrize(
    "year, device, port, line",
    [
        (1970, None, OPEN, None),
        (1970, None, LAPSED, None),
        (1970, "young", OPEN, None),
        (1970, "young", LAPSED, FAILED + "certificate has expired$"),
        (1970, None, LATER, FAILED + "certificate is not yet valid$"),
        (2030, "young", OPEN, None),
        (2049, None, OPEN, FAILED + "certificate has expired$"),
    ],
)
def test_clock(broker, start_agent, install, year, device, port, line):
    clock = harness.SteppedClock()
    clock.step((year - 1970) * 365.25 * 86400 + 86400 - time.time())
    install(*(SECURED if device else SECURED[:1]), device=device or "")
    lead(port)
    agent = start_agent(**clock.environment())
    if line is None:
        broker.wait_subscribed(timeout=5)
    else:
        agent.wait_line(line, 5)
        assert broker.agent_sessions() == 0


def test_name_of_two_addresses(broker, start_agent, install, system_file):
    """Behind the first is a broker of that name whose issuer the device does not know."""
    system_file("/etc/hosts", f"::1 {NAME}\n127.0.0.1 {NAME}\n")
    install("ca.pem")
    lead(TWOFOLD, NAME)
    agent = start_agent()
    broker.wait_subscribed(timeout=5)
    assert len(agent.lines("^QV_ERR: |^COULD")) == len(agent.lines(FAILED + "unable to get")) == 1


def test_files_are_read_for_each_session(broker, controller, start_agent, install):
    """Those of another device, none, and the first ones again, beside a session and after a fault."""
    install(*SECURED)
    lead(STRICT)
    agent = start_agent()
    broker.wait_subscribed(1)
    for names, device, port, user in (
        (SECURED, "second", STRICT, "second"),
        ((), "", 1883, None),
    ):
        install(*names, device=device)
        lead(port)
        controller.send(1014)
        poll(lambda: sessions(broker, user) == 1, 8, f"session of {user}")
    install(*SECURED[1:])
    controller.send(1014)
    agent.wait_line("^COULD NOT CONNECT: 8$", 8)
    lead(STRICT)
    install(*SECURED)
    poll(lambda: sessions(broker, "first") == 2, 8, "session of first")


def speaks_plain(connection):
    connection.sendall(bytes.fromhex("20 02 00 00 90 03 00 01 00"))  # CONNACK, SUBACK


def dawdles(connection):
    """A message of the handshake that has no end."""
    connection.sendall(bytes.fromhex("16 03 03 40 00 02 00 3f fc"))
    while True:
        time.sleep(0.3)
        connection.sendall(b"\0")


@pytest.mark.parametrize(
    "meet, line, seconds",
    [
        (speaks_plain, FAILED + "wrong version number$", 0),
        (socket.socket.close, FAILED, 0),
        (lambda connection: PacketSession(connection).reset(), FAILED, 0),
        (dawdles, FAILED + "no answer in time$", 10),
    ],
)
def test_no_word_to_others(start_agent, install, meet, line, seconds):
    """Nor is a handshake awaited for longer than an attempt may last, or the agent's end may."""
    heard = []

    def listen(connection):
        heard.append(connection.recv(4096))
        meet(connection)

    install("ca.pem", "login")
    lead(1883, "localhost")
    listener = harness.StandInBroker(listen)
    try:
        agent = start_agent()
        agent.wait_line(line, seconds + 2)
        poll(lambda: len(heard) == 2, 4, "second attempt")
        status, took = agent.stop()
    finally:
        listener.close()
    assert (status, took < 3) == (0, True)
    assert harness.gaps(listener.accepted)[0] > seconds + 1.9
    assert all(hello[0] == 0x16 and b"localhost" in hello for hello in heard)  # the name, for SNI
    assert not any(b"MQTT" in hello or b"secret" in hello for hello in heard)
