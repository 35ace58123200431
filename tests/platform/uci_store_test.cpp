#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"
#include "scratch_root.h"

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstring>
#include <fcntl.h>
#include <sched.h>
#include <string>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace {

constexpr const char* system_text = "config system\n\toption hostname 'ap'\n\n"
                                    "config conf 'broker'\n"
                                    "\toption host '10.0.0.1'\n"
                                    "\toption port '1883'\n";

class UciStore : public ScratchRoot {
protected:
    // Sets and commits one option in a session of its own.
    static int32_t store(const char* section, const char* option, const std::string& value) {
        if (uciInit() != 0) {
            return -2;
        }
        int32_t result = uciSet("system", section, option, value.c_str());
        if (result == 0) {
            result = uciCommit("system");
        }
        uciDestroy();
        return result;
    }
    struct stat about() const {
        struct stat result {};
        EXPECT_EQ(stat(package_path("system").c_str(), &result), 0);
        return result;
    }
    static size_t files_in(const std::string& folder) {
        const std::filesystem::directory_iterator files(folder);
        return static_cast<size_t>(std::distance(begin(files), end(files)));
    }
    size_t files_in_store() const {
        return files_in(root_ + "/etc/config");
    }
};

TEST_F(UciStore, OnlyWhatIsCommittedIsKept) {
    write_package("system", system_text);
    ASSERT_EQ(chmod(package_path("system").c_str(), 0640), 0);
    ASSERT_EQ(uciInit(), 0);
    EXPECT_EQ(uciInit(), -1); // not twice in one thread, and without waiting for itself
    EXPECT_EQ(uci_set_system_broker_status(1), -1);
    EXPECT_EQ(uciSet("system", "broker", "host", "x"), 0);
    uciDestroy();
    EXPECT_EQ(read_package("system"), system_text);
    EXPECT_EQ(uciSet("system", "broker", "host", "x"), -1);
    EXPECT_EQ(uciCommit("system"), -1);

    ASSERT_EQ(store("@system[0]", "equipment_notes", "roof"), 0);
    EXPECT_EQ(about().st_mode & 07777U, 0640U);
    EXPECT_EQ(files_in_store(), 1U);
    EXPECT_NE(
        read_package("system").find("\toption hostname 'ap'\n\toption equipment_notes 'roof'\n"),
        std::string::npos);
}

TEST_F(UciStore, BadPackagesAreReportedAndNeverWritten) {
    const std::string broken = "config conf 'broker'\n\toption host 'x\n";
    write_package("system", broken);
    std::filesystem::create_directory(package_path("folder"));
    testing::internal::CaptureStdout();
    ASSERT_EQ(uciInit(), 0);
    EXPECT_EQ(uciSectionExist("system", "conf", "broker"), -2);
    EXPECT_EQ(uciSet("system", "broker", "host", "y"), -1);
    EXPECT_EQ(uciDelete("system", "broker", "host"), -1);
    EXPECT_EQ(uciCommit("system"), -1);
    EXPECT_EQ(uciCommit("folder"), -1);
    for (const char* name : {"../config/system", "", ".", "a/b", ".system"}) {
        EXPECT_EQ(uciCommit(name), -1) << name;
        EXPECT_EQ(uciSectionExist(name, "conf", "broker"), -2) << name;
    }
    EXPECT_EQ(uciSectionExist("absent", "conf", "broker"), -1);
    EXPECT_EQ(uciSet("absent", "@system[0]", "notes", "roof"), -1);
    uciDestroy();
    EXPECT_EQ(files_in_store(), 2U); // a look at what is not there makes nothing
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "QV_ERR: " + package_path("system") + ":2: quote not closed\n" +
                  "QV_ERR: " + package_path("folder") + ": Is a directory\n" +
                  "QV_ERR: absent.@system[0].notes not set: no such section, or no room\n");
    EXPECT_EQ(read_package("system"), broken);
}

