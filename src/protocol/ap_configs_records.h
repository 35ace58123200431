// The wireless configuration of the whole access point in one request: host byte order, texts
// NUL-terminated.
#ifndef QV_PROTOCOL_AP_CONFIGS_RECORDS_H
#define QV_PROTOCOL_AP_CONFIGS_RECORDS_H

#include "protocol/record_fields.h"

#include <cstddef>
#include <cstdint>

struct ApConfigsVap {
    char ssid[32];
    char opmode[10];
    char network[32];
    char key[32];
    char encryption[32];
};
static_assert(sizeof(ApConfigsVap) == 138);
static_assert(offsetof(ApConfigsVap, opmode) == 32);
static_assert(offsetof(ApConfigsVap, network) == 42);
static_assert(offsetof(ApConfigsVap, encryption) == 106);

struct ApConfigsRadio {
    uint16_t channel;
    uint8_t disabled;
    uint8_t txpower;
    uint16_t country;
    char hwmode[32];
    char htmode[32];
    uint8_t reserved[2];
    uint32_t num_vaps; ///< VAPs that the command names
    ApConfigsVap vaps[8];
};
static_assert(sizeof(ApConfigsRadio) == 1180);
static_assert(offsetof(ApConfigsRadio, country) == 4);
static_assert(offsetof(ApConfigsRadio, hwmode) == 6);
static_assert(offsetof(ApConfigsRadio, htmode) == 38);
static_assert(offsetof(ApConfigsRadio, num_vaps) == 72);
static_assert(offsetof(ApConfigsRadio, vaps) == 76);

struct ApConfigs {
    uint32_t reserved;
    uint32_t num_radios; ///< radios that the command names
    ApConfigsRadio radios[3];
};
static_assert(sizeof(ApConfigs) == 3548);
static_assert(offsetof(ApConfigs, num_radios) == 4);
static_assert(offsetof(ApConfigs, radios) == 8);

/// In the order of reading.
extern const RecordTable qv_apconfigs_fields;

#endif
