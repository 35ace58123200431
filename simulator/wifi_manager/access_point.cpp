#include "access_point.h"

#include "json/text.h"

#include <algorithm>
#include <charconv>
#include <cstdio>
#include <string>

namespace {

using enum RecordFieldType;
constexpr RecordField MAC_FIELD[] = {{nullptr, mac, 0, 6}};
constexpr RecordField NUMBER_FIELD[] = {{nullptr, i32, 0, 4}};
constexpr RecordField GENERAL_DATA_FIELD[] = {{nullptr, text, 0, sizeof AccessPoint::general_data}};

template <size_t N>
constexpr std::array<uint8_t, N> every(uint8_t first, uint8_t step) {
    std::array<uint8_t, N> channels{};
    for (size_t i = 0; i < N; ++i) {
        channels[i] = static_cast<uint8_t>(first + i * step);
    }
    return channels;
}

constexpr auto CHANNELS_2_4_GHZ = every<13>(1, 1);
constexpr uint8_t CHANNELS_5_GHZ[] = {36,  40,  44,  48,  52,  56,  60,  64,  100,
                                      104, 108, 112, 116, 120, 124, 128, 132, 136,
                                      140, 144, 149, 153, 157, 161, 165};
constexpr auto CHANNELS_6_GHZ = every<59>(1, 4);

struct Country {
    std::string_view letters;
    uint16_t number;
};
constexpr Country COUNTRIES[] = {
    {"CN", 156}, {"FR", 250}, {"DE", 276}, {"JP", 392}, {"PL", 616}, {"GB", 826}, {"US", 840},
};

// A text is cut to its field.
template <size_t N>
void set(char (&field)[N], std::string_view text) {
    qv_set_field_text(field, text);
}

void make_system(AccessPoint& ap) {
    SystemStats& system = ap.system;
    set(system.hw_name, "KX7310");
    set(system.fwinfo, "QV_VER_1_0_1");
    set(system.hostname, "OpenWrt");
    set(system.model, "Simulated AP, IPQ4019");
    set(system.kernel_version, "5.4.164");
    set(system.loadavg, "0.12 0.08 0.02");
    system.cpu_usage = 12;
    system.max_memory = 249856; // KiB, as the disk's
    system.max_memory_used = 98304;
    system.max_disk_space = 102400;
    system.max_disk_space_used = 31744;
    system.uptime = 259200; // seconds

    SystemConfigRecord& config = ap.system_config;
    set(config.hostname, "OpenWrt");
    set(config.zonename, "UTC");
    set(config.timezone, "UTC0");
    set(config.log_size, "64");
    set(config.log_port, "514");
    set(config.conloglevel, "8");
    set(config.cronloglevel, "8");
    set(config.enabled, "1");
    set(config.enable_server, "0");
    set(config.server[0], "0.openwrt.pool.ntp.org");
    set(config.server[1], "1.openwrt.pool.ntp.org");
    config.server_count = 2;
}

void make_network(AccessPoint& ap, std::string_view mac, std::string_view ip) {
    set(ap.lan.macaddr, mac);
    set(ap.lan.proto, "static");
    set(ap.lan.ipaddr, ip);
    set(ap.lan.netmask, "255.255.255.0");
    set(ap.lan.ip6assign, "60");
    set(ap.lan.mtu, "1500");
    set(ap.lan.orig_ifname, "eth1");
    set(ap.lan.orig_bridge, "true");
    set(ap.lan.stp, "1");
    set(ap.lan.ifname, "eth1");
    set(ap.lan.dhcp_start, "100");
    set(ap.lan.dhcp_limit, "150");
    set(ap.lan.dhcp_lease_time, "12h");
    set(ap.lan.dhcp_dhcpv6, "server");
    set(ap.lan.dhcp_ra, "server");
    set(ap.lan.dhcp_ra_management, "1");
    set(ap.lan.dhcp_dynamic_dhcp, "1");
    set(ap.lan.dhcp_ignore, "0");
    set(ap.wan.proto, "dhcp");
    set(ap.wan.hostname, "OpenWrt");
    set(ap.wan.delegate, "1");
    set(ap.wan.broadcast, "0");
    set(ap.wan.defaultroute, "1");
    set(ap.wan.mtu, "1500");
    set(ap.wan6.proto, "dhcpv6");
    set(ap.wan6.reqaddress, "try");
    set(ap.wan6.reqprefix, "auto");
    set(ap.wan6.delegate, "1");
    set(ap.wan6.defaultroute, "1");
}

void make_radios(AccessPoint& ap) {
    ap.radios.count = RADIOS;
    for (size_t i = 0; i < RADIOS; ++i) {
        const Band& band = BANDS[i];
        RadioEntry& radio = ap.radios.entries[i];
        radio.channel = band.channel;
        radio.txpower = band.txpower;
        radio.country = qv_country_number("US");
        set(radio.radio_type, band.radio_type);
        set(radio.hwmode, band.hwmode);
        set(radio.htmode, band.htmode);
        set(radio.radio_name, band.radio_name);
    }
}

// The VAPs of a radio stand together, and the first radios have one more where they are uneven.
void make_vaps(AccessPoint& ap, size_t count, size_t freqs) {
    ap.vaps.num_vaps = static_cast<uint8_t>(count);
    size_t vap = 0;
    for (size_t radio = 0; radio < RADIOS; ++radio) {
        const size_t share = (count + RADIOS - 1 - radio) / RADIOS;
        for (size_t end = vap + share; vap < end; ++vap) {
            ap.vaps.records[vap] = qv_make_vap(ap, radio, "ath" + std::to_string(vap), freqs);
        }
    }
    for (; vap < VAP_ROOM; ++vap) {
        ap.vaps.records[vap] = qv_make_vap(ap, vap % RADIOS, "ath" + std::to_string(vap), freqs);
    }
}

void make_stations(AccessPoint& ap, size_t count) {
    ap.stations.count = static_cast<uint8_t>(count);
    const size_t vaps = std::max<size_t>(ap.vaps.num_vaps, 1);
    for (size_t i = 0; i < std::size(ap.stations.entries); ++i) {
        StaStatsEntry& station = ap.stations.entries[i];
        const uint8_t mac[] = {0x06, 0x5a, 0x10, 0, 0, static_cast<uint8_t>(i)};
        std::ranges::copy(mac, station.macaddr);
        std::ranges::copy(qv_bssid(ap, i % vaps), station.bssid);
        station.rssi = -42 - static_cast<int32_t>(i * 7 % 40); // dBm
        station.txrate = 1201 + station.rssi * 11;             // Mbit/s
        station.rxrate = 1080 + station.rssi * 11;
        station.uptime = static_cast<int32_t>(60 + i * 613 % 86400);
        station.txpower = static_cast<uint16_t>(15 + i % 6);
    }
}

void make_interfaces(AccessPoint& ap) {
    set(ap.interfaces.entries[0].ifname, "br-lan");
    set(ap.interfaces.entries[1].ifname, "eth0");
    for (size_t i = 0; i < std::size(ap.interfaces.entries); ++i) {
        InterfaceStatsEntry& entry = ap.interfaces.entries[i];
        const uint64_t bytes = 5'000'000'000 / (i + 1); // above 32 bits at first
        set(entry.rx_bytes, std::to_string(bytes));
        set(entry.tx_bytes, std::to_string(bytes * 3));
        set(entry.rx_packets, std::to_string(bytes / 800));
        set(entry.tx_packets, std::to_string(bytes / 300));
    }
}

} // namespace