// A file size limit stands in for the full disk, and works for root as well.
TEST_F(UciStore, AFullDiskKeepsTheOldFile) {
    write_package("system", system_text);
    const pid_t child = fork();
    if (child == 0) {
        signal(SIGXFSZ, SIG_IGN);
        const rlimit limit{64, 64};
        setrlimit(RLIMIT_FSIZE, &limit);
        _exit(store("broker", "host", "10.0.0.2") == -1 ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
    EXPECT_EQ(read_package("system"), system_text);
    EXPECT_EQ(files_in_store(), 1U);
}

// Each worker adds one to a number in the file; a lost update shows in the sum.
TEST_F(UciStore, SessionsExcludeThreadsAndProcesses) {
    constexpr int rounds = 25;
    write_package("system", "config system\n\tlist count 1\n");
    const auto work = [this] {
        for (int i = 0; i < rounds; ++i) {
            ASSERT_EQ(uciInit(), 0);
            ASSERT_EQ(uciSectionExist("system", "conf", "broker"), -1); // takes the package
            const std::string text = read_package("system");
            const int count = atoi(text.c_str() + text.find_first_of("0123456789"));
            std::this_thread::sleep_for(std::chrono::microseconds(100));
            uciSet("system", "@system[0]", "count", std::to_string(count + 1).c_str());
            uciCommit("system");
            uciDestroy();
        }
    };
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    std::thread threads[2];
    for (std::thread& thread : threads) {
        thread = std::thread(work);
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    waitpid(child, nullptr, 0);
    EXPECT_EQ(read_package("system"), "config system\n\toption count '76'\n");
}

// Another program's edit, made while it holds the lock on the package file.
struct ForeignEdit {
    const char* name;
    bool package_exists;
    bool package_is_link;
    bool replaces; ///< the file, instead of rewriting it
} const foreign_edits[] = {
    {"rewrites the file", true, false, false},
    {"replaces the file", true, false, true},
    {"makes the file", false, false, false},
    {"replaces the target of a link", true, true, true},
};

TEST_F(UciStore, WhatTheHolderOfTheLockWritesIsKept) {
    for (const ForeignEdit& row : foreign_edits) {
        SCOPED_TRACE(row.name);
        const std::string path = package_path("system");
        const std::string target = row.package_is_link ? root_ + "/target" : path;
        std::filesystem::remove(path);
        if (row.package_is_link) {
            std::filesystem::create_symlink(target, path);
        }
        if (row.package_exists) {
            write_package("system", system_text);
        }
        int32_t result = -2;
        std::thread waiter;
        {
            const ScopedFd held(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
            ASSERT_EQ(flock(held.get(), LOCK_EX), 0);
            const std::string text = read_package("system");
            waiter = std::thread([&] {
                result = uci_set_system_broker_config("broker", {1884, "10.0.0.2"});
            });
            std::this_thread::sleep_for(std::chrono::milliseconds(50));
            const std::string file = row.replaces ? target + ".new" : target;
            std::ofstream(file) << "config foreign 'edit'\n\n" << text;
            std::filesystem::rename(file, target);
        }
        waiter.join();
        EXPECT_EQ(result, 0);
        EXPECT_EQ(read_package("system").find("config foreign 'edit'\n"), 0U);
        EXPECT_NE(read_package("system").find("\toption port '1884'\n"), std::string::npos);
    }
}

// A second commit of a session must not erase what was written after its first one.
TEST_F(UciStore, ACommittedPackageStaysLocked) {
    write_package("system", system_text);
    ASSERT_EQ(uciInit(), 0);
    for (const char* value : {"one", "two"}) {
        EXPECT_EQ(uciSet("system", "broker", "host", value), 0);
        EXPECT_EQ(uciCommit("system"), 0);
        const ScopedFd file(open(package_path("system").c_str(), O_RDONLY | O_CLOEXEC));
        EXPECT_EQ(flock(file.get(), LOCK_EX | LOCK_NB), -1);
    }
    uciDestroy();
}

TEST_F(UciStore, ALinkedPackageIsReplacedWhereItLies) {
    const std::string folder = root_ + "/elsewhere";
    std::filesystem::create_directory(folder);
    const struct {
        std::string link;
        const char* text; ///< null: the target is not there yet
    } table[] = {
        {folder + "/absolute", system_text},
        {"../../elsewhere/relative", system_text},
        {folder + "/dangling", nullptr},
    };
    for (const auto& row : table) {
        const std::filesystem::path path = package_path("system");
        std::filesystem::remove(path);
        std::filesystem::create_symlink(row.link, path);
        if (row.text != nullptr) {
            write_package("system", row.text);
        }
        EXPECT_EQ(uci_set_system_broker_config("broker", {1884, "10.0.0.2"}), 0);
        EXPECT_EQ(std::filesystem::read_symlink(path), row.link);
        EXPECT_NE(read_package("system").find("\toption port '1884'\n"), std::string::npos);
        EXPECT_EQ(files_in_store(), 1U);
    }
    EXPECT_EQ(files_in(folder), std::size(table));
}

TEST_F(UciStore, AFileWhosePathCannotBeHadIsRefusedAtOnce) {
    const std::string half = std::string(250, 'd') + "/" + std::string(250, 'd');
    std::string folder = root_;
    // Each link is short enough to follow; the path behind them is longer than any may be.
    for (int i = 0; i < 9; ++i) {
        std::filesystem::create_directories(folder + "/" + half);
        std::filesystem::create_directory_symlink(half, folder + "/l");
        folder += "/l";
    }
    std::ofstream(folder + "/target") << system_text;
    std::filesystem::create_symlink(folder + "/target", package_path("system"));
    testing::internal::CaptureStdout();
    const auto asked = std::chrono::steady_clock::now();
    EXPECT_EQ(uci_set_system_broker_status(1), -1);
    const auto waited = std::chrono::steady_clock::now() - asked;
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "QV_ERR: " + package_path("system") + ": " + strerror(ENAMETOOLONG) + "\n");
    EXPECT_LT(waited, std::chrono::seconds(2));
}

// In a mount namespace of its own, where the store is mounted read-only.
TEST_F(UciStore, AMissingPackageOfAReadOnlyStoreIsEmpty) {
    constexpr int no_namespace = 77;
    const std::string folder = root_ + "/etc/config";
    testing::internal::CaptureStdout();
    const pid_t child = fork();
    if (child == 0) {
        if (unshare(CLONE_NEWUSER | CLONE_NEWNS) != 0 ||
            mount(folder.c_str(), folder.c_str(), nullptr, MS_BIND, nullptr) != 0 ||
            mount(nullptr, folder.c_str(), nullptr, MS_BIND | MS_REMOUNT | MS_RDONLY, nullptr)) {
            _exit(no_namespace);
        }
        uciInit();
        const bool empty = uciSectionExist("system", "conf", "broker") == -1;
        uciDestroy();
        const bool stored = uci_set_system_broker_config("broker", {1883, "10.0.0.1"}) == 0;
        fflush(stdout);
        _exit(empty && !stored ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    const std::string log = testing::internal::GetCapturedStdout();
    if (WEXITSTATUS(status) == no_namespace) {
        GTEST_SKIP() << "no user namespace";
    }
    EXPECT_EQ(status, 0);
    EXPECT_EQ(log, "QV_ERR: " + package_path("system") + ": not written: Read-only file system\n");
}

TEST_F(UciStore, BrokerEntryIsCreatedStoredAndReadBack) {
    EXPECT_EQ(uci_set_system_broker_status(0), -1);
    EXPECT_EQ(uci_add_section_system_config("conf", "broker"), 0);
    EXPECT_EQ(files_in_store(), 0U); // no entry without an address, at no time
    BrokerConfig settings{1883, "127.0.0.1"};
    EXPECT_EQ(uci_set_system_broker_config("broker", settings), 0);
    EXPECT_EQ(uci_set_system_broker_status(1), 0);
    EXPECT_EQ(read_package("system"), "config conf 'broker'\n"
                                      "\toption host '127.0.0.1'\n\toption port '1883'\n"
                                      "\toption status '1'\n");
    EXPECT_EQ(about().st_mode & 07777U, 0600U);
    settings = {};
    ASSERT_EQ(uci_get_system_broker_config("broker", &settings), 0);
    EXPECT_STREQ(settings.host, "127.0.0.1");
    EXPECT_EQ(settings.port, 1883);
    memset(settings.host, 'x', sizeof settings.host); // no terminator
    EXPECT_EQ(uci_set_system_broker_config("broker", settings), -1);

    const struct stat before = about();
    EXPECT_EQ(uci_set_system_broker_status(1), 0);
    EXPECT_EQ(about().st_ino, before.st_ino);
    EXPECT_EQ(uci_set_system_broker_status(0), 0);
    EXPECT_NE(about().st_ino, before.st_ino);
}

TEST_F(UciStore, AnEntryThatLeadsNowhereCountsAsNone) {
    const struct {
        const char* text;
        int32_t exists;
    } table[] = {
        {"config conf broker", -1},
        {"config conf broker; option status 0", -1},
        {"config conf broker; option host ''; option port ''", -1},
        {"config conf other; option host a; option port 1883", -1},
        {"config conf broker; option host a", 0}, // left to whoever wrote it
        {"config conf broker; option port 1883", 0},
    };
    for (const auto& row : table) {
        write_package("system", row.text);
        ASSERT_EQ(uciInit(), 0);
        EXPECT_EQ(uciSectionExist("system", "conf", "broker"), row.exists) << row.text;
        uciDestroy();
        EXPECT_EQ(uci_set_system_broker_status(0), row.exists) << row.text;
    }
}

TEST_F(UciStore, ASectionOfAnotherTypeStaysAsItIs) {
    const std::string text = "config timeserver 'broker'\n\toption host 'time.test'\n";
    write_package("system", text);
    testing::internal::CaptureStdout();
    ASSERT_EQ(uciInit(), 0);
    EXPECT_EQ(uciSectionExist("system", "conf", "broker"), -1);
    uciDestroy();
    EXPECT_EQ(uci_add_section_system_config("conf", "broker"), -1);
    EXPECT_EQ(uci_set_system_broker_config("broker", {1883, "127.0.0.1"}), -1);
    EXPECT_EQ(uci_set_system_broker_status(1), -1);
    fflush(stdout);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "QV_ERR: system.broker is no section of type conf and cannot become one\n");
    EXPECT_EQ(read_package("system"), text);
}

TEST_F(UciStore, UnusableBrokerSettingsAreRefused) {
    const struct {
        const char* options;
        bool good;
    } table[] = {
        {"option host 12345678901234567890123; option port 65535", true},
        {"option host 123456789012345678901234; option port 1883", false},
        {"option host ''; option port 1883", false},
        {"option host 'a\nb'; option port 1883", false},
        {"list host a; option port 1883", false},
        {"option port 1883", false},
        {"option host a", false},
        {"option host a; option port 0", false},
        {"option host a; option port 65536", false},
        {"option host a; option port -1", false},
        {"option host a; option port 1883x", false},
        {"option host a; option port ' 1883'", false},
        {"option host a; option port 99999999999999999999", false},
    };
    for (const auto& row : table) {
        write_package("system", std::string("config conf broker; ") + row.options);
        BrokerConfig settings{7, "kept"};
        testing::internal::CaptureStdout();
        EXPECT_EQ(uci_get_system_broker_config("broker", &settings), row.good ? 0 : -1);
        fflush(stdout);
        const std::string log = testing::internal::GetCapturedStdout();
        EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), row.good ? 0 : 1) << row.options;
        EXPECT_EQ(settings.port, row.good ? 65535 : 7) << row.options;
        EXPECT_STREQ(settings.host, row.good ? "12345678901234567890123" : "kept");
    }
}

} // namespace
