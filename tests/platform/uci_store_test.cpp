#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "scratch_root.h"

#include <chrono>
#include <csignal>
#include <fcntl.h>
#include <string>
#include <sys/file.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char* SYSTEM_TEXT = "config system\n\toption hostname 'ap'\n\n"
                                    "config conf 'broker'\n"
                                    "\toption host '10.0.0.1'\n"
                                    "\toption port '1883'\n";

class UciStore : public ScratchRoot {
protected:
    struct stat about() const {
        struct stat result {};
        EXPECT_EQ(stat(package_path("system").c_str(), &result), 0);
        return result;
    }
    ptrdiff_t files_in_store() const {
        const std::filesystem::directory_iterator files(root_ + "/etc/config");
        return std::distance(begin(files), end(files));
    }
};

TEST_F(UciStore, OnlyWhatIsCommittedIsKept) {
    write_package("system", SYSTEM_TEXT);
    ASSERT_EQ(chmod(package_path("system").c_str(), 0640), 0);
    ASSERT_EQ(uciInit(), 0);
    EXPECT_EQ(uciInit(), -1); // not twice in one thread, and without waiting for itself
    EXPECT_EQ(uciSet("system", "broker", "host", "x"), 0);
    uciDestroy();
    EXPECT_EQ(read_package("system"), SYSTEM_TEXT);

    ASSERT_EQ(uciInit(), 0);
    for (const std::string notes : {"roof", "cellar"}) {
        EXPECT_EQ(uciSet("system", "@system[0]", "equipment_notes", notes.c_str()), 0);
        EXPECT_EQ(uciCommit("system"), 0);
        EXPECT_NE(read_package("system").find("'ap'\n\toption equipment_notes '" + notes + "'\n"),
                  std::string::npos);
        // A second commit must not erase what was written after the first one: it stays locked.
        const ScopedFd file(open(package_path("system").c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(flock(file.get(), LOCK_EX | LOCK_NB), -1);
    }
    uciDestroy();
    EXPECT_EQ(about().st_mode & 07777U, 0640U);
    EXPECT_EQ(files_in_store(), 1);
}

TEST_F(UciStore, BadPackagesAreReportedAndNeverWritten) {
    const std::string broken = "config conf 'broker'\n\toption host 'x\n";
    write_package("system", broken);
    std::filesystem::create_directory(package_path("folder"));
    testing::internal::CaptureStdout();
    ASSERT_EQ(uciInit(), 0);
    EXPECT_EQ(uciSet("system", "broker", "host", "y"), -1);
    EXPECT_EQ(uciDelete("system", "broker", "host"), -1);
    for (const char* name : {"system", "folder", "../config/system", "", ".", "a/b", ".system"}) {
        EXPECT_EQ(uciCommit(name), -1) << name;
        EXPECT_EQ(uciSectionExist(name, "conf", "broker"), -2) << name;
    }
    EXPECT_EQ(uciSectionExist("absent", "conf", "broker"), -1);
    EXPECT_EQ(uciSet("absent", "@system[0]", "notes", "roof"), -1);
    uciDestroy();
    EXPECT_EQ(files_in_store(), 2); // a look at what is not there makes nothing
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "QV_ERR: " + package_path("system") + ":2: quote not closed\n" +
                  "QV_ERR: " + package_path("folder") + ": Is a directory\n" +
                  "QV_ERR: absent.@system[0].notes not set: no such section, or no room\n");
    EXPECT_EQ(read_package("system"), broken);
}

// A file size limit stands in for the full disk, and works for root as well.
TEST_F(UciStore, AFullDiskKeepsTheOldFile) {
    write_package("system", SYSTEM_TEXT);
    signal(SIGXFSZ, SIG_IGN);
    rlimit usual;
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit small{64, usual.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_EQ(uci_set_system_broker_config("broker", {1883, "10.0.0.2"}), -1);
    setrlimit(RLIMIT_FSIZE, &usual);
    EXPECT_EQ(read_package("system"), SYSTEM_TEXT);
    EXPECT_EQ(files_in_store(), 1);
}

// Another program's edit, made while it holds the lock on the package file.
TEST_F(UciStore, WhatTheHolderOfTheLockWritesIsKept) {
    const std::string path = package_path("system");
    const std::string target = root_ + "/target";
    std::filesystem::create_symlink(target, path);
    write_package("system", SYSTEM_TEXT);
    int32_t result = -2;
    std::thread waiter;
    {
        const ScopedFd held(open(path.c_str(), O_RDWR | O_CLOEXEC));
        ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
        waiter = std::thread([&] {
            result = uci_set_system_broker_config("broker", {1884, "10.0.0.2"});
        });
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
        std::ofstream(target + ".new") << "config foreign 'edit'\n\n" << SYSTEM_TEXT;
        std::filesystem::rename(target + ".new", target);
    }
    waiter.join();
    EXPECT_EQ(result, 0);
    EXPECT_EQ(read_package("system").find("config foreign 'edit'\n"), 0U);
    EXPECT_NE(read_package("system").find("\toption port '1884'\n"), std::string::npos);
    EXPECT_TRUE(std::filesystem::is_symlink(path));
    EXPECT_EQ(files_in_store(), 1);
}

TEST_F(UciStore, BrokerEntryIsCreatedStoredAndReadBack) {
    EXPECT_EQ(uci_set_system_broker_status(0), -1);
    EXPECT_EQ(uci_add_section_system_config("conf", "broker"), 0);
    EXPECT_EQ(files_in_store(), 0); // no entry without an address, at no time
    EXPECT_EQ(uci_set_system_broker_config("broker", {1883, "127.0.0.1"}), 0);
    EXPECT_EQ(uci_set_system_broker_status(1), 0);
    EXPECT_EQ(read_package("system"), "config conf 'broker'\n"
                                      "\toption host '127.0.0.1'\n\toption port '1883'\n"
                                      "\toption status '1'\n");
    EXPECT_EQ(about().st_mode & 07777U, 0600U);

    const struct stat before = about();
    EXPECT_EQ(uci_set_system_broker_status(1), 0);
    EXPECT_EQ(about().st_ino, before.st_ino); // nothing new, nothing written
    EXPECT_EQ(uci_set_system_broker_status(0), 0);
    EXPECT_NE(about().st_ino, before.st_ino);
}

TEST_F(UciStore, OnlyUsableBrokerSettingsAreRead) {
    const struct {
        const char* section;
        int32_t exists;
        bool good = false;
    } rows[] = {
        {"conf broker; option host 12345678901234567890123; option port 65535", 0, true},
        {"conf broker; option host 123456789012345678901234; option port 1883", 0},
        {"conf broker; option host 'a\nb'; option port 1883", 0},
        {"conf broker; option host a", 0}, // left to whoever wrote it
        {"conf broker; option host a; option port 0", 0},
        {"conf broker; option host a; option port 1883x", 0},
        {"conf broker; list host a; option port 1883", 0},
        // An entry that leads nowhere counts as none.
        {"conf broker; option host ''; option port ''; option status 0", -1},
        {"conf other; option host a; option port 1883", -1},
        {"timeserver broker; option host a", -1},
    };
    for (const auto& row : rows) {
        SCOPED_TRACE(row.section);
        write_package("system", std::string("config ") + row.section);
        ASSERT_EQ(uciInit(), 0);
        EXPECT_EQ(uciSectionExist("system", "conf", "broker"), row.exists);
        uciDestroy();
        BrokerConfig settings{7, "kept"};
        EXPECT_EQ(uci_get_system_broker_config("broker", &settings), row.good ? 0 : -1);
        EXPECT_EQ(settings.port, row.good ? 65535 : 7);
        EXPECT_STREQ(settings.host, row.good ? "12345678901234567890123" : "kept");
        EXPECT_EQ(uci_set_system_broker_status(0), row.exists);
    }
}

} // namespace
