#include "reports/radio_stats.h"

#include "messages/record_fields.h"
#include "wifimgr/channel.h"

namespace {

using enum RecordFieldType;

constexpr RecordField RADIO_STATS_FIELDS[] = {
    {"radio_name", text, QV_RECORD_MEMBER(RadioStatsEntry, radio_name)},
    {"radio_id", u8, QV_RECORD_MEMBER(RadioStatsEntry, radio_id)},
    {"channel", u16, QV_RECORD_MEMBER(RadioStatsEntry, channel)},
    {"radio_type", text, QV_RECORD_MEMBER(RadioStatsEntry, radio_type)},
    {"band", u8, QV_RECORD_MEMBER(RadioStatsEntry, band)},
    {"num_vaps", u8, QV_RECORD_MEMBER(RadioStatsEntry, num_vaps)},
};
static_assert(qv_fields_fit(RADIO_STATS_FIELDS, sizeof(RadioStatsEntry)));

} // namespace

int32_t qv_get_radio_stats(RadioStatsList& record) {
    qv_wifi_mgr_read(WIFI_MGR_GET_RADIO_STATS, qv_record_bytes(record));
    return 0;
}

int32_t qv_radio_stats_to_json(json_object* array, const RadioStatsList& record) {
    for (const RadioStatsEntry& entry : qv_listed(record.entries, record.count)) {
        if (entry.channel == RADIO_STATS_UNUSED_CHANNEL) {
            continue;
        }
        if (qv_append_record_text(array, qv_record_bytes(entry), sizeof entry,
                                  RADIO_STATS_FIELDS) == 0) {
            break;
        }
    }
    return 0;
}
