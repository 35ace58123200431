#include "broker/intake_worker.h"

#include "agent/context.h"
#include "broker/intake.h"
#include "broker/link_wait.h"

#include <cstdio>
#include <cstring>

int32_t IntakeWorker::start(AgentContext& context, const IntakeCommand& command, const char* text,
                            uint32_t length) {
    text_ = qv_allocate_text(size_t{length} + 1);
    if (text_ == nullptr) {
        return -1;
    }
    memcpy(text_.get(), text, length);
    text_[length] = '\0';
    length_ = length;
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
    if (!thread_.start("qv-intake", run, this)) {
        printf("QV_ERR: command %d not run: no thread\n", command.type);
        end();
        return -1;
    }
    return 0;
}

void* IntakeWorker::run(void* worker) {
    auto& self = *static_cast<IntakeWorker*>(worker);
    qv_intake_run(*self.context_, *self.command_, self.text_.get(), self.length_);
    self.end();
    qv_link_wake(*self.context_->session); // what was read meanwhile is taken on
    return nullptr;
}

void IntakeWorker::end() {
    {
        const std::lock_guard guard(lock_);
        busy_ = false;
    }
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
