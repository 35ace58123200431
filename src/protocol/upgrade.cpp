#include "protocol/upgrade.h"

#include "protocol/record_checks.h"

#include <array>

namespace {

using enum RecordFieldType;

constexpr std::array FIELDS = {
    qv_required(
        {"image_name", terminated_text, QV_RECORD_MEMBER(FwParams, image_name, 0), "image_name"}),
    qv_required({"md5sum", terminated_text, QV_RECORD_MEMBER(FwParams, md5sum, 128), "md5sum"}),
    qv_required(
        {"server_ip", terminated_text, QV_RECORD_MEMBER(FwParams, server_ip, 400), "server_ip"}),
    qv_required({"server_port", terminated_text, QV_RECORD_MEMBER(FwParams, server_port, 384),
                 "server_port"}),
    qv_required({"save_config", terminated_text, QV_RECORD_MEMBER(FwParams, save_config, 464),
                 "save_config"}),
    qv_required({"reboot", terminated_text, QV_RECORD_MEMBER(FwParams, reboot, 472), "reboot"}),
};
static_assert(qv_settings_fit(FIELDS, sizeof(FwParams)));

constexpr std::array LOG_FIELDS = {FIELDS[0], FIELDS[2], FIELDS[3],
                                   FIELDS[1], FIELDS[4], FIELDS[5]};

constexpr RecordField FLASH_FIELDS[] = {
    qv_required({"save_config", i32, QV_RECORD_MEMBER(FlashParams, save_config, 0)}),
    qv_required({"reboot", i32, QV_RECORD_MEMBER(FlashParams, reboot, 4)}),
};
static_assert(qv_settings_fit(FLASH_FIELDS, sizeof(FlashParams)));

} // namespace

const RecordTable qv_fw_fields = FIELDS;
const RecordTable qv_fw_log_fields = LOG_FIELDS;
const RecordTable qv_flash_fields = FLASH_FIELDS;
