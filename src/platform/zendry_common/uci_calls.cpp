// The uci* calls: the calling thread's session, and arguments checked for null.
#include "platform/log.h"
#include "platform/zendry_common.h"
#include "platform/zendry_common/broker_settings.h"
#include "platform/zendry_common/uci_session.h"

#include <cstdio>
#include <memory>
#include <string_view>

namespace {

// Ends with the thread, so that a thread which forgot uciDestroy locks nobody out.
thread_local std::unique_ptr<zendry::UciSession> session;

zendry::UciDocument* open_package(const char* package) {
    return session != nullptr && package != nullptr ? session->package(package) : nullptr;
}

} // namespace

int32_t uciInit(void) {
    if (session != nullptr) {
        return -1;
    }
    session = zendry::UciSession::open();
    return session != nullptr ? 0 : -1;
}

void uciDestroy(void) {
    session.reset();
}

int32_t uciSet(const char* package, const char* section, const char* option, const char* value) {
    zendry::UciDocument* document = open_package(package);
    if (document == nullptr || section == nullptr || option == nullptr || value == nullptr) {
        return -1;
    }
    if (!document->set(section, option, value)) {
        qv_log("QV_ERR: %s.%s.%s not set: no such section, or no room\n", package, section, option);
        return -1;
    }
    return 0;
}

int32_t uciDelete(const char* package, const char* section, const char* option) {
    zendry::UciDocument* document = open_package(package);
    if (document == nullptr || section == nullptr || option == nullptr) {
        return -1;
    }
    return document->remove(section, option) ? 0 : -1;
}

int32_t uciCommit(const char* package) {
    return session != nullptr && package != nullptr && session->commit(package) ? 0 : -1;
}

int32_t uciSectionExist(const char* package, const char* section, const char* name) {
    const zendry::UciDocument* document = open_package(package);
    if (document == nullptr || section == nullptr || name == nullptr) {
        return -2; // not -1: a caller must not take a broken package for one without the section
    }
    if (std::string_view(package) == zendry::BROKER_PACKAGE &&
        std::string_view(section) == zendry::BROKER_SECTION_TYPE) {
        return zendry::has_broker_entry(*document, name) ? 0 : -1;
    }
    const zendry::UciSection* found = document->find(name);
    return found != nullptr && found->name == name && found->type == section ? 0 : -1;
}
