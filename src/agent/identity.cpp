#include "agent/identity.h"

#include "agent/context.h"
#include "platform/log.h"
#include "platform/scoped_fd.h"

#include <arpa/inet.h>
#include <cstdio>
#include <cstring>
#include <net/if.h>
#include <netinet/in.h>
#include <sys/ioctl.h>
#include <sys/socket.h>

namespace {

void store_macaddr(AgentContext& context, const ifreq& request) {
    MacAddress mac{};
    memcpy(mac.data(), request.ifr_hwaddr.sa_data, mac.size());
    {
        const std::lock_guard guard(context.settings_lock);
        context.identity.macaddr = mac;
    }
    qv_log("device_macaddr: %02x:%02x:%02x:%02x:%02x:%02x\n", mac[0], mac[1], mac[2], mac[3],
           mac[4], mac[5]);
}

void store_ipaddr(AgentContext& context, const ifreq& request) {
    sockaddr_in address{};
    memcpy(&address, &request.ifr_addr, sizeof address);
    std::array<char, IPADDR_SIZE> text{};
    inet_ntop(AF_INET, &address.sin_addr, text.data(), text.size());
    {
        const std::lock_guard guard(context.settings_lock);
        context.identity.ipaddr = text;
    }
    qv_log("ipaddr---------%s\n", text.data());
}

} // namespace

int32_t qv_get_device_info(AgentContext& context) {
    ifreq request{};
    {
        const std::lock_guard guard(context.settings_lock);
        snprintf(context.ifname.data(), context.ifname.size(), "%s", LAN_BRIDGE);
        static_assert(sizeof context.ifname == sizeof request.ifr_name);
        memcpy(request.ifr_name, context.ifname.data(), context.ifname.size());
    }
    request.ifr_addr.sa_family = AF_INET;

    const ScopedFd socket(::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0));
    if (ioctl(socket.get(), SIOCGIFHWADDR, &request) != 0) {
        return -1;
    }
    store_macaddr(context, request);
    request.ifr_addr.sa_family = AF_INET;
    if (ioctl(socket.get(), SIOCGIFADDR, &request) != 0) {
        return -1;
    }
    store_ipaddr(context, request);
    return 0;
}
