"""Reconnections that are asked for or that carry what could not be sent before."""
import harness
from harness import DISCOVERY, SYSTEM_STATS, poll


def test_reconnect_command_makes_one_session(broker, controller, agent):
    mark, sent = agent.log.mark(), controller.reports.mark()
    controller.send(1014)
    agent.wait_line("^sm->state:1$", 12, mark)
    controller.wait_report(DISCOVERY, 12, sent)
    assert broker.agent_sessions() == broker.agent_subscriptions() == 2
    assert broker.agent_farewells() == 1
    assert not agent.lines("COULD NOT CONNECT", mark)
    assert harness.store_option("system", "broker", "status") == "1"
    # A loss behind it, and the main loop takes the next command of the kind as well.
    broker.kill()
    broker.start()
    controller.reconnect()
    broker.wait_subscribed(3)
    controller.send(1014)
    poll(lambda: broker.agent_sessions() == 4, 14, "a session for the second command")


def test_answer_given_while_the_broker_is_away_arrives(broker, controller, wifi_manager, agent):
    wifi_manager.behave("4 silent")  # the answer takes 5 s
    controller.send({"type": 1034, "timestamp": 1})
    wifi_manager.wait_request(4, 2)
    broker.kill()
    _, sent = agent.wait_line("^PUB MSG: .*system_stats", 8)
    agent.wait_line("^COULD NOT CONNECT", 4, agent.log.mark())  # the next attempt is 2 s away
    broker.start()
    controller.reconnect()
    _, report = controller.wait_report(SYSTEM_STATS, 6)
    assert f'"timestamp": {report["timestamp"]},' in sent
    assert report["data"]["system_stats"]["uptime"] == 0


def test_session_follows_the_configuration(broker, controller, agent):
    # Nobody listens at the new address: attempts go there until it is corrected.
    mark = agent.log.mark()
    harness.edit_store("system", "option host '127.0.0.1'", "option host '127.0.0.9'")
    broker.kill()
    agent.wait_line("^127.0.0.9 1883$", 4, mark)
    agent.wait_line("^COULD NOT CONNECT: ", 4, mark, count=2)
    assert harness.store_option("system", "broker", "status") == "0"
    broker.start()
    harness.edit_store("system", "127.0.0.9", "127.0.0.1")
    broker.wait_subscribed(2)
    poll(lambda: harness.store_option("system", "broker", "status") == "1", 2, "status 1")
