"""Whatever arrives on the command topic: a line in the log, and the next command is answered."""
import json

from harness import SYSTEM_STATS

MEGABYTE = 1 << 20
PARSE_ERROR = r"^inet_recv_request\(\) json parse error, "
NO_TYPE = r"^map_json_field_to_value\(\): (NULL jobj|field_name type not found)$"
UNKNOWN = "^qv_agent_controller_thread: unknown msg type$"
HEADER = "^hdr.type: -?[0-9]+, hdr.ts: [0-9]+$"


def typed(value, **more):
    return json.dumps({"type": value, "timestamp": 1, **more}).encode()


# The message, and the line that it must leave.
INPUTS = {
    "not JSON": (b"not json at all", PARSE_ERROR),
    "cut": (b'{"type":1034,"timest', PARSE_ERROR),
    "empty": (b"", r"^qv/device_[0-9a-f:]{17} \(null\)$"),
    "deep": (b"[" * 100000, PARSE_ERROR),
    "deep member": (b'{"type":' + b"[" * 5000 + b"]" * 5000 + b"}", PARSE_ERROR),
    "megabyte of text": (b"x" * MEGABYTE, PARSE_ERROR),
    "megabyte string": (typed(1999, data="x" * MEGABYTE), UNKNOWN),
    "binary": (bytes(range(256)), PARSE_ERROR),
    "only NUL": (b"\0", PARSE_ERROR),
    "embedded NUL": (b'{"type":1999,\0"timestamp":1}', PARSE_ERROR),
    "NUL behind": (typed(1999) + b"\0tail", UNKNOWN),
    "array": (b"[1034]", NO_TYPE),
    "number": (b"1034", NO_TYPE),
    "null": (b"null", NO_TYPE),
    "no type": (b'{"timestamp":1}', NO_TYPE),
    "type text": (typed("ten thirty-four"), HEADER),
    "type object": (typed({"a": 1}), HEADER),
    "type array": (typed([1034]), HEADER),
    "type null": (typed(None), HEADER),
    "type huge": (b'{"type":99999999999999999999,"timestamp":1}', UNKNOWN),
    "type negative": (typed(-1), UNKNOWN),
    "type below range": (typed(999), UNKNOWN),
    "timestamp text": (b'{"type":1999,"timestamp":"soon"}', UNKNOWN),
    "timestamp missing": (b'{"type":1999}', "^hdr.type: 1999, hdr.ts: 0$"),
    "bad UTF-8": (b'{"type":1999,"timestamp":1,"data":"\xff\xfe"}', UNKNOWN),
    "percent signs": (b"%n%s%n%s%n", PARSE_ERROR),
}


def test_bad_input_leaves_a_line_and_a_working_agent(controller, agent):
    for name, (message, line) in INPUTS.items():
        mark, reports = agent.log.mark(), controller.reports.mark()
        controller.send(message, valid=False)
        controller.send({"type": 1034, "timestamp": 4711})
        agent.wait_line("^hdr.type: 1034, hdr.ts: 4711$", 5, mark)
        controller.wait_report(SYSTEM_STATS, 5, reports)
        agent.wait_line(line, 2, mark)
        assert agent.process.poll() is None, name


def test_unreadable_message_is_no_first_contact(controller, agent):
    """Announcements end with a command, not with noise."""
    for message in (b"noise", b"{}", b"[]", b""):
        controller.send(message, valid=False)
    agent.wait_line(r" \(null\)$", 3)
    mark = controller.reports.mark()
    controller.wait_report(1000, 7, mark)
    controller.wait_report(1000, 7, mark, count=2)


def test_burst_is_answered_whole_and_in_order(controller, agent):
    count = 500
    for number in range(count):
        controller.send({"type": 1034, "timestamp": number})
    agent.wait_line(f"^hdr.type: 1034, hdr.ts: {count - 1}$", 20)
    controller.wait_report(SYSTEM_STATS, 20, count=count)
    seen = [int(line.rsplit(" ", 1)[1]) for _, line in agent.lines("^hdr.type: 1034,")]
    assert seen == list(range(count))
