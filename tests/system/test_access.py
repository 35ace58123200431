"""Who gets to a broker that follows examples/broker, and what each may do there."""
import os
import shutil
import signal
import subprocess

import pytest
import secured
from harness import AP_DIR, REPORT_TOPIC, Broker, MqttClient
from stand_ins import PacketSession, StandInBroker
from harness import edit_store, poll
from qvctl import ANSWERED, ENVIRONMENT, MAC, NO_ANSWER, OTHER, QVCTL, REFUSED
from secured import PROJECT, certify

DEVICE, OTHER_DEVICE = f"device_{MAC}", f"device_{OTHER}"
AUTHORITY = AP_DIR / "authority"
NOT_AUTHORIZED = 0x87


class SecureBroker(Broker):
    """Follows the example, but for the place of its files and its log."""

    CONFIG = AP_DIR / "secure.conf"
    PORT = 8883

    def __init__(self):
        super().__init__()
        text = (PROJECT / "examples/broker/mosquitto.conf").read_text()
        kept = text.replace("/etc/mosquitto/qvagent", str(AUTHORITY))
        self.CONFIG.write_text(f"{kept}user root\nlog_type all\nlog_dest file {self.LOG}\n")


@pytest.fixture(scope="module")
def authority():
    certify(AUTHORITY)
    certify(AUTHORITY, "--device", DEVICE, OTHER_DEVICE)
    for _ in range(2):  # the second time renewed
        certify(AUTHORITY, "--controller", "noc", "late")
        for old in AUTHORITY.glob("late.*"):
            if not (kept := old.with_stem("early")).exists():
                shutil.copy(old, kept)
    rights = (AUTHORITY / "access").read_text()
    certify(AUTHORITY, "--device", "guest")
    (AUTHORITY / "access").write_text(rights)  # the guest has none


@pytest.fixture
def secure_broker(authority):
    broker = SecureBroker().start()
    yield broker
    broker.close()


def qvctl(*words, home="/nonexistent", **environment):
    done = subprocess.run(
        [QVCTL, "--timeout", "1", *words],
        env=ENVIRONMENT | {"XDG_CONFIG_HOME": str(home)} | environment,
        capture_output=True,
        text=True,
        timeout=20,
    )
    return done.returncode, done.stdout + done.stderr


def own(name):
    files = {"--cafile": "ca.pem", "--cert": f"{name}.pem", "--key": f"{name}.key"}
    return [str(word) for option, file in files.items() for word in (option, AUTHORITY / file)]


class Client(MqttClient):
    """Listens to everything, as far as the broker lets it."""

    def __init__(self, name, heard):
        def hear(message):
            heard.add((message.payload.decode(), message.topic, name))

        super().__init__(name, hear, "#")
        files = (AUTHORITY / file for file in ("ca.pem", f"{name}.pem", f"{name}.key"))
        self._client.tls_set(*files)
        self.connect(port=SecureBroker.PORT)

    def say(self, topic, text):
        self._client.publish(topic, text, qos=1).wait_for_publish(5)


def test_rights(secure_broker):
    """Everyone says its name on every topic, and listens to all of them."""
    heard = set()
    clients = {name: Client(name, heard) for name in (DEVICE, OTHER_DEVICE, "noc", "guest")}
    for topic in (REPORT_TOPIC, f"qv/{DEVICE}", f"qv/{OTHER_DEVICE}", "qv/guest", "qv/noc"):
        for name, client in clients.items():
            client.say(topic, name)
    rights = {
        (DEVICE, REPORT_TOPIC, "noc"),
        (OTHER_DEVICE, REPORT_TOPIC, "noc"),
        ("noc", f"qv/{DEVICE}", DEVICE),
        ("noc", f"qv/{OTHER_DEVICE}", OTHER_DEVICE),
    }
    poll(lambda: rights <= heard, 5, "what may be heard")
    for client in clients.values():
        client.close()  # what was still on its way has come
    assert heard == rights
    stranger = "02:00:00:00:00:9d"
    for name, device, status, piece in (
        ("noc", stranger, REFUSED, f"does not let commands be sent to {stranger}"),
        ("guest", MAC, REFUSED, "does not let commands be sent"),
        ("noc", MAC, NO_ANSWER, "the broker may also drop what one has no right to"),
    ):
        result, said = qvctl(*own(name), "-d", device, "get", "system")
        assert (result, piece in said) == (status, True), said


def test_who_gets_in(secure_broker):
    elsewhere = [*own("noc"), "-h", "127.0.0.2"]
    for words, piece in (
        (own("late"), "none"),
        (own("late")[:2], "certificate"),
        (elsewhere, "127.0.0.2:8883: host name verification failed"),
        ([*elsewhere, "--insecure"], "warning: --insecure: "),
        ([*elsewhere, "--insecure"], "none"),
    ):
        assert piece in qvctl(*words, "devices")[1]
    certify(AUTHORITY, "--revoke", "late")
    secure_broker.process.send_signal(signal.SIGHUP)
    for name in ("late", "early"):
        poll(lambda: "certificate" in qvctl(*own(name), "devices")[1], 5, "a refusal")


