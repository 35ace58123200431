"""Users of RabbitMQ nodes that know devices and controllers by their certificates, as definitions
that a node loads: each device hears its own commands and sends reports, a controller the reverse."""
import base64
import hashlib
import json
import os

REPORTS = r"^qv\.dev_to_controller$"
# What MQTT needs beside: a queue for each subscription, and the exchange between them.
QUEUES = "^mqtt-subscription-"
QUEUES_AND_EXCHANGE = rf"({QUEUES}|^amq\.topic$)"


def password_hash(password):
    salt = os.urandom(4)
    return base64.b64encode(salt + hashlib.sha256(salt + password.encode()).digest()).decode()


def user(name, password=None, tags=""):
    hashed = password_hash(password) if password else ""  # without one nobody gets in by password
    algorithm = "rabbit_password_hashing_sha256"
    return {"name": name, "password_hash": hashed, "hashing_algorithm": algorithm, "tags": tags}


def rights(name, configure, use):
    return {"user": name, "vhost": "/", "configure": configure, "write": use, "read": use}


def topics(name, write, read):
    return {"user": name, "vhost": "/", "exchange": "amq.topic", "write": write, "read": read}


def definitions(devices, controller, administrator):
    """`devices` and `controller` by common name; `administrator`: name and password, for AMQP."""
    return json.dumps(
        {
            "vhosts": [{"name": "/"}],
            "users": [
                user(*administrator, "administrator"),
                *(user(name) for name in [controller, *devices]),
            ],
            "permissions": [
                rights(administrator[0], ".*", ".*"),
                *(rights(name, QUEUES, QUEUES_AND_EXCHANGE) for name in [controller, *devices]),
            ],
            "topic_permissions": [
                topics(controller, r"^qv\.device_[0-9a-f:]{17}$", REPORTS),
                *(topics(name, REPORTS, r"^qv\.{username}$") for name in devices),
            ],
        },
        indent=1,
    )
