#include "broker/host_lookup.h"

#include "broker/link_wait.h"
#include "platform/scoped_fd.h"
#include "platform/zendry_common.h"

#include <arpa/inet.h>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <netdb.h>
#include <new>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>

namespace {

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

    std::atomic<int> owners{2}; ///< the HostLookup and the thread
    std::array<char, BROKER_HOST_SIZE> host{};
    HostAddresses addresses; ///< the thread's until it is ready
    std::atomic<bool> ready{false};
    ScopedFd done{eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK)};
};

void HostLookup::Release::operator()(Job* job) const {
    if (--job->owners == 0) {
        delete job;
    }
}

void* HostLookup::run(void* argument) {
    const std::unique_ptr<Job, Release> job(static_cast<Job*>(argument));
    job->addresses = resolve(job->host.data());
    job->ready = true;
    eventfd_write(job->done.get(), 1);
    return nullptr;
}

bool HostLookup::start(const char* host) {
    job_.reset(new (std::nothrow) Job(host));
    if (job_ == nullptr) {
        return false;
    }
    if (!job_->done.valid() || !start_detached(run, job_.get())) {
        job_->owners = 1;
        job_.reset();
    }
    return job_ != nullptr;
}

HostAddresses HostLookup::find(AgentContext& context, const char* host,
                               MonotonicCondition::Clock::time_point deadline) {
    HostAddresses addresses;
    if (is_address(host)) {
        add(addresses, host);
        return addresses;
    }
    if (job_ == nullptr && !start(host)) {
        return addresses;
    }
    qv_link_await(context, job_->done.get(), POLLIN, deadline);
    if (!job_->ready) {
        return addresses;
    }
    if (strcmp(job_->host.data(), host) == 0) { // not of a host that was set before
        addresses = job_->addresses;
    }
    job_.reset();
    return addresses;
}
