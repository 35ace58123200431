"""Clock, administrator password, equipment notes and wifi reload, as the device's tools and the
configuration store see them."""
import pathlib
import re
import time

from harness import ZENDRY_ROOT, poll, set_tool, tool_calls

CANARY = "/tmp/canary"

# As the tool must receive them.
PASSWORDS = ["abc", "\\';>/tmp/canary;'", "Áé密码"]


def general_data(command, text):
    return {"type": command, "timestamp": 1, "data": {"general_data": text}}


def test_passwords(controller, agent, device_tools):
    set_tool("passwd", 1)  # of no consequence
    controller.send(general_data(1016, f"\n>{CANARY}"), valid=False)
    for text in PASSWORDS:
        controller.send(general_data(1016, text))
    poll(lambda: len(tool_calls()) == len(PASSWORDS), 10, "calls of passwd")
    for text, call in zip(PASSWORDS, tool_calls()):
        assert call["args"] == ["admin"]
        assert call["stdin"].encode("utf-8", "surrogateescape").decode() == f"{text}\n{text}\n"
    assert len(agent.lines("^QV_ERR: password refused: ")) == 1
    plain = "(echo 'abc'; sleep 1; echo 'abc') | passwd 'admin' >/dev/null 2>&1"
    assert agent.lines(f"^QV: update password command: {re.escape(plain)}$")
    assert not pathlib.Path(CANARY).exists()


def test_clock_and_wifi(controller, agent, device_tools):
    # The command, and what it says in the device's own time zone. Seconds of 32 bits end in 2106.
    clocks = [1700000000999, 32503680000000]
    set_tool("date", 1)
    for timestamp in clocks:
        controller.send({"type": 1015, "timestamp": timestamp})
    controller.send({"type": 1015}, valid=False)
    controller.send(1021)
    poll(lambda: tool_calls()[-1:] == [{"tool": "wifi", "args": ["reload"]}], 10, "wifi reload")
    seconds = [timestamp // 1000 for timestamp in clocks]
    assert tool_calls()[:-1] == [
        {"tool": "date", "args": ["-s", time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(at))]}
        for at in seconds
    ]
    assert len(agent.lines("^QV_ERR: clock not set: ")) == 1


def stored_notes():
    lines = (ZENDRY_ROOT / "etc/config/system").read_text().splitlines()
    return next(line.split(maxsplit=2)[2] for line in lines if "equipment_notes" in line)


def shows_notes(report, stored):
    stats = report["data"].get("system_stats", {})
    return stats.get("equipment_notes") == stored.strip("'")


def test_notes(controller, agent):
    for given, stored, fits in (
        ("roof, east", "'roof, east'", True),
        ("n" * 30 + "é", f"'{'n' * 30}'", False),
    ):
        mark = agent.log.mark()
        controller.send(general_data(1017, given), valid=fits)
        agent.wait_in_order(
            ["QV: update equipment_notes data: "] * 2
            + [f"qv_set_equipment_notes: uci{c}" for c in ("Init", "Set", "Commit", "Destroy")]
            + ["process_msg->type 1017", "qv_agent_controller_thread: unknown msg type"],
            3,
            mark,
        )
        cut = agent.lines(r"^QV_INFO: equipment_notes cut from 32 to 30 bytes$", mark)
        assert len(cut) == (not fits)
        assert stored_notes() == stored
        controller.send(1034)
        controller.reports.wait(lambda report: shows_notes(report, stored), 3, what="notes shown")
    mark = agent.log.mark()
    controller.send({"type": 1017, "timestamp": 1})
    agent.wait_line("^qv_set_equipment_notes: uciDestroy$", 3, mark)
    assert stored_notes() == "''"
