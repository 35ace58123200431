"""What the agent says by itself after a lost connection: announcements until it is spoken to."""
from harness import DISCOVERY, SYSTEM_STATS, poll, set_tool, tool_calls

PASS_S = 10  # the longest pause of the main loop
LOOK_S = 5  # its pause behind an announcement; after it the new session is taken up


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
    """The command's end, once the agent has taken the new session up, is not taken for a command on
    it: the agent goes on to announce."""
    set_tool("wifi", delay=LOOK_S + 1)
    mark = controller.reports.mark()
    controller.wait_report(DISCOVERY, 4)
    controller.send(1021)
    poll(tool_calls, 2, "wifi reload")
    link.cut()
    broker.wait_subscribed(2)
    controller.wait_report(DISCOVERY, 8, mark, 2)
    assert not controller.times(SYSTEM_STATS, mark)
    assert broker.agent_sessions() == 2
