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

    /// Runs a command of the intake's table on a copy of its text; the worker is free. Returns 0,
    /// also when the agent stops and the command is dropped, or -1 when memory or threads are out.
    int32_t start(AgentContext& context, const IntakeCommand& command, const char* text,
                  uint32_t length);

    bool busy();

    /// Returns when no command runs.
    void await_idle();

private:
    static void* run(void* worker);
    void end();

    Thread thread_;
    AgentContext* context_ = nullptr;
    const IntakeCommand* command_ = nullptr;
    OwnedText text_;
    uint32_t length_ = 0;

    std::mutex lock_; ///< guards what follows
    std::condition_variable idle_;
    bool busy_ = false;
};

#endif
