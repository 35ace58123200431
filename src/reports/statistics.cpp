#include "reports/statistics.h"

#include "json/text.h"
#include "platform/log.h"
#include "protocol/statistics_records.h"

#include <algorithm>
#include <string_view>

void qv_show_system_stats(std::span<std::byte> record) {
    const auto stats = qv_record_of<SystemStats>(record);
    const std::string_view name = qv_field_text(stats.hw_name);
    qv_log("qv_get_system_stats: HW Name: %.*s\n", static_cast<int>(name.size()), name.data());
}

void qv_show_ap_stats(std::span<std::byte> record) {
    static_assert(offsetof(ApStatsList, count) == 0);
    qv_log("qv_get_ap_stats: Max AP Count: %u\n", std::to_integer<unsigned>(record[0]));
}

void qv_drop_unused_radios(std::span<std::byte> record) {
    auto list = qv_record_of<RadioStatsList>(record);
    const auto radios =
        std::span(list.entries).first(std::min<size_t>(list.count, std::size(list.entries)));
    const auto end_of_used =
        std::remove_if(radios.begin(), radios.end(), [](const RadioStatsEntry& radio) {
            return radio.channel == RADIO_STATS_UNUSED_CHANNEL;
        });
    list.count = static_cast<uint8_t>(end_of_used - radios.begin());
    std::ranges::copy(qv_record_bytes(list), record.begin());
}
