#include "kill_point.h"
#include "platform/zendry_common.h"
#include "scratch_root.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <csignal>
#include <cstdio>
#include <numeric>
#include <random>
#include <string>
#include <sys/mman.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using UciKill = ScratchRoot;

// --- At every system call ---

// The calls that the agent makes for each of its writes.

void store_default_broker() {
    uciInit();
    const int32_t exists = uciSectionExist("system", "conf", "broker");
    uciDestroy();
    if (exists == -1) {
        uci_add_section_system_config("conf", "broker");
        uci_set_system_broker_config("broker", {1883, "127.0.0.1"});
    }
}

void store_status() {
    uci_set_system_broker_status(1);
}

void store_notes() {
    uciInit();
    uciSet("system", "@system[0]", "equipment_notes", "roof");
    uciCommit("system");
    uciDestroy();
}

void delete_maclists() {
    uciInit();
    for (const char* section : {"@wifi-iface[0]", "@wifi-iface[1]"}) {
        uciDelete("wireless", section, "maclist");
        uciCommit("wireless");
    }
    uciDestroy();
}

const std::string default_entry = "config conf 'broker'\n"
                                  "\toption host '127.0.0.1'\n\toption port '1883'\n";
const std::string radio = "config wifi-iface\n";
const std::string maclist = "\tlist maclist '06:00:00:00:00:01'\n";

const struct {
    const char* name;
    void (*write)();
    const char* package;
    std::vector<std::string> texts; ///< before the write, after each of its commits
} writes[] = {
    {"first start", store_default_broker, "system", {"", default_entry}},
    {"first start beside other settings",
     store_default_broker,
     "system",
     {"config system\n", "config system\n\n" + default_entry}},
    {"start with an entry that leads nowhere",
     store_default_broker,
     "system",
     {"config conf 'broker'\n\toption status '0'\n",
      "config conf 'broker'\n\toption status '0'\n"
      "\toption host '127.0.0.1'\n\toption port '1883'\n"}},
    {"connection status",
     store_status,
     "system",
     {default_entry, default_entry + "\toption status '1'\n"}},
    {"equipment notes",
     store_notes,
     "system",
     {"config system\n", "config system\n\toption equipment_notes 'roof'\n"}},
    {"MAC lists",
     delete_maclists,
     "wireless",
     {radio + maclist + radio + maclist, radio + radio + maclist, radio + radio}},
};

TEST_F(UciKill, AtEverySystemCallOfAWriteThePackageIsWholeAndTheNextWriteSucceeds) {
    if (!tracing_works()) {
        GTEST_SKIP() << "no ptrace";
    }
    for (const auto& row : writes) {
        SCOPED_TRACE(row.name);
        int point = 0;
        bool killed = true;
        while (killed) {
            if (row.texts.front().empty()) {
                std::filesystem::remove(package_path(row.package));
            } else {
                write_package(row.package, row.texts.front());
            }
            killed = run_to_kill_point(++point, row.write);
            ASSERT_NE(std::ranges::find(row.texts, read_package(row.package)), row.texts.end())
                << "killed at " << point << ":\n"
                << read_package(row.package);
            row.write();
            ASSERT_EQ(read_package(row.package), row.texts.back()) << "killed at " << point;
        }
        printf("%s: %d kill points\n", row.name, point - 1);
        EXPECT_GT(point, 10);
    }
}

// --- At any time ---

/// Numbers of the writes of one kind; one thread of the writer counts them, the test reads them.
struct Progress {
    std::atomic<int> begun;
    std::atomic<int> confirmed;
};

bool write_option(const char* package, const char* section, const char* option, int number) {
    const std::string value = "v" + std::to_string(number);
    const bool done = uciInit() == 0 && uciSet(package, section, option, value.c_str()) == 0 &&
                      uciCommit(package) == 0;
    uciDestroy();
    return done;
}

bool write_broker(int number) {
    BrokerConfig settings{1883, {}};
    snprintf(settings.host, sizeof settings.host, "v%d", number);
    return uci_set_system_broker_config("broker", settings) == 0;
}

bool write_notes(int number) {
    return write_option("system", "@system[0]", "equipment_notes", number);
}

bool write_channel(int number) {
    return write_option("wireless", "radio", "channel", number);
}

struct Kind {
    bool (*write)(int number);
    const char* package;
    std::string option;
};
const Kind kinds[] = {
    {write_broker, "system", "host"},
    {write_notes, "system", "equipment_notes"},
    {write_channel, "wireless", "channel"},
};
using AllProgress = std::array<Progress, std::size(kinds)>;

[[noreturn]] void write_for_ever(AllProgress& progress) {
    const auto work = [&progress](size_t kind) {
        for (;;) {
            const int number = ++progress[kind].begun;
            if (kinds[kind].write(number)) {
                progress[kind].confirmed = number;
            }
            usleep(200); // lets the others have the lock
        }
    };
    for (size_t kind = 1; kind < std::size(kinds); ++kind) {
        std::thread(work, kind).detach(); // the kill ends it
    }
    work(0);
    _exit(1);
}

int total_confirmed(const AllProgress& progress) {
    return std::accumulate(progress.begin(), progress.end(), 0,
                           [](int sum, const Progress& kind) { return sum + kind.confirmed; });
}

TEST_F(UciKill, AThousandKillsLoseNothingThatWasConfirmed) {
    write_package("system", "config system\n\toption equipment_notes 'v0'\n\n"
                            "config conf broker\n\toption host 'v0'\n\toption port '1883'\n");
    write_package("wireless", "config wifi-device radio\n\toption channel 'v0'\n");
    void* const shared = mmap(nullptr, sizeof(AllProgress), PROT_READ | PROT_WRITE,
                              MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    ASSERT_NE(shared, MAP_FAILED);
    auto& progress = *new (shared) AllProgress{};
    std::minstd_rand random(1);
    for (int round = 0; round < 1000; ++round) {
        const int before = total_confirmed(progress);
        const pid_t child = fork();
        if (child == 0) {
            write_for_ever(progress);
        }
        for (int i = 0; i < 50000 && total_confirmed(progress) == before; ++i) {
            usleep(200); // at most 10 s, until it has written
        }
        usleep(static_cast<useconds_t>(random() % 3000));
        kill(child, SIGKILL);
        ASSERT_EQ(waitpid(child, nullptr, 0), child);
        for (size_t i = 0; i < std::size(kinds); ++i) {
            const std::string text = read_package(kinds[i].package);
            const auto stores = [&](int number) {
                return text.find("\toption " + kinds[i].option + " 'v" + std::to_string(number) +
                                 "'\n") != std::string::npos;
            };
            const int confirmed = progress[i].confirmed;
            ASSERT_TRUE(stores(confirmed) || stores(progress[i].begun))
                << "round " << round << ": " << confirmed << " was confirmed:\n"
                << text;
            progress[i].confirmed = stores(confirmed) ? confirmed : progress[i].begun.load();
        }
    }
    for (const Progress& kind : progress) {
        EXPECT_GT(kind.confirmed, 0);
        printf("%d writes confirmed\n", kind.confirmed.load());
    }
    munmap(shared, sizeof(AllProgress));
}

} // namespace
