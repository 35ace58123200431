#include "fake_zendry.h"

#include <algorithm>
#include <cstring>

FakeZendry& fake() {
    static FakeZendry instance;
    return instance;
}

namespace {

void look() {
    if (fake().during_request) {
        fake().during_request();
    }
}

template <class... Texts>
int32_t record_call(const char* name, Texts... texts) {
    std::string call = name;
    ((call += " ", call += texts), ...);
    fake().calls.push_back(call);
    look();
    return 0;
}

} // namespace

int32_t qv_ctrl_send_wifi_mgr_msg(const void* request, uint32_t request_length, void* reply_buffer,
                                  uint32_t reply_capacity) {
    const auto* const bytes = static_cast<const uint8_t*>(request);
    fake().requests.emplace_back(bytes, bytes + request_length);
    look();
    const auto scripted = fake().replies.find(bytes[1]);
    const bool known = scripted != fake().replies.end();
    if (!known && !fake().reply_to_others) {
        return -1;
    }
    Bytes reply =
        request_image(bytes[0], bytes[1], known ? scripted->second : *fake().reply_to_others);
    reply[1] = static_cast<uint8_t>(reply[1] + (fake().wrong_id ? 1 : 0));
    memcpy(reply_buffer, reply.data(), std::min(reply.size(), size_t{reply_capacity}));
    return 0;
}

int32_t uciInit() {
    record_call("uciInit");
    return fake().uci_init_result;
}
void uciDestroy() {
    record_call("uciDestroy");
}
int32_t uciSet(const char* package, const char* section, const char* option, const char* value) {
    return record_call("uciSet", package, section, option, value);
}
int32_t uciDelete(const char* package, const char* section, const char* option) {
    return record_call("uciDelete", package, section, option);
}
int32_t uciCommit(const char* package) {
    return record_call("uciCommit", package);
}
int32_t uciSectionExist(const char* package, const char* section, const char* name) {
    record_call("uciSectionExist", package, section, name);
    return fake().broker_section;
}
int32_t uci_add_section_system_config(const char* section, const char* name) {
    fake().broker_section = 0;
    return record_call("uci_add_section_system_config", section, name);
}
int32_t uci_set_system_broker_config(const char* name, BrokerConfig settings) {
    fake().broker = settings;
    return record_call("uci_set_system_broker_config", name);
}
int32_t uci_get_system_broker_config(const char* name, BrokerConfig* settings) {
    *settings = fake().broker;
    return record_call("uci_get_system_broker_config", name);
}
int32_t uci_set_system_broker_status(int32_t status) {
    return record_call("uci_set_system_broker_status", std::to_string(status));
}
int32_t file_request(const char* server, int32_t port, const char* file_name) {
    record_call("file_request", server, std::to_string(port), file_name);
    return fake().file_request_result;
}

Bytes request_image(uint8_t module, uint8_t id, const Bytes& payload) {
    const auto length = static_cast<uint32_t>(payload.size());
    Bytes image = {module, id, 0, 0};
    for (size_t i = 0; i < sizeof length; ++i) {
        image.push_back(static_cast<uint8_t>(length >> (8 * i))); // little-endian, as on the device
    }
    image.insert(image.end(), payload.begin(), payload.end());
    return image;
}
