// The network settings that unconfirmed changes have replaced, in one file.
#ifndef QV_NETWORK_KEPT_SETTINGS_H
#define QV_NETWORK_KEPT_SETTINGS_H

#include "agent/pending_change.h"
#include "protocol/network_records.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <type_traits>

/// The file as it is, host byte order: it never leaves its device.
struct KeptSettings {
    std::array<char, 8> magic{'q', 'v', 'k', 'e', 'p', 't', '1', '\n'};
    std::array<uint16_t, NETWORK_PARTS> seconds{}; ///< until it is taken back, 0: nothing is kept
    uint16_t reserved = 0;
    LanConfigRecord lan{};
    WanConfigRecord wan{};
    Wan6ConfigRecord wan6{};
    uint32_t checksum = 0; ///< CRC-32 (IEEE 802.3) of all before it

    uint16_t& seconds_of(NetworkPart part) {
        return seconds[static_cast<size_t>(part)];
    }
    std::span<std::byte> record_of(NetworkPart part);
};
static_assert(std::has_unique_object_representations_v<KeptSettings>); // no byte is padding
static_assert(offsetof(KeptSettings, lan) == 16);

/// What the file "pending" in the agent's folder keeps: nothing without one, and after a line for
/// one that cannot be read or is not as qv_save_kept left it.
KeptSettings qv_load_kept();

/// Puts a file of that content in place of the old one, in one step that outlasts a power cut, or
/// takes it away when nothing is kept; makes the folder. Returns 0 or the errno of what failed: the
/// old file is then still there, unless only the folder could not be synced.
int qv_save_kept(KeptSettings kept);

#endif