const RecordTable LONE_MAC = MAC_FIELD;
const RecordTable LONE_NUMBER = NUMBER_FIELD;
const RecordTable LONE_GENERAL_DATA = GENERAL_DATA_FIELD;

const std::array<Band, RADIOS> BANDS = {
    Band{"wifi0", "2.4G", 2, 2407, 6, 20, "11axg", "HT20", 287, CHANNELS_2_4_GHZ},
    Band{"wifi1", "5G", 5, 5000, 36, 23, "11axa", "HT80", 1201, CHANNELS_5_GHZ},
    Band{"wifi2", "6G", 6, 5950, 37, 24, "11axa", "HT160", 2402, CHANNELS_6_GHZ},
};

AccessPoint qv_make_access_point(const AccessPointChoice& choice) {
    AccessPoint ap{};
    qv_read_mac(choice.mac, ap.mac);
    ap.upgrade_notice = -1;
    make_system(ap);
    make_network(ap, choice.mac, choice.ip.substr(0, choice.ip.find('/')));
    make_radios(ap);
    make_vaps(ap, choice.vaps, choice.freqs);
    make_stations(ap, choice.stations);
    make_interfaces(ap);
    return ap;
}

VapRecord qv_make_vap(const AccessPoint& ap, size_t radio, std::string_view ifname, size_t freqs) {
    const Band& band = BANDS[radio];
    const RadioEntry& settings = ap.radios.entries[radio];
    VapRecord vap{};
    set(vap.ifname, ifname);
    set(vap.device, qv_field_text(settings.radio_name));
    set(vap.disabled, "0");
    set(vap.country, qv_country_letters(settings.country));
    set(vap.hwmode, qv_field_text(settings.hwmode));
    set(vap.htmode, qv_field_text(settings.htmode));
    set(vap.channel, std::to_string(settings.channel));
    set(vap.freq, std::to_string(band.mhz_base + 5 * settings.channel));
    set(vap.txpower, std::to_string(settings.txpower));
    set(vap.ssid, "Office");
    set(vap.mode, "ap");
    set(vap.wds, "0");
    set(vap.shortgi, "1");
    set(vap.hidden, "0");
    set(vap.encryption, "psk2+ccmp");
    set(vap.key, "office-passphrase");
    set(vap.doth, "1");
    set(vap.isolate, "0");
    set(vap.wmm, "1");
    set(vap.macpolicy, "disable");
    const size_t listed = freqs == 0 ? band.channels.size() : freqs;
    for (size_t i = 0; i < listed; ++i) {
        FreqListEntry& entry = vap.freqlist[i];
        entry.channel = band.channels[i % band.channels.size()];
        entry.mhz = band.mhz_base + 5 * entry.channel;
        entry.restricted = band.number == 5 && entry.channel >= 52 && entry.channel <= 144; // radar
    }
    vap.freqlist_len = static_cast<uint32_t>(listed * sizeof(FreqListEntry));
    return vap;
}

