"""Connections that are lost, and what the agent says and asks for around the loss."""
import time

import harness
import stand_ins
import pytest
from firmware import UPDATA_STATS, flash, statuses, tools_called
from harness import DISCOVERY, EASE_S, SYSTEM_STATS, poll, set_tool, tool_calls

PASS_S = 10  # the longest pause of the main loop
LOOK_S = 5  # its pause behind an announcement; after it the new session is taken up
KEEP_ALIVE_S = 15
RETRY_S = 2
TOOL_S = 5
LOST_AFTER_S = 0.5


@pytest.fixture
def announcing(controller, linked_agent):
    """The agent, right after an announcement: 5 s until its main loop looks again."""
    controller.wait_report(DISCOVERY, EASE_S)
    return linked_agent


@pytest.fixture
def other_link():
    way = stand_ins.Link(1885)
    yield way
    way.close()


def test_session_asked_for_after_it(broker, controller, link, other_link, announcing):
    link.cut()
    broker.wait_subscribed(2)
    harness.edit_store("system", f"'{link.port}'", f"'{other_link.port}'")
    mark = controller.reports.mark()
    controller.send(1014)
    broker.wait_subscribed(3, PASS_S)
    controller.wait_report(DISCOVERY, PASS_S, mark)
    assert len(other_link.accepted) == 1
    assert (broker.agent_sessions(), broker.agent_farewells()) == (3, 1)
    assert harness.store_option("system", "broker", "status") == "1"


def test_lost_while_it_is_made(broker, controller, link, announcing):
    """The connections that the command asks for are lost before the broker's answer, and after."""
    controller.send(1014)
    announcing.wait_line("^process_msg->type 1014$", LOOK_S)
    link.down.clear()
    poll(lambda: broker.agent_sessions() == 2, PASS_S, "CONNECT")
    mark = controller.reports.mark()
    link.cut()
    link.down.set()
    broker.wait_subscribed(2)
    link.cut()
    broker.wait_subscribed(3)
    controller.wait_report(DISCOVERY, PASS_S, mark)
    assert broker.agent_sessions() == 4
    assert harness.store_option("system", "broker", "status") == "1"


def test_lost_during_a_command(broker, controller, link, device_tools, announcing):
    """The command's end, once the agent has taken the new session up, is not taken for a command on
    it: the agent goes on to announce."""
    set_tool("wifi", delay=LOOK_S + 1)
    mark = controller.reports.mark()
    controller.send(1021)
    poll(tool_calls, EASE_S, "wifi reload")
    link.cut()
    broker.wait_subscribed(2)
    controller.wait_report(DISCOVERY, 13, mark, 2)
    assert not controller.times(SYSTEM_STATS, mark)
    assert broker.agent_sessions() == 2


@pytest.mark.parametrize("away_s", [0, TOOL_S], ids=["back at once", "back after it"])
def test_lost_during_a_flash(broker, controller, link, device_tools, linked_agent, away_s):
    """Its status arrives in whatever session there is when it ends."""
    mark = controller.reports.mark()
    set_tool("updata_rootfs.sh", delay=TOOL_S)
    controller.send(flash(save_config=1))
    poll(tools_called, EASE_S, "flashing tool")
    begin = time.monotonic()
    time.sleep(LOST_AFTER_S)
    if away_s > 0:
        link.shut()
    link.cut()
    if away_s > 0:
        time.sleep(away_s)
        link.open()
    else:
        broker.wait_subscribed(2, TOOL_S - LOST_AFTER_S)
    back = time.monotonic()
    at, _ = controller.wait_report(UPDATA_STATS, TOOL_S + EASE_S, mark)
    assert at < max(begin + TOOL_S, back + RETRY_S) + 2
    broker.wait_subscribed(2)
    assert statuses(controller, mark) == [2]
    assert broker.agent_sessions() == 2


def test_broker_that_turns_mute_is_left(broker, controller, link, linked_agent):
    """In the middle of a good session: no packet, no end of the connection."""
    controller.ask(1034, SYSTEM_STATS)
    mark = linked_agent.log.mark()
    link.hold()
    # A sign of life is due after 15 s without a packet, and so long its answer is waited for.
    linked_agent.wait_line("^Disconnected from MQTT broker", 2 * KEEP_ALIVE_S + 12, mark)
    poll(lambda: len(link.accepted) == 2, EASE_S, "a new connection")
    sent = controller.reports.mark()
    link.go_on()
    broker.wait_subscribed(2)
    controller.wait_report(DISCOVERY, 12, sent)
    assert len(link.accepted) == 2
