#include "statistics.h"

#include "json/mac_text.h"
#include "json/text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

using Milliseconds = std::chrono::milliseconds;

// A triangle from 0 to +height, -height and back to 0 within the period.
int32_t swing(Milliseconds time, std::chrono::seconds period, int32_t height) {
    const int64_t whole = Milliseconds(period).count();
    const int64_t quarter = whole / 4;
    const int64_t at = (time.count() + quarter) % whole; // from the lowest point on
    return static_cast<int32_t>((whole / 2 - std::abs(at - whole / 2) - quarter) * height /
                                quarter);
}

void move_system(SystemStats& system, Milliseconds time) {
    const int32_t load = swing(time, std::chrono::seconds(40), 8);
    system.cpu_usage += load;
    system.max_memory_used += load * 256;
    system.uptime += static_cast<int32_t>(time / std::chrono::seconds(1));
    if (time.count() > 0) {
        char text[sizeof system.loadavg];
        std::snprintf(text, sizeof text, "0.%02d 0.08 0.02", std::clamp(system.cpu_usage, 0, 99));
        qv_set_field_text(system.loadavg, text);
    }
}

void move_stations(StaStatsList& stations, Milliseconds time) {
    for (StaStatsEntry& station : std::span(stations.entries).first(stations.count)) {
        const int32_t signal = swing(time, std::chrono::seconds(15 + station.macaddr[5] % 20), 5);
        station.rssi += signal;
        station.txrate += signal * 11;
        station.rxrate += signal * 11;
        station.uptime += static_cast<int32_t>(time / std::chrono::seconds(1));
    }
}

void grow(char (&counter)[32], int64_t by) {
    const std::string_view text = qv_field_text(counter);
    uint64_t count = 0;
    std::from_chars(text.data(), text.data() + text.size(), count);
    qv_set_field_text(counter, std::to_string(count + static_cast<uint64_t>(by)));
}

void set_mac(InterfaceStatsEntry& entry, const uint8_t* mac) {
    char text[MAC_TEXT_SIZE] = {};
    qv_mac_to_string(text, sizeof text, mac);
    qv_set_field_text(entry.macaddr, text);
}

// Names and addresses follow the VAPs and the LAN settings.
void move_interfaces(AccessPoint& ap, Milliseconds time) {
    ap.interfaces.count = static_cast<uint8_t>(WIRED_INTERFACES + ap.vaps.num_vaps);
    for (size_t i = 0; i < ap.interfaces.count; ++i) {
        InterfaceStatsEntry& entry = ap.interfaces.entries[i];
        const int64_t bytes = time.count() * 90 / static_cast<int64_t>(i + 1);
        grow(entry.rx_bytes, bytes);
        grow(entry.tx_bytes, bytes * 3);
        grow(entry.rx_packets, bytes / 800);
        grow(entry.tx_packets, bytes / 300);
        if (i < WIRED_INTERFACES) {
            set_mac(entry, ap.mac);
        } else {
            const size_t vap = i - WIRED_INTERFACES;
            qv_set_field_text(entry.ifname, qv_field_text(ap.vaps.records[vap].ifname));
            set_mac(entry, qv_bssid(ap, vap).data());
        }
    }
    qv_set_field_text(ap.interfaces.entries[0].ipaddr, qv_field_text(ap.lan.ipaddr));
}

ApStatsEntry ap_stats_of(const AccessPoint& ap, size_t number) {
    const VapRecord& vap = ap.vaps.records[number];
    const size_t radio = qv_find_radio(ap, qv_field_text(vap.device));
    const auto bssid = qv_bssid(ap, number);
    ApStatsEntry entry{};
    entry.channel = static_cast<uint16_t>(qv_number_in(qv_field_text(vap.channel)));
    entry.frequency = static_cast<uint16_t>(qv_number_in(qv_field_text(vap.freq)));
    const bool off = qv_field_text(vap.disabled) == "1" ||
                     (radio < RADIOS && ap.radios.entries[radio].disabled != 0);
    entry.status = off ? AP_STATUS_DOWN : AP_STATUS_UP;
    entry.mode = qv_field_text(vap.mode) == "ap" ? 3 : 2; // master or managed
    std::ranges::copy(bssid, entry.bssid);
    const auto stations = std::span(ap.stations.entries).first(ap.stations.count);
    entry.numsta = static_cast<uint16_t>(std::ranges::count_if(
        stations, [&](const StaStatsEntry& sta) { return std::ranges::equal(sta.bssid, bssid); }));
    entry.txpower = static_cast<uint8_t>(qv_number_in(qv_field_text(vap.txpower)));
    entry.bitrate = radio < RADIOS ? BANDS[radio].bitrate : 0;
    entry.wifi_signal = 200; // dBm as an unsigned byte: -56
    entry.noise = 161;       // -95
    qv_set_field_text(entry.phymode, qv_field_text(vap.hwmode));
    qv_set_field_text(entry.ssid, qv_field_text(vap.ssid));
    qv_set_field_text(entry.country, qv_field_text(vap.country));
    qv_set_field_text(entry.ipaddr, qv_field_text(ap.lan.ipaddr));
    qv_set_field_text(entry.ifname, qv_field_text(vap.ifname));
    qv_set_field_text(entry.parent, qv_field_text(vap.device));
    qv_set_field_text(entry.encryption, qv_field_text(vap.encryption));
    return entry;
}

RadioStatsEntry radio_stats_of(const AccessPoint& ap, size_t number) {
    const RadioEntry& radio = ap.radios.entries[number];
    const std::string_view name = qv_field_text(radio.radio_name);
    RadioStatsEntry entry{};
    qv_set_field_text(entry.radio_name, name);
    entry.radio_id = static_cast<uint8_t>(number);
    entry.channel = radio.disabled != 0 ? RADIO_STATS_UNUSED_CHANNEL : radio.channel;
    entry.band = BANDS[number].number;
    entry.num_vaps = static_cast<uint8_t>(std::ranges::count_if(
        qv_vaps(ap), [&](const VapRecord& vap) { return qv_field_text(vap.device) == name; }));
    qv_set_field_text(entry.radio_type, qv_field_text(radio.radio_type));
    return entry;
}

// A station is on the channel of its VAP.
void place_stations(AccessPoint& ap) {
    for (StaStatsEntry& station : std::span(ap.stations.entries).first(ap.stations.count)) {
        for (const ApStatsEntry& vap : std::span(ap.ap_stats.entries).first(ap.ap_stats.count)) {
            if (std::ranges::equal(station.bssid, vap.bssid)) {
                station.channel = vap.channel;
            }
        }
    }
}

} // namespace

AccessPoint qv_access_point_at(const AccessPoint& ap, Milliseconds time) {
    AccessPoint now = ap;
    move_system(now.system, time);
    move_stations(now.stations, time);
    move_interfaces(now, time);
    qv_set_field_text(now.system.hostname, qv_field_text(now.system_config.hostname));
    now.radio_stats.count = now.radios.count;
    for (size_t i = 0; i < now.radios.count; ++i) {
        now.radio_stats.entries[i] = radio_stats_of(now, i);
    }
    now.ap_stats.count = now.vaps.num_vaps;
    for (size_t i = 0; i < now.vaps.num_vaps; ++i) {
        now.ap_stats.entries[i] = ap_stats_of(now, i);
    }
    place_stations(now);
    return now;
}
