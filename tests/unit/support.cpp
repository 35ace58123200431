#include "support.h"

#include "broker/intake.h"
#include "commands.h"
#include "protocol/wifi_manager.h"
#include "report_kinds.h"
#include "reports/report.h"

#include <algorithm>
#include <cstring>
#include <sstream>

Image& Image::text(size_t offset, std::string_view text) {
    return bytes(offset, Bytes(text.begin(), text.end()));
}

Image& Image::number(size_t offset, uint32_t value, size_t width) {
    for (size_t i = 0; i < width; ++i) {
        bytes_.at(offset + i) = static_cast<uint8_t>(value >> (8 * i));
    }
    return *this;
}

Image& Image::bytes(size_t offset, const Bytes& values) {
    std::ranges::copy(values, std::span(bytes_).subspan(offset, values.size()).begin());
    return *this;
}

AgentTest::AgentTest() {
    fake() = {};
    context.commands = qv_commands;
    context.intake_commands = qv_intake_commands;
    context.report_kinds = qv_report_kinds;
    context.identity.macaddr = {0x00, 0x11, 0x22, 0xaa, 0xbb, 0xcc};
    strcpy(context.identity.ipaddr.data(), "192.168.1.1");
    msg_queue_init(context.queue);
}

AgentTest::~AgentTest() {
    msg_queue_destroy(context.queue);
}

int32_t AgentTest::run_command(int32_t type, const std::string& payload) {
    const auto command = std::ranges::find(context.commands, type, &Command::type);
    if (command == context.commands.end()) {
        ADD_FAILURE() << "no command " << type;
        return 0;
    }
    int32_t result = 0;
    log = log_of([&] {
        result = command->handler(context, payload.c_str(), static_cast<uint32_t>(payload.size()));
    });
    return result;
}

int32_t AgentTest::receive(const std::string& text) {
    int32_t result = 0;
    log = log_of([&] {
        result =
            qv_agent_recv_msg(context, "topic", text.c_str(), static_cast<uint32_t>(text.size()));
        context.worker.join();
    });
    return result;
}

std::string AgentTest::report_data(int32_t kind) {
    ReportBuffer buffer;
    uint32_t length = 0;
    log = log_of([&] { EXPECT_EQ(qv_json_build_msg(context, kind, buffer, length), 0); });
    const std::string text = buffer.text();
    EXPECT_EQ(text.size(), length);
    const std::string before_data = "\"data\": ";
    const size_t start = text.find(before_data);
    if (start == std::string::npos) {
        ADD_FAILURE() << "no data in " << text;
        return {};
    }
    // Up to the blank and brace that close the envelope.
    return text.substr(start + before_data.size(), text.size() - 2 - (start + before_data.size()));
}

static constexpr std::string_view PUBLISHED = "PUB MSG: topic=qv/dev_to_controller len=";

std::vector<std::string> published(const std::string& log) {
    std::vector<std::string> texts;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with(PUBLISHED)) {
            texts.push_back(line.substr(line.find(" msg=") + 5));
        }
    }
    return texts;
}

std::string without_reports(const std::string& log) {
    std::string rest;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        rest += line.starts_with(PUBLISHED) ? "" : line + "\n";
    }
    return rest;
}
