// Reports while memory runs out: the linker hands the agent's allocations to the function below.
#include "reports/report.h"
#include "support.h"

namespace {

int allocations_left = 0; ///< the last of them fails; 0: none is counted

} // namespace

extern "C" {

void* __real_malloc(size_t size);

void* __wrap_malloc(size_t size) {
    return allocations_left > 0 && --allocations_left == 0 ? nullptr : __real_malloc(size);
}
}

using OutOfMemoryTest = AgentTest;

TEST_F(OutOfMemoryTest, AReportIsWholeOrThereIsNone) {
    for (const ReportKind& row : context.report_kinds) {
        SCOPED_TRACE(row.type);
        int without = 0;
        bool reached = true;
        for (int n = 1; reached; ++n) { // the request, then the text
            ReportBuffer buffer;
            uint32_t length = 77;
            allocations_left = n;
            EXPECT_EQ(qv_json_build_msg_of_type(context, row.type, buffer, length), 0);
            reached = allocations_left == 0;
            allocations_left = 0;
            const std::string_view text = buffer.text();
            without += text.empty() ? 1 : 0;
            EXPECT_EQ(length, text.empty() ? 77 : text.size());
            EXPECT_TRUE(text.empty() || text.ends_with(" } }")) << text;
        }
        EXPECT_EQ(without, 1);
    }
}
