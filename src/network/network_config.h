// Network settings: LAN, WAN and WAN6, reported and applied. The three differ only by a row each.
#ifndef QV_NETWORK_NETWORK_CONFIG_H
#define QV_NETWORK_NETWORK_CONFIG_H

#include "agent/command.h"
#include "protocol/network_records.h"
#include "json/json_scope.h"

#include <cstdint>

// Each fills a cleared record from a NUL-terminated command text; without its settings object the
// record stays as it is. Always 0.
int32_t qv_json_parse_msg_get_network_lan(LanConfigRecord& record, const char* text,
                                          uint32_t length);
int32_t qv_json_parse_msg_get_network_wan(WanConfigRecord& record, const char* text,
                                          uint32_t length);
int32_t qv_json_parse_msg_get_network_wan6(Wan6ConfigRecord& record, const char* text,
                                           uint32_t length);

// Each prints one line per field.
void qv_print_network_lan(const LanConfigRecord& record);
void qv_print_network_wan(const WanConfigRecord& record);
void qv_print_network_wan6(const Wan6ConfigRecord& record);

// Each hands the record to the wifi manager: 0 when it answers, otherwise -1.
int32_t qv_mgr_set_network_lan(const LanConfigRecord& record);
int32_t qv_mgr_set_network_wan(const WanConfigRecord& record);
int32_t qv_mgr_set_network_wan6(const Wan6ConfigRecord& record);

// Each reads the record from the wifi manager; an unanswered read leaves it untouched. Always 0.
int32_t qv_get_network_lan(LanConfigRecord& record);
int32_t qv_get_network_wan(WanConfigRecord& record);
int32_t qv_get_network_wan6(Wan6ConfigRecord& record);

// Each adds every field to the body, as a string. Always 0.
int32_t qv_network_lan_to_json(json_object* body, const LanConfigRecord& record);
int32_t qv_network_wan_to_json(json_object* body, const WanConfigRecord& record);
int32_t qv_network_wan6_to_json(json_object* body, const Wan6ConfigRecord& record);

// Handlers of the commands that replace the settings; a member that a command omits becomes
// empty. Each publishes the settings as the wifi manager then holds them. Always 0.
CommandHandler qv_set_network_lan;
CommandHandler qv_set_network_wan;
CommandHandler qv_set_network_wan6;

#endif
