// Radios and virtual access points (VAPs) as the wifi manager holds them and takes them: host byte
// order, text fields NUL-terminated within their width or as long as it.
#ifndef QV_PROTOCOL_RADIO_VAP_RECORDS_H
#define QV_PROTOCOL_RADIO_VAP_RECORDS_H

#include "protocol/record_fields.h"

#include <cstddef>
#include <cstdint>

/// One radio of the radio list. Units and codes of the numbers are the wifi manager's.
struct RadioEntry {
    uint16_t channel;
    uint8_t disabled;
    uint8_t txpower;
    uint16_t country;
    uint8_t reserved[8];
    char radio_type[8];
    char hwmode[32];
    char htmode[32];
    char radio_name[16];
};
static_assert(sizeof(RadioEntry) == 102);
static_assert(offsetof(RadioEntry, country) == 4);
static_assert(offsetof(RadioEntry, radio_type) == 14);
static_assert(offsetof(RadioEntry, htmode) == 54);
static_assert(offsetof(RadioEntry, radio_name) == 86);

struct RadioList {
    uint8_t count; ///< valid entries; may say more than there is room for
    uint8_t reserved;
    RadioEntry entries[3];
};
static_assert(sizeof(RadioList) == 308);
static_assert(offsetof(RadioList, entries) == 2);

/// A frequency that a VAP's radio may use.
struct FreqListEntry {
    uint8_t reserved1;
    uint8_t channel;
    uint8_t reserved2[2];
    int32_t mhz;
    uint8_t restricted;
    uint8_t reserved3[15];
};
static_assert(sizeof(FreqListEntry) == 24);
static_assert(offsetof(FreqListEntry, channel) == 1);
static_assert(offsetof(FreqListEntry, mhz) == 4);
static_assert(offsetof(FreqListEntry, restricted) == 8);

/// One VAP: an entry of the VAP list, and the payload of the requests that configure a VAP.
struct VapRecord {
    char ifname[8];
    char device[8]; ///< radio that the VAP belongs to
    char disabled[8];
    char country[8];
    char hwmode[8];
    char htmode[8];
    char channel[8];
    char freq[8];
    char blockdfschlist[8];
    char acs_bkscanen[8];  ///< automatic channel selection: background scan
    char acs_scanintvl[8]; ///< automatic channel selection: scan interval
    char antenna_gain[32];
    char txpower[8];
    char range[32];
    char regdomain[32];
    char ssid[32];
    char mode[8]; ///< "ap" or "sta", without the WDS suffix that the controller knows
    char wds[8];  ///< "1" or "0"
    char shortgi[8];
    char manrate[32];
    char hidden[8];
    char encryption[32];
    char key[32];
    char key1[32];
    char key2[32];
    char key3[32];
    char key4[32];
    char sae[8];
    char sae_password[32];
    char sae_pwe[8];
    char sae_require_mfp[8];
    char doth[8];
    char isolate[8];
    char uapsd[8];
    char mcast_rate[16];
    char frag[16];
    char rts[16];
    char wmm[8];
    FreqListEntry freqlist[85]; ///< reported only; zeros in requests
    uint8_t freqlist_rest[8];   ///< the list's 2048 bytes are no multiple of its entry
    uint32_t freqlist_len;      ///< bytes in use; may say more than there is room for
    char txantenna[32];
    char rxantenna[32];
    char scanlist[256];
    char macpolicy[8]; ///< policy of the MAC access list
};
static_assert(sizeof(VapRecord) == 2996);
static_assert(offsetof(VapRecord, antenna_gain) == 88);
static_assert(offsetof(VapRecord, txpower) == 120);
static_assert(offsetof(VapRecord, ssid) == 192);
static_assert(offsetof(VapRecord, wds) == 232);
static_assert(offsetof(VapRecord, manrate) == 248);
static_assert(offsetof(VapRecord, encryption) == 288);
static_assert(offsetof(VapRecord, key4) == 448);
static_assert(offsetof(VapRecord, sae_password) == 488);
static_assert(offsetof(VapRecord, mcast_rate) == 560);
static_assert(offsetof(VapRecord, wmm) == 608);
static_assert(offsetof(VapRecord, freqlist) == 616);
static_assert(offsetof(VapRecord, freqlist_len) == 2664);
static_assert(offsetof(VapRecord, txantenna) == 2668);
static_assert(offsetof(VapRecord, scanlist) == 2732);
static_assert(offsetof(VapRecord, macpolicy) == 2988);

struct VapList {
    uint8_t num_vaps; ///< valid records; may say more than there is room for
    uint8_t reserved[3];
    VapRecord records[8];
};
static_assert(sizeof(VapList) == 23972);
static_assert(offsetof(VapList, records) == 4);

/// Configuration of one radio and the security of its first VAP, as a request carries it.
struct RadioConfigRecord {
    char channel[8];
    char freq[8];
    char txpower[32];
    char country[32];
    char radio_type[16];
    char radio_name[16];
    char hwmode[32];
    char htmode[32];
    char ssid[32];
    char key[32];
    char opmode[16];
    char encryption[16];
    char sae[8];
    char sae_password[32];
    char sae_pwe[8];
    char sae_require_mfp[8];
};
static_assert(sizeof(RadioConfigRecord) == 328);
static_assert(offsetof(RadioConfigRecord, txpower) == 16);
static_assert(offsetof(RadioConfigRecord, radio_type) == 80);
static_assert(offsetof(RadioConfigRecord, hwmode) == 112);
static_assert(offsetof(RadioConfigRecord, ssid) == 176);
static_assert(offsetof(RadioConfigRecord, opmode) == 240);
static_assert(offsetof(RadioConfigRecord, sae_password) == 280);
static_assert(offsetof(RadioConfigRecord, sae_require_mfp) == 320);

/// VapRecord, in the order of the report and of the log; the log shows the rows with a label.
extern const RecordTable qv_vap_fields;

/// RadioConfigRecord, and what stands in it of the radio's first VAP.
extern const RecordTable qv_radio_config_fields;
extern const RecordTable qv_first_vap_fields;

/// RadioList and VapList, as reported.
extern const RecordList qv_radio_list;
extern const RecordList qv_vap_list;

#endif
