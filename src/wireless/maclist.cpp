#include "wireless/maclist.h"

#include "json/json_field.h"
#include "platform/log.h"
#include "platform/zendry_common.h"
#include "protocol/maclist_records.h"
#include "reports/send_report.h"
#include "settings/section.h"
#include "wifimgr/channel.h"

#include <cstdlib>
#include <cstring>

namespace {

/// Sections of the package "wireless" that hold the lists, and the flags that select them.
struct MacListSection {
    int32_t MacListControl::*flag;
    const char* section;
};
constexpr MacListSection MACLIST_SECTIONS[] = {
    {&MacListControl::wifi0Flag, "@wifi-iface[0]"},
    {&MacListControl::wifi1Flag, "@wifi-iface[1]"},
};

} // namespace

void qv_read_maclist_status(AgentContext& /*context*/, int32_t wifi_index,
                            std::span<std::byte> record) {
    qv_wifi_mgr_query(WIFI_MGR_GET_VAP_MACLIST_STATUS, qv_record_bytes(wifi_index), record);
}

int32_t qv_report_maclist_status(AgentContext& context, const char* payload, uint32_t length) {
    char text[MACLIST_INDEX_MAX + 1] = {};
    GeneralData found = GeneralData::absent;
    qv_json_parse_msg_get_general_data(text, payload, length, &found);
    if (found == GeneralData::too_long) {
        qv_log("QV_ERR: wifi index refused: longer than %zu bytes\n", MACLIST_INDEX_MAX);
        return -1;
    }
    qv_log("\n-----wifi_index:%s----------\n", text);
    qv_log("\n-----wifi_index:len:%d----------\n", static_cast<int>(strlen(text)));
    qv_send_report(context, REPORT_TYPE_UCI_VAP_MACLIST,
                   "QV_ERR: failed to fetch wifi vap maclist..", atoi(text));
    return 0;
}

int32_t qv_set_maclist(AgentContext& /*context*/, const char* payload, uint32_t /*length*/) {
    MacListControl record{};
    qv_read_section(COMMAND_SET_MACLIST, qv_record_bytes(record), payload);
    return qv_wifi_mgr_apply(WIFI_MGR_SET_MACLIST, qv_record_bytes(record));
}

int32_t qv_delete_maclist(AgentContext& /*context*/, const char* payload, uint32_t /*length*/) {
    MacListControl record{};
    qv_read_section(COMMAND_DELETE_MACLIST, qv_record_bytes(record), payload);
    uciInit();
    for (const MacListSection& row : MACLIST_SECTIONS) {
        if (record.*row.flag == 1) {
            uciDelete("wireless", row.section, "maclist");
            uciCommit("wireless");
        }
    }
    uciDestroy();
    return 0;
}
