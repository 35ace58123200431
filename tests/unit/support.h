// What the unit tests share: record images, an agent context, the log and reports.
#ifndef QV_TESTS_UNIT_SUPPORT_H
#define QV_TESTS_UNIT_SUPPORT_H

#include "agent/context.h"
#include "fake_zendry.h"

#include <cstdint>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

/// Bytes of a record image: zeros, then texts and numbers put at offsets.
class Image {
public:
    explicit Image(size_t size) : bytes_(size) {}
    Image& text(size_t offset, std::string_view text);
    /// Little-endian, as the device stores numbers.
    Image& number(size_t offset, uint32_t value, size_t width);
    Image& bytes(size_t offset, const Bytes& values);
    operator Bytes() const {
        return bytes_;
    }

private:
    Bytes bytes_;
};

/// A context as the start-up makes it, without threads and without a session: what is published
/// is seen in the log.
class AgentTest : public testing::Test {
protected:
    AgentTest();
    ~AgentTest() override;

    /// Standard output of the action.
    template <class Action>
    std::string log_of(Action&& action) {
        testing::internal::CaptureStdout();
        action();
        return testing::internal::GetCapturedStdout();
    }

    /// Runs the handler of a command of the agent's table; the log is kept in `log`.
    int32_t run_command(int32_t type, const std::string& payload);

    /// As the network thread gets a message; waits for the firmware worker that it may start.
    int32_t receive(const std::string& text);

    /// "data" of the report of a kind, as serialised.
    std::string report_data(int32_t kind);

    AgentContext context;
    std::string log;
};

/// Texts of the reports published in a log, in order.
std::vector<std::string> published(const std::string& log);

/// The log without its "PUB MSG" lines.
std::string without_reports(const std::string& log);

#endif
