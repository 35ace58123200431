#include "kill_point.h"
#include "network/kept_settings.h"
#include "scratch_root.h"

namespace {

using KeptSettingsKill = ScratchRoot;

KeptSettings of(uint16_t seconds) {
    KeptSettings kept;
    kept.seconds[0] = seconds;
    return kept;
}

TEST_F(KeptSettingsKill, AtEverySystemCallTheFileIsTheOldOrTheNewOne) {
    if (!tracing_works()) {
        GTEST_SKIP() << "no ptrace";
    }
    const struct {
        const char* name;
        uint16_t before, after; ///< seconds, 0: no file
    } rows[] = {
        {"first, with its folder", 0, 10},
        {"second", 10, 20},
        {"confirmed or taken back", 20, 0},
    };
    const std::string folder = root_ + "/etc/qvagent";
    for (const auto& row : rows) {
        SCOPED_TRACE(row.name);
        int point = 0;
        for (bool killed = true; killed;) {
            std::filesystem::remove_all(folder);
            if (row.before != 0) {
                ASSERT_EQ(qv_save_kept(of(row.before)), 0);
            }
            killed = run_to_kill_point(++point, [&] { qv_save_kept(of(row.after)); });
            testing::internal::CaptureStdout();
            const uint16_t left = qv_load_kept().seconds[0];
            ASSERT_EQ(testing::internal::GetCapturedStdout(), "") << "killed at " << point;
            ASSERT_TRUE(left == row.after || (killed && left == row.before))
                << left << ", killed at " << point;
            ASSERT_EQ(qv_save_kept(of(30)), 0) << "killed at " << point;
            ASSERT_EQ(qv_load_kept().seconds[0], 30);
        }
        EXPECT_GT(point, 5);
    }
}

} // namespace
