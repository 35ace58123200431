"""A broker that falls silent in the middle of a good session: no packet, no end of the connection."""
from harness import DISCOVERY, SYSTEM_STATS, poll

KEEP_ALIVE_S = 15


def test_broker_that_turns_mute_is_left(broker, controller, link, linked_agent):
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, 2)
    mark = linked_agent.log.mark()
    link.hold()
    # A sign of life is due after 15 s without a packet, and so long its answer is waited for.
    linked_agent.wait_line("^Disconnected from MQTT broker", 2 * KEEP_ALIVE_S + 12, mark)
    poll(lambda: len(link.accepted) == 2, 3, "a new connection")
    sent = controller.reports.mark()
    link.go_on()
    broker.wait_subscribed(2, 4)
    controller.wait_report(DISCOVERY, 12, sent)
    assert len(link.accepted) == 2
