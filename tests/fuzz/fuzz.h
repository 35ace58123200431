// What the fuzz targets share.
#ifndef QV_TESTS_FUZZ_H
#define QV_TESTS_FUZZ_H

#include "agent/context.h"
#include "commands.h"
#include "fake_shell.h"
#include "fake_zendry.h"
#include "report_kinds.h"

#include <cstdint>
#include <string>

/// A context as the start-up makes it, without threads and without a session, and fresh fakes.
struct FuzzAgent {
    FuzzAgent() {
        fake() = {};
        fake_shell() = {};
        context.commands = qv_commands;
        context.intake_commands = qv_intake_commands;
        context.report_kinds = qv_report_kinds;
        msg_queue_init(context.queue);
    }
    ~FuzzAgent() {
        msg_queue_destroy(context.queue);
    }
    FuzzAgent(const FuzzAgent&) = delete;
    FuzzAgent& operator=(const FuzzAgent&) = delete;

    AgentContext context;
};

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

#endif
