// Shape of a row in the catalogue of reports.
#ifndef QV_AGENT_REPORT_KIND_H
#define QV_AGENT_REPORT_KIND_H

#include "protocol/record_fields.h"
#include "protocol/reports.h"
#include "protocol/wifi_manager.h"

struct AgentContext;

/// What is done with a record that the wifi manager has answered with, before it is reported.
using ReportRecordHook = void(std::span<std::byte> record);

/// Makes a body that is no record; none drops the report. `argument` is what the sender gave.
using ReportBody = JsonPtr(AgentContext& context, int32_t argument);

/// One row of the catalogue. Without fields and list the body is an integer.
struct ReportKind {
    int32_t kind; ///< 0 for a report that is sent by its type alone
    ReportType type;
    const char* data_key;                ///< the one member of "data"
    const RecordTable* fields = nullptr; ///< the body is an object of a record's members
    const RecordList* list = nullptr;    ///< or an array of a record's entries

    WifiMgrMsgId message{}; ///< reads the record, which is all zeros without an answer
    bool has_ip = true;     ///< whether the envelope carries "ip"
    uint16_t record_size = 0;
    ReportRecordHook* on_record = nullptr;

    ReportBody* body = nullptr; ///< makes the body of a record that no message reads
};

#endif
