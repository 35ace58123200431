"""Every command of docs/protocol, sent as its example says, is answered as the document says."""
import json

import contract
import harness

IMAGE = b"a firmware image"  # the examples name its sum
PORT = '"8080"'  # in the examples; the test's server takes any

# The last of several reports.
LAST_STATUS = {1002: 203, 1032: 203, 1033: 2}


def answer_type(number):
    reply = contract.OPERATIONS[f"command{number}"].get("reply")
    return reply and int(reply["messages"][0]["$ref"].rpartition("report")[2])


def send_alone(controller, number, command):
    """Waits for the report that answers the command, if one must; no report of another kind follows
    until that which ends the wait."""
    mark, kind = controller.reports.mark(), answer_type(number)

    def wanted(report):
        status = report["data"].get("updata_stats")
        return report["type"] == kind and status in (None, LAST_STATUS.get(number))

    controller.send(command)
    if kind is not None:
        controller.reports.wait(wanted, harness.EASE_S, mark, what=f"report {kind}")
    if number in LAST_STATUS:  # a job may still hold the device for a moment
        return
    controller.send(1034)
    controller.wait_report(1003, harness.EASE_S, mark, count=1 + (number == 1034))
    kinds = {seen["type"] for _, seen in controller.reports.items(mark)}
    assert kinds <= {1003, kind}, number


def test_commands_are_answered_as_the_contract_says(controller, wifi_manager, agent, images):
    images.image = IMAGE
    wifi_manager.restart("--still")
    # Right behind one: the next is not on its way when the first command is sent.
    controller.wait_report(harness.DISCOVERY, harness.EASE_S, controller.reports.mark())
    # Those that end the session, or hold the device for longest, come behind the others.
    last = (contract.RECONNECTING, LAST_STATUS)
    for number in sorted(contract.EXAMPLES, key=lambda number: [number in them for them in last]):
        example = json.dumps(contract.EXAMPLES[number]).replace(PORT, f'"{images.port}"')
        command = json.loads(example)
        if number not in contract.RECONNECTING:
            send_alone(controller, number, command)
        elif kind := answer_type(number):  # and the one before asked for a new session, too
            controller.ask_until_answered(command, kind)
        else:
            controller.send(command)
