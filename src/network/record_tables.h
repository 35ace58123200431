// What the network commands may name: the tables over the wifi manager's network records.
#ifndef QV_NETWORK_RECORD_TABLES_H
#define QV_NETWORK_RECORD_TABLES_H

#include "messages/record_fields.h"

#include <span>

/// LanConfigRecord, WanConfigRecord and Wan6ConfigRecord.
extern const std::span<const RecordField> qv_network_lan_fields;
extern const std::span<const RecordField> qv_network_wan_fields;
extern const std::span<const RecordField> qv_network_wan6_fields;

#endif
