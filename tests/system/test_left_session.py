"""Commands that the agent has read when it leaves a session are carried out then, not whenever the
next session comes."""
import signal
import time

from firmware import flash, tools_called, wait_statuses
from harness import DISCOVERY, EASE_S, poll, set_tool

PASS_S = 5  # between two looks of the main loop at the state, on whole seconds of the clock
TOOL_S = PASS_S + 1
COMMANDS = 500  # no more than a socket holds
CLOCK = 1700000000000


def test_behind_a_flash(broker, controller, link, device_tools, linked_agent):
    """The session is left while the tool works, and there is no broker for a while."""
    set_tool("updata_rootfs.sh", delay=TOOL_S)
    controller.wait_report(DISCOVERY, EASE_S)
    mark, begin = controller.reports.mark(), time.monotonic()
    commands = (1014, flash(save_config=1), flash(), {"type": 1015, "timestamp": CLOCK})
    for command in commands:
        controller.send(command)
    poll(tools_called, EASE_S, "flashing tool")
    link.shut()
    time.sleep(1)
    set_tool("updata_rootfs.sh")  # what comes behind it is done at once
    poll(lambda: len(tools_called()) == 3, TOOL_S + EASE_S, "the commands behind the flash")
    assert time.monotonic() - begin > TOOL_S - 0.1
    assert [call.split()[0] for call in tools_called()] == ["updata_rootfs.sh"] * 2 + ["date"]
    assert (broker.agent_farewells(), len(link.accepted)) == (1, 1)
    link.open()
    wait_statuses(controller, mark, [2, 2])
    assert broker.agent_sessions() == 2


def test_in_the_moment_of_leaving(broker, controller, link, linked_agent):
    """Many commands are there, and hardly one is read, when the main loop asks for a new session."""
    announced, _ = linked_agent.wait_line("^sm->state:2$", EASE_S)
    due = announced + PASS_S
    controller.send(1014)
    linked_agent.wait_line("^process_msg->type 1014$", PASS_S)
    linked_agent.process.send_signal(signal.SIGSTOP)
    for number in range(1, COMMANDS + 1):
        controller.send({"type": 1000, "timestamp": number})
    link.shut()
    time.sleep(max(0, due - time.monotonic()))
    linked_agent.process.send_signal(signal.SIGCONT)
    linked_agent.wait_line(f"^hdr.type: 1000, hdr.ts: {COMMANDS}$", EASE_S)  # without a session
    mark = controller.reports.mark()
    link.open()
    broker.wait_subscribed(2)
    time.sleep(0.5)
    handled = linked_agent.lines("^hdr.type: 1000, hdr.ts: ")
    assert [int(line.split()[-1]) for _, line in handled] == list(range(1, COMMANDS + 1))
    controller.wait_report(DISCOVERY, EASE_S, mark)
    assert (broker.agent_sessions(), broker.agent_farewells()) == (2, 1)
