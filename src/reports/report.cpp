#include "reports/report.h"

#include "agent/context.h"
#include "json/json_field.h"
#include "json/mac_text.h"
#include "protocol/record_walk.h"
#include "wifimgr/channel.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <ctime>
#include <memory>

bool ReportBuffer::assign(std::string_view text) {
    const bool fits = text.size() < small_.size();
    OwnedText grown = fits ? nullptr : qv_allocate_text(text.size() + 1);
    if (!fits && grown == nullptr) {
        return false;
    }
    char* const destination = fits ? small_.data() : grown.get();
    grown_ = std::move(grown);
    memcpy(destination, text.data(), text.size());
    destination[text.size()] = '\0';
    return true;
}

const char* ReportBuffer::text() const {
    return grown_ == nullptr ? small_.data() : grown_.get();
}

namespace {

/// What every report says of its sender.
constexpr const char* REPORT_FLAG = "REQ";
constexpr const char* FIRMWARE_NAME = "QV_VER_1_0_1";
constexpr const char* HARDWARE_NAME = "KX7310";

bool add_text(json_object* object, const char* key, const char* text) {
    return map_value_to_json_field(object, FIELD_TYPE_STRING, key, text) == 1;
}

bool add_macaddr(json_object* object, const MacAddress& macaddr) {
    char text[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(text, sizeof text, macaddr.data());
    return add_text(object, "macaddr", text);
}

/// The envelope without its "data".
JsonPtr new_envelope(AgentContext& context, const ReportKind& row) {
    JsonPtr envelope(json_object_new_object());
    if (envelope == nullptr) {
        return nullptr;
    }
    json_object* const object = envelope.get();
    const auto type = static_cast<uint32_t>(row.type);
    const uint64_t timestamp = qv_get_timestamp_ms();
    const DeviceIdentity identity = qv_agent_identity(context);
    const bool complete =
        map_value_to_json_field(object, FIELD_TYPE_UINT, "type", &type) == 1 &&
        add_text(object, "flag", REPORT_FLAG) && add_text(object, "fwname", FIRMWARE_NAME) &&
        add_text(object, "hwname", HARDWARE_NAME) &&
        map_value_to_json_field(object, FIELD_TYPE_UINT64, "timestamp", &timestamp) == 1 &&
        add_macaddr(object, identity.macaddr) &&
        (!row.has_ip || add_text(object, "ip", identity.ipaddr.data()));
    return complete ? std::move(envelope) : nullptr;
}

/// What the wifi manager says, as the row reports it.
JsonPtr new_record_body(const ReportKind& row) {
    std::array<std::byte, WIFI_MGR_REPLY_MAX> bytes;
    const std::span<std::byte> record = std::span(bytes).first(row.record_size);
    memset(record.data(), 0, record.size());
    if (qv_wifi_mgr_read(row.message, record) && row.on_record != nullptr) {
        row.on_record(record);
    }
    return row.list != nullptr ? qv_list_to_json(record, *row.list)
                               : qv_record_to_json(record, *row.fields);
}

JsonPtr new_body(AgentContext& context, const ReportKind& row, int32_t argument) {
    return row.body != nullptr ? row.body(context, argument) : new_record_body(row);
}

/// The whole report, or none when memory is out.
JsonPtr new_report(AgentContext& context, const ReportKind& row, int32_t argument) {
    JsonPtr envelope = new_envelope(context, row);
    JsonPtr data(json_object_new_object());
    if (envelope == nullptr || data == nullptr ||
        !qv_json_add(data.get(), row.data_key, new_body(context, row, argument)) ||
        !qv_json_add(envelope.get(), "data", std::move(data))) {
        return nullptr;
    }
    return envelope;
}

/// Copies the report's text out; a report that could not be built leaves everything as it was.
void store_text(const JsonPtr& report, ReportBuffer& buffer, uint32_t& length) {
    const char* const printed = qv_json_to_string(report.get());
    const std::string_view text = printed == nullptr ? std::string_view() : printed;
    if (!text.empty() && buffer.assign(text)) {
        length = static_cast<uint32_t>(text.size());
    }
}

int32_t build(AgentContext& context, const ReportKind* row, int32_t argument, ReportBuffer& buffer,
              uint32_t& length) {
    if (row == context.report_kinds.data() + context.report_kinds.size()) {
        return -1;
    }
    store_text(new_report(context, *row, argument), buffer, length);
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

JsonPtr qv_new_device_discovery(AgentContext& context, int32_t /*argument*/) {
    const MacAddress macaddr = qv_agent_identity(context).macaddr;
    return qv_record_to_json(qv_record_bytes(macaddr), qv_device_discovery_fields);
}

JsonPtr qv_new_updata_stats(AgentContext& /*context*/, int32_t status) {
    return JsonPtr(json_object_new_int(status));
}
