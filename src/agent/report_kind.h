// Shape of a row in the catalogue of reports.
#ifndef QV_AGENT_REPORT_KIND_H
#define QV_AGENT_REPORT_KIND_H

#include "protocol/record_fields.h"
#include "protocol/reports.h"
#include "protocol/wifi_manager.h"

struct AgentContext;

/// What is done with a record that the wifi manager has answered with, before it is reported.
using ReportRecordHook = void(std::span<std::byte> record);

/// Fills a record that no message reads, of zeros before. `argument` is what the sender gave.
using ReportRecord = void(AgentContext& context, int32_t argument, std::span<std::byte> record);

/// One row of the catalogue.
struct ReportKind {
    int32_t kind; ///< 0 for a report that is sent by its type alone
    ReportType type;
    const char* data_key;                ///< the one member of "data"
    const RecordTable* fields = nullptr; ///< an object of a record's members, or a value
    const RecordList* list = nullptr;    ///< or an array of a record's entries

    WifiMgrMsgId message{}; ///< reads the record, which is all zeros without an answer
    bool has_ip = true;     ///< whether the envelope carries "ip"
    uint16_t record_size;
    ReportRecordHook* on_record = nullptr;

    ReportRecord* fill = nullptr; ///< instead of the message
};

#endif