# Lines of the configuration file, environment and command line; then what qvctl says.
LOGINS = [
    ("", "", "", "Not authorized"),
    ("", "", "-u noc -P right", "none"),
    ("", "", "-P right", "a password without a user name"),
    ("", "", "-u noc --password-file @/password", "none"),
    ("# me\n\n-u noc\n--pw  right ", "", "", "none"),
    ("-u noc\n-P right", "QVCTL_PASSWORD=wrong", "", "Not authorized"),
    ("-u noc", "QVCTL_PASSWORD=wrong", "-P right", "none"),
    ("-h 127.0.0.9\n-p 9", "QVCTL_PORT=8", "-h 127.0.0.8", "127.0.0.8:8: Connection refused"),
    ("-h here\n--loud", "", "", "@/qvctl, line 2: --loud is unknown"),
    ("--json yes", "", "", "line 1: --json takes no value"),
    ("-p 65536", "", "", "line 1: --port: Value 65536 not in range"),
    ("", "", "--cafile @/missing", "@/missing: No such file"),
    ("", "", "--cert @/password", "--cert and --key go together"),
    ("--cert @/password\n--key @/password", "", "", "which --cafile turns on"),
]


def test_logins(tmp_path):
    passwords = tmp_path / "passwords"
    subprocess.run(["mosquitto_passwd", "-c", "-b", passwords, "noc", "right"], check=True)
    broker = Broker()
    text = Broker.CONFIG.read_text().replace("allow_anonymous true", f"password_file {passwords}")
    broker.CONFIG = tmp_path / "mosquitto.conf"
    broker.CONFIG.write_text(text)
    (tmp_path / "password").write_text("right\nand more\n")
    broker.start()
    faults = []
    for lines, variable, words, piece in LOGINS:
        (tmp_path / "qvctl").write_text(lines.replace("@", str(tmp_path)))
        environment = dict([variable.split("=")]) if variable else {}
        words = words.replace("@", str(tmp_path)).split()
        said = qvctl(*words, "devices", home=tmp_path, **environment)[1]
        if piece.replace("@", str(tmp_path)) not in said:
            faults.append((lines, variable, words, said))
    broker.close()
    assert not faults


@pytest.mark.parametrize("tells", [True, False])
def test_subscription_refused(tells):
    """As mosquitto's list of rights never does, but other brokers do, some by ending the session."""

    def refuse(connection):
        connection.recv(512)
        connection.sendall(bytes([0x20, 3, 0, 0, 0]))  # CONNACK of MQTT 5
        message = connection.recv(512)[2:4]
        if tells:
            connection.sendall(bytes([0x90, 4, *message, 0, NOT_AUTHORIZED]))
        else:
            connection.close()

    broker = StandInBroker(refuse)
    said = "" if tells else "ends the session, as when it "
    assert qvctl("devices") == (
        REFUSED,
        f"qvctl: broker localhost:1883: {said}does not let {REPORT_TOPIC} be read\n",
    )
    broker.close()


def test_subscription_refused_to_a_device(start_agent):
    """That the request went out is said before, and no more than that."""

    def refuse(connection):
        session = PacketSession(connection)
        session.accept()
        while len(session.packets) < 2:
            session.read_some()
        session.send(session.SUBACK, session.packets[1][1][:2] + b"\x80")

    broker = StandInBroker(refuse)
    agent = start_agent()
    agent.wait_line("^QV_ERR: the broker refuses the subscription, no command will come$", 5)
    assert len(agent.lines("^QV_ERR: |^Successfully subscribed")) == 2
    broker.close()


@pytest.mark.skipif(os.environ.get("QV_TLS") == "0", reason="for agents that speak TLS")
def test_device(secure_broker, wifi_manager, start_agent):
    """Behind its certificate a device serves its controller, outlives the broker, and is shut out
    when it is revoked."""

    def ask():
        return qvctl(*own("noc"), "--json", "-d", MAC, "get", "system")

    secured.install(AUTHORITY, DEVICE, ("ca.pem", "client.pem", "client.key"))
    edit_store("system", "option port '1883'", "option port '8883'")
    agent = start_agent()
    poll(lambda: ask()[0] == ANSWERED, 10, "an answer")
    secure_broker.kill()
    agent.wait_line("^COULD NOT CONNECT: 14$", 5)
    secure_broker.start()
    poll(lambda: ask()[0] == ANSWERED, 10, "an answer after the broker's return")
    certify(AUTHORITY, "--revoke", DEVICE)
    secure_broker.kill()
    secure_broker.start()
    agent.wait_line("^QV_ERR: TLS session ended by the broker: .* certificate revoked", 10)
    assert ask()[0] == REFUSED  # nobody writes to a device without a place in the list
