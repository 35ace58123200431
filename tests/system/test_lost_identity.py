"""An agent that a command left without an identity answers nothing any more. It ends after a while,
so that its supervisor starts it anew."""
import time

import harness
from harness import EASE_S, SYSTEM_STATS, poll

DEAF_S = 60
BACK_AFTER_S = 5
ENDED = "^QV_ERR: device identity unreadable for 60 s, the agent ends$"


def lose_identity(controller, agent, rename_bridge):
    """Returns when the controller thread ended."""
    rename_bridge("br-away")
    controller.send({"type": 1011, "timestamp": 1, "data": {"uci_network_lan": {"mtu": "1500"}}})
    at, _ = agent.wait_line(r"^Fail to fetch device mac addr\.\.$", EASE_S)
    return at


def test_stopped_meanwhile(controller, broker, rename_bridge, agent):
    lose_identity(controller, agent, rename_bridge)
    status, seconds = agent.stop()
    assert (status, seconds < 3) == (0, True)
    assert not agent.lines(ENDED)


def test_agent_ends_after_a_minute(controller, broker, rename_bridge, agent, start_agent):
    lost = lose_identity(controller, agent, rename_bridge)
    time.sleep(BACK_AFTER_S)
    rename_bridge("br-lan")  # too late for this agent
    mark = controller.reports.mark()
    controller.send(1034)
    agent.wait_line("^hdr.type: 1034", EASE_S)
    # Commands are queued, and so are the agent's own questions, but none is answered.
    agent.wait_line("^msg_queue_push: 3$", 10 + EASE_S)
    at, _ = agent.wait_line(ENDED, DEAF_S + EASE_S)
    assert DEAF_S - 0.5 < at - lost < DEAF_S + 1.5
    assert agent.exit_status(EASE_S) == 255
    assert not controller.times(SYSTEM_STATS, mark)
    assert (broker.agent_sessions(), broker.agent_farewells()) == (1, 1)
    assert len(agent.lines(ENDED)) == 1
    assert harness.store_option("system", "broker", "status") == "0"
    start_agent()
    poll(lambda: broker.agent_sessions() == 2, EASE_S, "a session of the next agent")
