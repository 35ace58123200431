"""How the agent ends, and that it leaves nothing half done."""
import signal
import time

import harness
import pytest
from harness import EASE_S, SYSTEM_STATS, poll


def test_without_bridge_there_is_no_identity(broker, start_agent, rename_bridge):
    rename_bridge("br-away")
    agent = start_agent()
    assert agent.exit_status(EASE_S) == 255
    assert agent.lines(r"^Fail to fetch device mac addr\.\.$")
    assert broker.agent_sessions() == 0


@pytest.mark.parametrize("number", [signal.SIGTERM, signal.SIGINT], ids=["TERM", "INT"])
def test_idle_agent_ends_within_a_second(controller, broker, agent, number):
    controller.ask(1034, SYSTEM_STATS)
    time.sleep(0.5)  # let it come to rest
    status, seconds = agent.stop(signal_number=number)
    assert (status, seconds < 1) == (0, True)
    poll(lambda: broker.agent_farewells() == 1, EASE_S, "DISCONNECT")
    assert harness.store_option("system", "broker", "status") == "0"


def test_sigterm_while_a_command_runs(controller, broker, wifi_manager, agent):
    wifi_manager.behave("4 silent")
    controller.send(1034)
    controller.send(1034)  # waits in the queue, and is not begun any more
    wifi_manager.wait_request(4, EASE_S)
    agent.wait_line("^msg_queue_push: 1$", EASE_S, count=2)
    status, seconds = agent.stop()
    assert (status, seconds < 6) == (0, True)  # the exchange under way is bounded by 5 s
    assert len([line for _, line in wifi_manager.log.items() if " id=4 " in line]) == 1
    poll(lambda: broker.agent_farewells() == 1, EASE_S, "DISCONNECT")
