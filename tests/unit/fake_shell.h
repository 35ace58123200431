// Stands in for platform/shell.h and the device's paths: nothing is run, nothing of the machine's
// is read.
#ifndef QV_TESTS_UNIT_FAKE_SHELL_H
#define QV_TESTS_UNIT_FAKE_SHELL_H

#include <cstdint>
#include <map>
#include <string>
#include <vector>

/// Before each command stands this on standard output, for its place among the log lines.
inline constexpr const char* SHELL_LINE = "shell: ";

struct FakeShell {
    std::vector<std::string> commands;
    std::map<std::string, int32_t> status; ///< by the command's first word; 0 for others
    std::string output;                    ///< of commands that are read
};

FakeShell& fake_shell();

/// A folder of the test's own, in which the device's files lie.
struct DeviceFolder {
    DeviceFolder();
    ~DeviceFolder();
    DeviceFolder(const DeviceFolder&) = delete;
    DeviceFolder& operator=(const DeviceFolder&) = delete;

    std::string path;
};

#endif
