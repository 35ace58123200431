"""A flashing tool at work while the session is quiet, or is lost: its status arrives in whatever
session there is when it ends."""
import time

import pytest
from firmware import MISSING, UPDATA_STATS, flash, statuses, tools_called, upgrade, wait_statuses
from harness import poll, set_tool

# The agent sends a sign of life after 15 s without a packet; the broker waits for 22.5 s.
QUIET_S = 14
TOOL_S = 14.5

SHORT_TOOL_S = 3
LOST_AFTER_S = 0.5
RETRY_S = 2


def begin_flash(controller, seconds):
    """Returns when the tool began."""
    set_tool("updata_rootfs.sh", delay=seconds)
    controller.send(flash(save_config=1))
    poll(tools_called, 3, "flashing tool")
    return time.monotonic()


def test_flash_after_quiet(broker, controller, images, agent):
    """Neither is too long for the broker, but both together are."""
    mark = controller.reports.mark()
    controller.send(upgrade(1032, images, image_name=MISSING))
    wait_statuses(controller, mark, [201, -1])  # and the agent has nothing to say from here on
    time.sleep(QUIET_S)
    begin = begin_flash(controller, TOOL_S)
    at, _ = controller.wait_report(UPDATA_STATS, TOOL_S + 2, mark, 3)
    assert TOOL_S - 0.1 < at - begin < TOOL_S + 1
    assert statuses(controller, mark) == [201, -1, 2]
    assert broker.agent_sessions() == 1
    assert broker.count("auto-.* has exceeded timeout") == 0


@pytest.mark.parametrize("away_s", [0, SHORT_TOOL_S], ids=["back at once", "back after it"])
def test_flash_during_a_loss(broker, controller, link, device_tools, linked_agent, away_s):
    mark = controller.reports.mark()
    begin = begin_flash(controller, SHORT_TOOL_S)
    time.sleep(LOST_AFTER_S)
    if away_s > 0:
        link.shut()
    link.cut()
    if away_s > 0:
        time.sleep(away_s)
        link.open()
    else:
        broker.wait_subscribed(2, SHORT_TOOL_S - LOST_AFTER_S)
    back = time.monotonic()
    at, _ = controller.wait_report(UPDATA_STATS, SHORT_TOOL_S + 3, mark)
    assert at < max(begin + SHORT_TOOL_S, back + RETRY_S) + 1
    broker.wait_subscribed(2)
    assert statuses(controller, mark) == [2]
    assert broker.agent_sessions() == 2
