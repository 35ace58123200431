#include "reports/report.h"

#include "agent/context.h"
#include "json/json_text.h"
#include "protocol/record_walk.h"
#include "wifimgr/channel.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <memory>

namespace {

// The envelope: what stands before each value, and behind the last.
constexpr std::string_view TYPE = R"({ "type": )";
constexpr std::string_view TIMESTAMP =
    R"(, "flag": "REQ", "fwname": "QV_VER_1_0_1", "hwname": "KX7310", "timestamp": )";
constexpr std::string_view MACADDR = R"(, "macaddr": )";
constexpr std::string_view IP = R"(, "ip": )";
constexpr std::string_view DATA_KEY = R"(, "data": { ")";
constexpr std::string_view BODY = R"(": )";
constexpr std::string_view END = " } }";

constexpr size_t ENVELOPE_ROOM = TYPE.size() + JSON_INTEGER_SIZE<int32_t> + TIMESTAMP.size() +
                                 JSON_INTEGER_SIZE<uint64_t> + MACADDR.size() + JSON_MAC_SIZE +
                                 IP.size() + qv_json_text_room(IPADDR_SIZE) + DATA_KEY.size() +
                                 BODY.size() + END.size();

/// What the envelope says of the sender, from before the wifi manager is asked.
struct Sender {
    uint64_t timestamp;
    DeviceIdentity identity;
};

/// Up to the body.
char* put_envelope(char* out, const ReportKind& row, const Sender& sender) {
    out = qv_put_integer(qv_put(out, TYPE), static_cast<int32_t>(row.type));
    out = qv_put_integer(qv_put(out, TIMESTAMP), sender.timestamp);
    out = qv_put_mac(qv_put(out, MACADDR), sender.identity.macaddr.data());
    if (row.has_ip) {
        out = qv_put_text(qv_put(out, IP),
                          {sender.identity.ipaddr.data(), sender.identity.ipaddr.size()});
    }
    return qv_put(qv_put(qv_put(out, DATA_KEY), row.data_key), BODY);
}

char* put_body(char* out, const ReportKind& row, std::span<const std::byte> record) {
    return row.list != nullptr ? qv_put_list(out, record, *row.list)
                               : qv_put_record(out, record, *row.fields);
}

/// Most bytes of a report, with its NUL.
size_t room_of(const ReportKind& row, std::span<const std::byte> record) {
    const size_t body =
        row.list != nullptr ? qv_list_room(record, *row.list) : qv_record_room(*row.fields);
    return ENVELOPE_ROOM + strlen(row.data_key) + body + 1;
}

/// What the wifi manager says, or what the row's own function has to say.
std::span<const std::byte> record_of(AgentContext& context, const ReportKind& row, int32_t argument,
                                     WifiMgrReply& reply) {
    if (row.fill != nullptr) {
        const std::span<std::byte> record = std::span(reply).first(row.record_size);
        memset(record.data(), 0, record.size());
        row.fill(context, argument, record);
        return record;
    }
    const WifiMgrRecord record = qv_wifi_mgr_read(row.message, reply, row.record_size);
    if (record.counts && row.on_record != nullptr) {
        row.on_record(record.bytes);
    }
    return record.bytes;
}

int32_t build(AgentContext& context, const ReportKind* row, int32_t argument, ReportBuffer& buffer,
              uint32_t& length) {
    if (row == context.report_kinds.data() + context.report_kinds.size()) {
        return -1;
    }
    const Sender sender = {qv_get_timestamp_ms(), qv_agent_identity(context)};
    WifiMgrReply reply;
    const std::span<const std::byte> record = record_of(context, *row, argument, reply);
    char* const text = buffer.room(room_of(*row, record) + JSON_TEXT_SLACK);
    if (text != nullptr) {
        char* const end = qv_put(put_body(put_envelope(text, *row, sender), *row, record), END);
        *end = '\0';
        length = static_cast<uint32_t>(end - text);
    }
    return 0;
}

} // namespace

int32_t qv_json_build_msg(AgentContext& context, int32_t kind, ReportBuffer& buffer,
                          uint32_t& length, int32_t argument) {
    const auto row = std::ranges::find(context.report_kinds, kind, &ReportKind::kind);
    return kind == 0 ? -1 : build(context, std::to_address(row), argument, buffer, length);
}

int32_t qv_json_build_msg_of_type(AgentContext& context, ReportType type, ReportBuffer& buffer,
                                  uint32_t& length, int32_t argument) {
    const auto row = std::ranges::find(context.report_kinds, type, &ReportKind::type);
    return build(context, std::to_address(row), argument, buffer, length);
}

uint64_t qv_get_timestamp_ms() {
    timespec now{};
    static_assert(sizeof now.tv_sec == 8, "a 32-bit clock ends in 2038");
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

void qv_fill_device_discovery(AgentContext& context, int32_t /*argument*/,
                              std::span<std::byte> record) {
    const MacAddress macaddr = qv_agent_identity(context).macaddr;
    std::ranges::copy(qv_record_bytes(macaddr), record.begin());
}

void qv_fill_updata_stats(AgentContext& /*context*/, int32_t status, std::span<std::byte> record) {
    std::ranges::copy(qv_record_bytes(status), record.begin());
}
