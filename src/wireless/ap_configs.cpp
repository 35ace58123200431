#include "wireless/ap_configs.h"

#include "protocol/record_fields.h"
#include "wifimgr/channel.h"
#include "json/json_field.h"

#include <cstdio>
#include <cstring>
#include <iterator>

namespace {

using enum ApConfigsReading;

/// Where in the command a field stands, as a log line says it.
struct Place {
    char text[48] = "";
};

Place radio_place(size_t radio) {
    Place place;
    snprintf(place.text, sizeof place.text, "radio %zu, ", radio);
    return place;
}

Place vap_place(size_t radio, size_t vap) {
    Place place;
    snprintf(place.text, sizeof place.text, "radio %zu, vap %zu, ", radio, vap);
    return place;
}

ApConfigsReading refuse(const Place& place, const char* key, size_t length, size_t room) {
    printf("QV_ERR: apconfigs refused: %s%s: length %zu, at most %zu\n", place.text, key, length,
           room);
    return refused;
}

FieldDestination destination(std::span<std::byte> record, const ApConfigsField& field) {
    const std::span<std::byte> bytes = record.subspan(field.offset, field.width);
    if (field.type == FIELD_TYPE_STRING) {
        return std::span(reinterpret_cast<char*>(bytes.data()), bytes.size());
    }
    return bytes;
}

/// Lengths are looked at before the typed reader runs, so that it has nothing to say of them.
ApConfigsReading read_fields(json_object* object, std::span<std::byte> record,
                             std::span<const ApConfigsField> fields, const Place& place) {
    for (const ApConfigsField& field : fields) {
        if (field.type == FIELD_TYPE_STRING) {
            const size_t length = qv_json_value_text(qv_json_member(object, field.key)).size();
            if (length >= field.width) {
                return refuse(place, field.key, length, field.width - size_t{1});
            }
        }
        if (map_json_field_to_value(object, field.type, field.key, destination(record, field)) !=
            1) {
            return incomplete;
        }
    }
    return complete;
}

ApConfigsReading read_vaps(json_object* vap_list, ApConfigsRadio& radio, size_t number) {
    if (json_object_is_type(vap_list, json_type_array) == 0) {
        return incomplete;
    }
    const size_t count = json_object_array_length(vap_list);
    if (count > std::size(radio.vaps)) {
        return refuse(radio_place(number), "vap_list", count, std::size(radio.vaps));
    }
    radio.num_vaps = static_cast<uint32_t>(count);
    ApConfigsReading reading = complete;
    for (size_t i = 0; i < count && reading == complete; ++i) {
        reading =
            read_fields(json_object_array_get_idx(vap_list, i), qv_record_bytes(radio.vaps[i]),
                        qv_apconfigs_vap_fields, vap_place(number, i));
    }
    return reading;
}

ApConfigsReading read_radio(json_object* object, ApConfigsRadio& radio, size_t number) {
    const ApConfigsReading reading =
        read_fields(object, qv_record_bytes(radio), qv_apconfigs_radio_fields, radio_place(number));
    return reading == complete ? read_vaps(qv_json_member(object, "vap_list"), radio, number)
                               : reading;
}

ApConfigsReading read_radios(json_object* radio_list, ApConfigs& record) {
    if (json_object_is_type(radio_list, json_type_array) == 0) {
        return incomplete;
    }
    const size_t count = json_object_array_length(radio_list);
    if (count > std::size(record.radios)) {
        return refuse({}, "radio_list", count, std::size(record.radios));
    }
    record.num_radios = static_cast<uint32_t>(count);
    ApConfigsReading reading = complete;
    for (size_t i = 0; i < count && reading == complete; ++i) {
        reading = read_radio(json_object_array_get_idx(radio_list, i), record.radios[i], i);
    }
    return reading;
}

} // namespace

int32_t qv_json_parse_msg_get_apconfigs(ApConfigs& record, const char* payload, uint32_t length,
                                        ApConfigsReading* reading) {
    const JsonPtr root =
        inet_recv_request(payload, static_cast<uint32_t>(strnlen(payload, length)));
    const ApConfigsReading result =
        read_radios(qv_json_path(root.get(), {"data", "apconfigs", "radio_list"}), record);
    if (reading != nullptr) {
        *reading = result;
    }
    return result == complete ? 0 : -1;
}

int32_t qv_mgr_set_apconfigs(const ApConfigs& record) {
    return qv_wifi_mgr_apply(WIFI_MGR_SET_APCONFIGS, qv_record_bytes(record));
}

int32_t qv_set_ap_configs(AgentContext& /*context*/, const char* payload, uint32_t length) {
    ApConfigs record{};
    ApConfigsReading reading = complete;
    qv_json_parse_msg_get_apconfigs(record, payload, length, &reading);
    return reading == refused ? -1 : qv_mgr_set_apconfigs(record);
}
