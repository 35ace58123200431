#include "broker/host_lookup.h"

#include <arpa/inet.h>
#include <condition_variable>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <netdb.h>
#include <new>
#include <pthread.h>

namespace {

/// How long the stop flag may go unseen.
constexpr std::chrono::milliseconds SLICE{250};

bool is_address(const char* host) {
    in6_addr binary;
    return inet_pton(AF_INET, host, &binary) == 1 || inet_pton(AF_INET6, host, &binary) == 1;
}

void add(HostAddresses& addresses, const char* text) {
    snprintf(addresses.text[addresses.count].data(), sizeof(AddressText), "%s", text);
    ++addresses.count;
}

HostAddresses resolve(const char* host) {
    HostAddresses addresses;
    addrinfo hints{};
    hints.ai_socktype = SOCK_STREAM;
    addrinfo* found = nullptr;
    if (getaddrinfo(host, nullptr, &hints, &found) != 0) {
        return addresses;
    }
    for (const addrinfo* row = found; row != nullptr && addresses.count < addresses.text.size();
         row = row->ai_next) {
        AddressText text;
        if (getnameinfo(row->ai_addr, row->ai_addrlen, text.data(), text.size(), nullptr, 0,
                        NI_NUMERICHOST) == 0) {
            add(addresses, text.data());
        }
    }
    freeaddrinfo(found);
    return addresses;
}

bool start_detached(void* (*entry)(void*), void* argument) {
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setdetachstate(&attributes, PTHREAD_CREATE_DETACHED);
    pthread_t thread{};
    const bool started = pthread_create(&thread, &attributes, entry, argument) == 0;
    pthread_attr_destroy(&attributes);
    return started;
}

} // namespace

struct HostLookup::Job {
    explicit Job(const char* name) {
        snprintf(host.data(), host.size(), "%s", name);
    }

    std::array<char, BROKER_HOST_SIZE> host{};
    std::mutex lock; ///< guards what follows
    std::condition_variable changed;
    bool done = false;      ///< the thread has ended with this
    bool abandoned = false; ///< the thread releases the job
    HostAddresses addresses;
};

void* HostLookup::run(void* argument) {
    auto* const job = static_cast<Job*>(argument);
    const HostAddresses addresses = resolve(job->host.data());
    bool abandoned = false;
    {
        const std::lock_guard guard(job->lock);
        job->addresses = addresses;
        job->done = true;
        abandoned = job->abandoned;
        job->changed.notify_all();
    }
    if (abandoned) {
        delete job;
    }
    return nullptr;
}

HostLookup::~HostLookup() {
    if (job_ == nullptr) {
        return;
    }
    bool done = false;
    {
        const std::lock_guard guard(job_->lock);
        job_->abandoned = true;
        done = job_->done;
    }
    if (done) {
        delete job_;
    }
}

HostAddresses HostLookup::find(const AgentContext& context, const char* host,
                               std::chrono::steady_clock::time_point deadline) {
    HostAddresses addresses;
    if (is_address(host)) {
        add(addresses, host);
        return addresses;
    }
    if (job_ == nullptr) {
        job_ = new (std::nothrow) Job(host);
        if (job_ == nullptr || !start_detached(run, job_)) {
            delete job_;
            job_ = nullptr;
            return addresses;
        }
    }
    {
        std::unique_lock guard(job_->lock);
        while (!job_->done && !qv_agent_stopping(context) &&
               std::chrono::steady_clock::now() < deadline) {
            job_->changed.wait_until(guard,
                                     std::min(deadline, std::chrono::steady_clock::now() + SLICE));
        }
        if (!job_->done) {
            return addresses;
        }
        if (strcmp(job_->host.data(), host) == 0) { // not of a host that was set before
            addresses = job_->addresses;
        }
    }
    delete job_;
    job_ = nullptr;
    return addresses;
}
