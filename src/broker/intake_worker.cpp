#include "broker/intake_worker.h"

#include "agent/context.h"
#include "broker/session.h"
#include "platform/log.h"

#include <cstring>
#include <sys/eventfd.h>

int32_t IntakeWorker::start(Run& run, AgentContext& context, const IntakeCommand& command,
                            const char* text, uint32_t length) {
    text_ = qv_allocate_text(size_t{length} + 1);
    if (text_ == nullptr) {
        return -1;
    }
    memcpy(text_.get(), text, length);
    text_[length] = '\0';
    length_ = length;
    run_ = &run;
    context_ = &context;
    command_ = &command;
    {
        // The main thread raises the stop flag, then waits for the command that began before.
        const std::lock_guard guard(lock_);
        if (qv_agent_stopping(context)) {
            return 0;
        }
        busy_ = true;
    }
    if (!thread_.start("qv-intake", thread, this)) {
        qv_log("QV_ERR: command %d not run: no thread\n", command.type);
        end();
        return -1;
    }
    return 0;
}

void* IntakeWorker::thread(void* worker) {
    auto& self = *static_cast<IntakeWorker*>(worker);
    AgentContext& context = *self.context_; // the next command's as soon as this one has ended
    self.run_(context, *self.command_, self.text_.get(), self.length_);
    self.end();
    eventfd_write(context.session->wake.get(), 1); // what was read meanwhile is taken on
    return nullptr;
}

void IntakeWorker::end() {
    const std::lock_guard guard(lock_);
    busy_ = false;
    idle_.notify_all();
}

bool IntakeWorker::busy() {
    const std::lock_guard guard(lock_);
    return busy_;
}

void IntakeWorker::await_idle() {
    std::unique_lock guard(lock_);
    idle_.wait(guard, [this] { return !busy_; });
}
