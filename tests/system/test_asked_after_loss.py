"""New sessions that are asked for at the moments when one is lost."""
import harness
import pytest
from harness import DISCOVERY, poll

PASS_S = 10  # the longest pause of the main loop


@pytest.fixture
def other_link():
    way = harness.Link(1885)
    yield way
    way.close()


def announced_anew(controller, since):
    """What comes after a new session when nobody has spoken since."""
    controller.wait_report(DISCOVERY, PASS_S, since)


@pytest.mark.parametrize("command", [1014, 1011])
def test_asked_for_after_a_loss(broker, controller, link, other_link, linked_agent, command):
    controller.wait_report(DISCOVERY, 4)  # 5 s until the main loop looks again
    link.cut()
    broker.wait_subscribed(2)
    harness.edit_store("system", f"'{link.port}'", f"'{other_link.port}'")
    mark = controller.reports.mark()
    data = {"data": {"uci_network_lan": {"proto": "static"}}} if command == 1011 else {}
    controller.send({"type": command, "timestamp": 1} | data)
    broker.wait_subscribed(3, PASS_S)
    announced_anew(controller, mark)
    assert len(other_link.accepted) == 1
    assert (broker.agent_sessions(), broker.agent_farewells()) == (3, 1)
    assert harness.store_option("system", "broker", "status") == "1"


def test_lost_while_it_is_made(broker, controller, link, linked_agent):
    """The connections that the command asks for are lost before the broker's answer, and after."""
    controller.wait_report(DISCOVERY, 4)
    controller.send(1014)
    linked_agent.wait_line("^process_msg->type 1014$", 2)
    link.down.clear()
    poll(lambda: broker.agent_sessions() == 2, PASS_S, "CONNECT")
    mark = controller.reports.mark()
    link.cut()
    link.down.set()
    broker.wait_subscribed(2, 4)
    link.cut()
    broker.wait_subscribed(3, 4)
    announced_anew(controller, mark)
    assert broker.agent_sessions() == 4
    assert harness.store_option("system", "broker", "status") == "1"
