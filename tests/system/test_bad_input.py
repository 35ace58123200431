"""Whatever arrives on the command topic: a line in the log, and the next command is answered."""
import json

from harness import EASE_S, SYSTEM_STATS

MEGABYTE = 1 << 20
PARSE_ERROR = r"^inet_recv_request\(\) json parse error, "
NO_TYPE = r"^map_json_field_to_value\(\): (NULL jobj|field_name type not found)$"
UNKNOWN = "^qv_agent_controller_thread: unknown msg type$"
HEADER = "^hdr.type: -?[0-9]+, hdr.ts: [0-9]+$"


def typed(value, **more):
    return json.dumps({"type": value, "timestamp": 1, **more}).encode()


# The message, and the line that it must leave.
INPUTS = [
    (b"%n%s%n not json at all", PARSE_ERROR),
    (b"", r"^qv/device_[0-9a-f:]{17} \(null\)$"),
    (b"[" * 100000, PARSE_ERROR),
    (typed(1999, data="x" * MEGABYTE), UNKNOWN),
    (bytes(range(256)), PARSE_ERROR),
    (b"null", NO_TYPE),
    (typed("ten thirty-four"), HEADER),
    (b'{"type":99999999999999999999,"timestamp":1}', UNKNOWN),
]


def test_bad_input_leaves_a_line_and_a_working_agent(controller, agent):
    for message, line in INPUTS:
        mark, reports = agent.log.mark(), controller.reports.mark()
        controller.send(message, valid=False)
        controller.send({"type": 1034, "timestamp": 4711})
        agent.wait_line("^hdr.type: 1034, hdr.ts: 4711$", EASE_S, mark)
        controller.wait_report(SYSTEM_STATS, EASE_S, reports)
        agent.wait_line(line, 2, mark)
        assert agent.process.poll() is None, message[:80]
