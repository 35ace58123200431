#include "network/take_back.h"

#include "agent/context.h"
#include "agent/identity.h"
#include "network/kept_settings.h"
#include "network/network_sections.h"
#include "platform/log.h"
#include "reports/send_report.h"
#include "wifimgr/channel.h"

#include <algorithm>
#include <cstring>

namespace {

enum class Wish : uint8_t { none, confirmation, senseless };

/// Stores the seconds of a command that wants a confirmation. A null is senseless, too: whoever
/// sends one does not mean to go without.
Wish read_wish(const char* payload, uint16_t& seconds) {
    const JsonPtr root(json_tokener_parse(payload));
    json_object* value = nullptr;
    if (json_object_object_get_ex(qv_json_member(root.get(), "data"), CONFIRM_KEY, &value) == 0) {
        return Wish::none;
    }
    const int64_t number =
        json_object_is_type(value, json_type_int) != 0 ? json_object_get_int64(value) : 0;
    if (number < CONFIRM_MIN || number > CONFIRM_MAX) {
        return Wish::senseless;
    }
    seconds = static_cast<uint16_t>(number);
    return Wish::confirmation;
}

/// What the file keeps of changes that are not settled. It holds more where it could not be
/// replaced after one was; put back at some later start, that would undo what was confirmed.
KeptSettings load_unsettled(AgentContext& context) {
    KeptSettings kept = qv_load_kept();
    for (const NetworkSection& section : NETWORK_SECTIONS) {
        if (!qv_agent_keeps(context, section.part)) {
            kept.seconds_of(section.part) = 0;
        }
    }
    return kept;
}

/// Keeps the settings in force, or the older ones of a change that is not confirmed either. Returns
/// why that cannot be, or none.
const char* keep(AgentContext& context, const NetworkSection& section, uint16_t seconds) {
    KeptSettings in_force;
    const auto read = in_force.record_of(section.part);
    if (!qv_wifi_mgr_query(section.read, {}, read)) {
        return "the wifi manager does not tell the settings in force";
    }
    KeptSettings kept = load_unsettled(context);
    if (kept.seconds_of(section.part) == 0) {
        std::ranges::copy(read, kept.record_of(section.part).begin());
    }
    kept.seconds_of(section.part) = seconds;
    const int error = qv_save_kept(kept);
    return error == 0 ? nullptr : strerror(error);
}

bool refuse(const NetworkSection& section, const char* reason) {
    qv_log("QV_ERR: %s change refused: %s\n", section.name, reason);
    return false;
}

/// Forgets what was kept for the section.
void forget(AgentContext& context, const NetworkSection& section) {
    qv_agent_change_settled(context, section.part);
    if (const int error = qv_save_kept(load_unsettled(context)); error != 0) {
        qv_log("QV_ERR: %s settings stay kept: %s\n", section.name, strerror(error));
    }
}

/// As after a command, but that the agent goes on where the identity cannot be read. One that was
/// never read yet is not reported with.
void reconnect_and_report(AgentContext& context, const NetworkSection& section) {
    if (qv_get_device_info(context) < 0) {
        qv_log("Fail to fetch device mac addr..\n");
    }
    qv_agent_ask_connection(context);
    if (qv_agent_identity(context).ipaddr[0] != '\0') {
        qv_send_report(context, qv_command_contract(section.settings.command).answer,
                       SYSTEM_STATS_ERROR);
    }
}

void take_back(AgentContext& context, const NetworkSection& section) {
    KeptSettings kept = qv_load_kept();
    const uint16_t seconds = kept.seconds_of(section.part);
    if (seconds == 0) {
        qv_log("QV_ERR: %s change stays: nothing is kept\n", section.name);
        qv_agent_change_settled(context, section.part);
        return;
    }
    if (qv_wifi_mgr_apply(section.settings.apply, kept.record_of(section.part)) != 0) {
        const uint8_t attempts = qv_agent_take_back_failed(context, section.part);
        qv_log("QV_ERR: %s change not taken back: the wifi manager refuses, attempt %u of %u\n",
               section.name, attempts, TAKE_BACK_REPEATS + 1);
        return;
    }
    qv_log("QV_INFO: %s change taken back, not confirmed within %u s\n", section.name, seconds);
    forget(context, section);
    reconnect_and_report(context, section);
}

} // namespace

bool qv_prepare_change(AgentContext& context, NetworkPart part, const char* payload) {
    const NetworkSection& section = qv_network_section(part);
    uint16_t seconds = 0;
    switch (read_wish(payload, seconds)) {
    case Wish::none: return true;
    case Wish::senseless: return refuse(section, "confirm_s is no integer from 10 to 3600");
    case Wish::confirmation: break;
    }
    if (const char* const reason = keep(context, section, seconds); reason != nullptr) {
        return refuse(section, reason);
    }
    qv_log("QV_INFO: %s change to be confirmed within %u s\n", section.name, seconds);
    qv_agent_change_begun(context, part, seconds);
    return true;
}

int32_t qv_settle_changes(AgentContext& context, const char* /*payload*/, uint32_t /*length*/) {
    const auto work = qv_agent_changes_to_settle(context);
    for (const NetworkSection& section : NETWORK_SECTIONS) {
        switch (work[static_cast<size_t>(section.part)]) {
        case ChangeStage::none:
        case ChangeStage::waiting:
        case ChangeStage::given_up: break;
        case ChangeStage::confirmed:
            forget(context, section);
            qv_log("QV_INFO: %s change confirmed\n", section.name);
            break;
        case ChangeStage::due: take_back(context, section); break;
        }
    }
    return 0;
}

void qv_find_changes(AgentContext& context) {
    KeptSettings kept = qv_load_kept();
    for (const NetworkSection& section : NETWORK_SECTIONS) {
        if (const uint16_t seconds = kept.seconds_of(section.part); seconds != 0) {
            qv_log(
                "QV_INFO: %s change to be confirmed within %u s of the first attempt to connect\n",
                section.name, seconds);
            qv_agent_change_found(context, section.part, seconds);
        }
    }
}