bool qv_read_mac(std::string_view text, uint8_t (&mac)[6]) {
    uint8_t read[6];
    if (text.size() != 17) {
        return false;
    }
    for (size_t i = 0; i < 6; ++i) {
        const char* const digits = text.data() + i * 3;
        const auto [end, error] = std::from_chars(digits, digits + 2, read[i], 16);
        if (error != std::errc() || end != digits + 2 || (i < 5 && *end != ':')) {
            return false;
        }
    }
    std::ranges::copy(read, mac);
    return true;
}

std::array<uint8_t, 6> qv_bssid(const AccessPoint& ap, size_t vap) {
    std::array<uint8_t, 6> bssid;
    std::ranges::copy(ap.mac, bssid.begin());
    bssid[5] = static_cast<uint8_t>(bssid[5] + 1 + vap);
    return bssid;
}

std::span<VapRecord> qv_vaps(AccessPoint& ap) {
    return std::span(ap.vaps.records).first(ap.vaps.num_vaps);
}

std::span<const VapRecord> qv_vaps(const AccessPoint& ap) {
    return std::span(ap.vaps.records).first(ap.vaps.num_vaps);
}

size_t qv_find_radio(const AccessPoint& ap, std::string_view name) {
    const auto* const found =
        std::ranges::find(ap.radios.entries, name,
                          [](const RadioEntry& radio) { return qv_field_text(radio.radio_name); });
    return static_cast<size_t>(found - ap.radios.entries);
}

int qv_number_in(std::string_view text) {
    int number = 0;
    std::from_chars(text.data(), text.data() + text.size(), number);
    return number;
}

uint16_t qv_country_number(std::string_view text) {
    const auto* const row = std::ranges::find(COUNTRIES, text, &Country::letters);
    return row != std::end(COUNTRIES) ? row->number : static_cast<uint16_t>(qv_number_in(text));
}

std::string_view qv_country_letters(uint16_t number) {
    const auto* const row = std::ranges::find(COUNTRIES, number, &Country::number);
    return row != std::end(COUNTRIES) ? row->letters : "";
}
