"""Every command of docs/protocol, sent as its example says, is answered as the document says."""
import json

import contract
import firmware
import harness

IMAGE = b"a firmware image"  # the examples name its sum
PORT = '"8080"'  # in the examples; the test's server takes any

# The last of several reports.
LAST_STATUS = {1002: 203, 1032: 203, 1033: 2}


def answer_type(number):
    reply = contract.OPERATIONS[f"command{number}"].get("reply")
    return reply and int(reply["messages"][0]["$ref"].rpartition("report")[2])


def send(controller, number, command):
    """Waits for the report that answers the command, if one must."""
    mark, kind = controller.reports.mark(), answer_type(number)
    controller.send(command)
    if kind is None:
        return

    def wanted(report):
        status = report["data"].get("updata_stats")
        return report["type"] == kind and status in (None, LAST_STATUS.get(number))

    controller.reports.wait(wanted, 5, mark, what=f"report {kind}")


def send_alone(controller, number, command):
    """As send, and no report of another kind follows until that which ends the wait."""
    mark = controller.reports.mark()
    send(controller, number, command)
    if number in LAST_STATUS:  # a job may still hold the device for a moment
        return
    controller.send(1034)
    controller.wait_report(1003, 5, mark, count=1 + (number == 1034))
    kinds = {seen["type"] for _, seen in controller.reports.items(mark)}
    assert kinds <= {1003, answer_type(number)}, number


def send_until_heard(controller, number, command):
    """A command may fall between two sessions when the one before it asked for a new one."""
    for _ in range(2):
        try:
            return send(controller, number, command)
        except harness.Deadline:
            pass
    return send(controller, number, command)


def test_commands_are_answered_as_the_contract_says(controller, wifi_manager, agent, images):
    images.image = IMAGE
    firmware.BOARD.write_text(firmware.ROOTFS_BOARDS[0] + "\n")
    wifi_manager.restart("--still")
    controller.wait_report(harness.DISCOVERY, 8)
    # Those that end the session, or hold the device for longest, come behind the others.
    last = (contract.RECONNECTING, LAST_STATUS)
    for number in sorted(contract.EXAMPLES, key=lambda number: [number in them for them in last]):
        example = json.dumps(contract.EXAMPLES[number]).replace(PORT, f'"{images.port}"')
        speak = send_until_heard if number in contract.RECONNECTING else send_alone
        speak(controller, number, json.loads(example))
