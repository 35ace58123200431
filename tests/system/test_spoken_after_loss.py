"""What the agent says by itself after a lost connection: announcements until it is spoken to."""
from harness import DISCOVERY, SYSTEM_STATS, poll, set_tool, tool_calls

PASS_S = 10  # the longest pause of the main loop


def test_spoken_to_after_a_loss(broker, controller, link, linked_agent):
    controller.wait_report(DISCOVERY, 4)
    link.cut()
    broker.wait_subscribed(2)
    mark = controller.reports.mark()
    controller.send(1024)
    controller.wait_report(SYSTEM_STATS, PASS_S, mark)
    controller.wait_report(SYSTEM_STATS, PASS_S + 1.5, mark, 2)
    assert not controller.times(DISCOVERY, mark)
    assert broker.agent_sessions() == 2


def test_lost_during_a_command(broker, controller, link, device_tools, linked_agent):
    """The command's end does not make the agent forget that the new session is to be announced."""
    set_tool("wifi", delay=2.5)
    mark = controller.reports.mark()
    controller.wait_report(DISCOVERY, 4)  # 5 s until the main loop looks again
    controller.send(1021)
    poll(tool_calls, 2, "wifi reload")
    link.cut()
    broker.wait_subscribed(2)
    controller.wait_report(DISCOVERY, 8, mark, 2)
    assert not controller.times(SYSTEM_STATS, mark)
    assert broker.agent_sessions() == 2
