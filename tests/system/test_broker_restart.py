"""Six lost connections while commands flow: one session and one subscription for each."""
import threading

from harness import DISCOVERY, SYSTEM_STATS

LOSSES = 6


def test_broker_killed_and_restarted(broker, wifi_manager, idle_controller, start_agent):
    controller = idle_controller.connect()
    agent = start_agent()
    broker.wait_subscribed()
    stop_sending = threading.Event()

    def keep_sending():
        while not stop_sending.wait(0.05):
            controller.send(1034)

    sender = threading.Thread(target=keep_sending)
    sender.start()
    mark = agent.log.mark()
    try:
        for loss in range(1, LOSSES + 1):
            if loss == LOSSES:  # the last reconnection must be announced: nobody speaks then
                stop_sending.set()
                sender.join()
            else:
                agent.wait_line("^PUB MSG: .*system_stats", 8, mark)
            mark = agent.log.mark()
            broker.kill()
            agent.wait_line("^Disconnected from MQTT broker with result code: ", 2, mark)
            broker.start()
            broker.wait_subscribed(loss + 1)
    finally:
        stop_sending.set()
        sender.join()

    controller.reconnect()
    mark = controller.reports.mark()
    controller.wait_report(DISCOVERY, 18, mark)
    controller.send(1034)
    controller.wait_report(SYSTEM_STATS, 3, mark)
    assert broker.agent_sessions() == LOSSES + 1
    assert broker.agent_subscriptions() == LOSSES + 1
