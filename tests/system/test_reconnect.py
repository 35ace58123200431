"""Reconnections that are asked for or that carry what could not be sent before."""
import harness
from harness import DISCOVERY, EASE_S, poll


def test_reconnect_command_makes_one_session(broker, controller, agent):
    mark, sent = agent.log.mark(), controller.reports.mark()
    controller.send(1014)
    agent.wait_line("^sm->state:1$", 12, mark)
    controller.wait_report(DISCOVERY, 12, sent)
    assert broker.agent_sessions() == broker.agent_subscriptions() == 2
    assert broker.agent_farewells() == 1
    assert not agent.lines("COULD NOT CONNECT", mark)
    assert harness.store_option("system", "broker", "status") == "1"
    # A loss behind it: attempts follow the configuration, where nobody listens at first.
    harness.edit_store("system", "option host '127.0.0.1'", "option host '127.0.0.9'")
    broker.kill()
    agent.wait_line("^127.0.0.9 1883$", EASE_S, mark)
    assert harness.store_option("system", "broker", "status") == "0"
    broker.start()
    harness.edit_store("system", "127.0.0.9", "127.0.0.1")
    controller.reconnect()
    broker.wait_subscribed(3)
    poll(lambda: harness.store_option("system", "broker", "status") == "1", EASE_S, "status 1")
    # And the main loop takes the next command of the kind as well.
    controller.send(1014)
    poll(lambda: broker.agent_sessions() == 4, 14, "a session for the second command")
