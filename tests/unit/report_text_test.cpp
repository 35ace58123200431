#include "json/json_field.h"
#include "json/mac_text.h"
#include "json/text.h"
#include "protocol/record_walk.h"
#include "reports/report.h"
#include "support.h"

#include <chrono>
#include <json-c/json.h>
#include <random>

using ReportTextTest = AgentTest;

TEST_F(ReportTextTest, EnvelopeAndOwnBodies) {
    ReportBuffer buffer;
    uint32_t length = 0;
    const auto wall_clock_ms = [] {
        using namespace std::chrono;
        const auto now = floor<milliseconds>(system_clock::now().time_since_epoch());
        return static_cast<uint64_t>(now.count());
    };
    const uint64_t begin = wall_clock_ms();
    ASSERT_EQ(qv_json_build_msg(context, REPORT_DEVICE_DISCOVERY, buffer, length), 0);
    std::string text = buffer.text();
    EXPECT_EQ(text.size(), length);
    const size_t digits = text.find("\"timestamp\": ") + 13;
    const uint64_t timestamp = std::stoull(text.substr(digits));
    EXPECT_GE(timestamp, begin);
    EXPECT_LE(timestamp, wall_clock_ms());
    text.replace(digits, 13, "T");
    EXPECT_EQ(text, R"({ "type": 1000, "flag": "REQ", "fwname": "QV_VER_1_0_1", )"
                    R"("hwname": "KX7310", "timestamp": T, "macaddr": "00:11:22:aa:bb:cc", )"
                    R"("data": { "device_discovery_macaddr": )"
                    R"({ "macaddr": "00:11:22:aa:bb:cc" } } })");
    for (const int32_t status : {201, -256}) {
        ASSERT_EQ(qv_json_build_msg(context, REPORT_UPDATA_STATS, buffer, length, status), 0);
        const std::string end =
            R"("ip": "192.168.1.1", "data": { "updata_stats": )" + std::to_string(status) + " } }";
        EXPECT_TRUE(std::string_view(buffer.text()).ends_with(end)) << buffer.text();
    }
    for (const int32_t kind : {0, 2, 3, 16, -1}) {
        EXPECT_EQ(qv_json_build_msg(context, kind, buffer, length = 77), -1);
        EXPECT_TRUE(std::string_view(buffer.text()).ends_with(" -256 } }"));
        EXPECT_EQ(length, 77U);
    }
}

namespace {

using Record = std::span<const std::byte>;

JsonPtr object_of(Record record, RecordTable fields);

JsonPtr array_of(Record record, const RecordList& list) {
    JsonPtr array(json_object_new_array());
    for (size_t i = 0; i < qv_listed(record, list); ++i) {
        const Record entry = record.subspan(list.first + i * list.stride, list.stride);
        qv_json_append(array.get(), object_of(entry, list.fields));
    }
    return array;
}

JsonPtr value_of(Record record, const RecordField& field) {
    char mac_text[MAC_TEXT_SIZE] = {};
    switch (field.type) {
    case RecordFieldType::text:
    case RecordFieldType::terminated_text: return qv_json_new_text(qv_record_text(record, field));
    case RecordFieldType::mac:
        qv_mac_to_string(mac_text, sizeof mac_text, qv_record_mac(record, field));
        return JsonPtr(json_object_new_string(mac_text));
    case RecordFieldType::u8:
    case RecordFieldType::u16:
    case RecordFieldType::i32:
        return JsonPtr(json_object_new_int(qv_record_integer(record, field)));
    case RecordFieldType::list: return array_of(record, *field.special->list);
    case RecordFieldType::computed: return qv_json_new_text(field.special->compute(record));
    }
    return nullptr;
}

bool is_shown(Record record, const RecordField& field) {
    if (field.type != RecordFieldType::list) {
        return true;
    }
    const RecordList& list = *field.special->list;
    const uint32_t count = qv_list_count(record, list);
    return count <= list.shown_max && (count > 0 || list.shown_empty);
}

JsonPtr object_of(Record record, RecordTable fields) {
    if (!fields[0].has_key()) {
        return value_of(record, fields[0]);
    }
    JsonPtr object(json_object_new_object());
    for (const RecordField& field : fields) {
        if (is_shown(record, field)) {
            qv_json_add(object.get(), field.key, value_of(record, field));
        }
    }
    return object;
}

/// A report as json-c has it.
std::string printed(const ReportKind& row, Record record, const DeviceIdentity& sender,
                    uint64_t timestamp) {
    const JsonPtr report(json_object_new_object());
    const auto add = [&](FieldType type, const char* key, const void* value) {
        map_value_to_json_field(report.get(), type, key, value);
    };
    char macaddr[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(macaddr, sizeof macaddr, sender.macaddr.data());
    add(FIELD_TYPE_UINT, "type", &row.type);
    add(FIELD_TYPE_STRING, "flag", "REQ");
    add(FIELD_TYPE_STRING, "fwname", "QV_VER_1_0_1");
    add(FIELD_TYPE_STRING, "hwname", "KX7310");
    add(FIELD_TYPE_UINT64, "timestamp", &timestamp);
    add(FIELD_TYPE_STRING, "macaddr", macaddr);
    if (row.has_ip) {
        add(FIELD_TYPE_STRING, "ip", sender.ipaddr.data());
    }
    JsonPtr data(json_object_new_object());
    qv_json_add(data.get(), row.data_key,
                row.list != nullptr ? array_of(record, *row.list) : object_of(record, *row.fields));
    qv_json_add(report.get(), "data", std::move(data));
    return qv_json_to_string(report.get());
}

/// Every byte alone, and then what a writer could stumble over, at every place beside each other.
Bytes filling(size_t size, uint32_t number) {
    constexpr std::string_view PIECES[] = {
        "plain text", "4", "\"", "\\", "/", "\x1F", "\x7F", "ä", "€", "🎈", "\xE2\x82", {"\0", 1},
    };
    if (number <= UINT8_MAX) {
        return Bytes(size, static_cast<uint8_t>(number));
    }
    Bytes bytes;
    std::minstd_rand random(number);
    while (bytes.size() < size) {
        const std::string_view piece = PIECES[random() % std::size(PIECES)];
        bytes.insert(bytes.end(), piece.begin(), piece.end());
    }
    bytes.resize(size);
    return bytes;
}

} // namespace

// Reports are written without json-c's objects: it must not show.
TEST_F(ReportTextTest, ReportsAreWrittenAsJsonCPrintsThem) {
    log = log_of([&] { // hooks print
        for (const ReportKind& row : context.report_kinds) {
            for (uint32_t number = 0; number < UINT8_MAX + 64; ++number) {
                Bytes bytes = filling(row.record_size, number);
                fake().reply_to_others = bytes;
                ReportBuffer buffer;
                uint32_t length = 0;
                qv_json_build_msg_of_type(context, row.type, buffer, length, INT32_MIN);
                const std::string text = buffer.text();
                EXPECT_EQ(text.size(), length);

                const std::span<std::byte> record = std::as_writable_bytes(std::span(bytes));
                if (row.fill != nullptr) {
                    row.fill(context, INT32_MIN, record);
                } else if (row.on_record != nullptr) {
                    row.on_record(record);
                }
                const uint64_t timestamp = std::stoull(text.substr(text.find("timestamp") + 12));
                ASSERT_EQ(text, printed(row, record, context.identity, timestamp)) << number;
            }
        }
    });
}
