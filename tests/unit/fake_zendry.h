// A fake support library behind the C interface.
#ifndef QV_TESTS_UNIT_FAKE_ZENDRY_H
#define QV_TESTS_UNIT_FAKE_ZENDRY_H

#include "platform/zendry_common.h"

#include <cstdint>
#include <functional>
#include <map>
#include <optional>
#include <string>
#include <vector>

using Bytes = std::vector<uint8_t>;

/// The support library as the tests script it. Reset by AgentTest before each test.
struct FakeZendry {
    /// Payload of the reply to each message identifier. A message without one gets no reply.
    std::map<uint8_t, Bytes> replies;
    std::optional<Bytes> reply_to_others; ///< payload of the reply to every other message
    bool wrong_id = false;                ///< replies carry another identifier

    std::vector<Bytes> requests;    ///< as they arrived
    std::vector<std::string> calls; ///< "uciSet system @system[0] name value", ...
    int32_t uci_init_result = 0;
    int32_t broker_section = 0; ///< what uciSectionExist answers
    BrokerConfig broker{1883, "127.0.0.1"};
    int32_t file_request_result = 0;
    std::function<void()> during_request; ///< called with each call of the library

    /// Message `id` is answered with a header alone, as apply messages are.
    void acknowledge(uint8_t id) {
        replies[id] = {};
    }
};

FakeZendry& fake();

/// Request as it must arrive: header of that family and identifier, then the payload.
Bytes request_image(uint8_t module, uint8_t id, const Bytes& payload);

#endif
