"""Clock, administrator password, equipment notes and wifi reload, as the device's tools and the
configuration store see them."""
import pathlib
import time

from harness import ZENDRY_ROOT, poll, set_tool, tool_calls


def general_data(command, text):
    return {"type": command, "timestamp": 1, "data": {"general_data": text}}


def test_tools(controller, agent, device_tools):
    set_tool("passwd", 1)  # of no consequence
    passwords = ["\\';>/tmp/canary;'", "Áé密码"]
    for text in passwords:
        controller.send(general_data(1016, text))
    # Time in the device's own zone. Seconds of 32 bits end in 2106.
    controller.send(general_data(1017, "roof, east"))
    controller.send({"type": 1015, "timestamp": 32503680000000})
    controller.send(1021)
    poll(lambda: tool_calls()[-1:] == [{"tool": "wifi", "args": ["reload"]}], 10, "wifi reload")
    *calls, clock, _ = tool_calls()
    for text, call in zip(passwords, calls, strict=True):
        assert call["args"] == ["admin"]
        assert call["stdin"].encode("utf-8", "surrogateescape").decode() == f"{text}\n{text}\n"
    date = time.strftime("%Y-%m-%d %H:%M:%S", time.localtime(32503680000))
    assert clock == {"tool": "date", "args": ["-s", date]}
    assert not pathlib.Path("/tmp/canary").exists()
    assert "equipment_notes 'roof, east'" in (ZENDRY_ROOT / "etc/config/system").read_text()
