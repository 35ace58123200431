// Any bytes from the broker: the intake, and every command handler behind it.
#include "agent/context.h"
#include "agent/dispatcher.h"
#include "broker/intake.h"
#include "fuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    FuzzAgent agent;
    fake().reply_to_others = Bytes();
    const std::string text(reinterpret_cast<const char*>(data), size);
    qv_agent_recv_msg(agent.context, "topic", text.c_str(), static_cast<uint32_t>(size));
    agent.context.worker.join();
    while (agent.context.queue.count > 0) {
        qv_agent_process(agent.context, *msg_queue_pop(agent.context.queue));
    }
    return 0;
}
