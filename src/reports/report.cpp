#include "reports/report.h"

#include "agent/context.h"
#include "json/json_field.h"
#include "json/mac_text.h"

#include <algorithm>
#include <cstring>
#include <ctime>

void ReportBuffer::set_status(int32_t status) {
    memcpy(small_.data(), &status, sizeof status);
}

int32_t ReportBuffer::status() const {
    int32_t status = 0;
    memcpy(&status, small_.data(), sizeof status);
    return status;
}

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

bool add_macaddr(json_object* object, const DeviceIdentity& identity) {
    char text[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(text, sizeof text, identity.macaddr.data());
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
        add_macaddr(object, identity) &&
        (!row.has_ip || add_text(object, "ip", identity.ipaddr.data()));
    return complete ? std::move(envelope) : nullptr;
}

/// The value under the data key, or none when it cannot be made.
JsonPtr new_body(AgentContext& context, const ReportKind& row, int32_t argument) {
    JsonPtr body;
    switch (row.body) {
    case ReportBody::object: body.reset(json_object_new_object()); break;
    case ReportBody::array: body.reset(json_object_new_array()); break;
    case ReportBody::status: return JsonPtr(json_object_new_int(argument));
    }
    if (body != nullptr && !row.fill(context, body.get(), argument)) {
        return nullptr;
    }
    return body;
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

} // namespace

int32_t qv_json_build_msg(AgentContext& context, int32_t kind, ReportBuffer& buffer,
                          uint32_t& length) {
    const auto row = std::ranges::find(context.report_kinds, kind, &ReportKind::kind);
    if (row == context.report_kinds.end()) {
        return -1;
    }
    return qv_json_build_msg_of_row(context, *row, buffer.status(), buffer, length);
}

int32_t qv_json_build_msg_of_row(AgentContext& context, const ReportKind& row, int32_t argument,
                                 ReportBuffer& buffer, uint32_t& length) {
    store_text(new_report(context, row, argument), buffer, length);
    return 0;
}

uint64_t qv_get_timestamp_ms() {
    timespec now{};
    static_assert(sizeof now.tv_sec == 8, "a 32-bit clock ends in 2038");
    clock_gettime(CLOCK_REALTIME, &now);
    return static_cast<uint64_t>(now.tv_sec) * 1000 + static_cast<uint64_t>(now.tv_nsec) / 1000000;
}

bool qv_fill_device_discovery(AgentContext& context, json_object* body, int32_t /*argument*/) {
    return add_macaddr(body, qv_agent_identity(context));
}
