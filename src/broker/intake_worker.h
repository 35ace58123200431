// The thread for inbound commands that take long: the network thread waits for none of them.
#ifndef QV_BROKER_INTAKE_WORKER_H
#define QV_BROKER_INTAKE_WORKER_H

#include "platform/owned_text.h"
#include "platform/thread.h"

#include <condition_variable>
#include <cstdint>
#include <mutex>

struct AgentContext;
struct IntakeCommand;

/// One command at a time, on a thread that lives as long as the command. The network thread
/// starts it; the main thread waits for its end when the agent stops.
class IntakeWorker {
public:
    IntakeWorker() = default;
    IntakeWorker(const IntakeWorker&) = delete;
    IntakeWorker& operator=(const IntakeWorker&) = delete;

    using Run = int32_t(AgentContext& context, const IntakeCommand& command, const char* text,
                        uint32_t length);

    /// Calls `run` for a command of the intake's table with a copy of its text; the worker is free.
    /// Returns 0, also when the agent stops and the command is dropped, or -1 when memory or
    /// threads are out. The end of the command is told to the session's `wake`.
    int32_t start(Run& run, AgentContext& context, const IntakeCommand& command, const char* text,
                  uint32_t length);

    bool busy();

    /// Returns when no command runs.
    void await_idle();

private:
    static void* thread(void* worker);
    void end();

    Run* run_ = nullptr;
    AgentContext* context_ = nullptr;
    const IntakeCommand* command_ = nullptr;
    OwnedText text_;
    uint32_t length_ = 0;

    std::mutex lock_; ///< guards what follows
    std::condition_variable idle_;
    bool busy_ = false;

    Thread thread_; ///< behind all that it uses, so that it is joined before that is destroyed
};

#endif
