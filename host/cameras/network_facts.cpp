/** Finds out about the machine: network interfaces and privileges. */
#include "cameras/network_checks.h"

#include <fmt/format.h>

#include <algorithm>
#include <arpa/inet.h>
#include <cstring>
#include <fstream>
#include <ifaddrs.h>
#include <linux/capability.h>
#include <memory>
#include <net/if.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace kvgrab
{

namespace
{

/** 0 if there is no such number. */
std::uint64_t NumberIn(const std::string& path)
{
    std::uint64_t number = 0;
    std::ifstream(path) >> number;
    return number;
}

bool HasNetRaw()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct rights[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capget, &header, rights) == 0 &&
           (rights[0].effective & 1U << CAP_NET_RAW) != 0;
}

/** The kernel applies the stricter of `all` and this interface. */
bool IsStrict(const std::string& interface)
{
    constexpr std::uint64_t kStrict = 1;
    return std::max(NumberIn("/proc/sys/net/ipv4/conf/all/rp_filter"),
                    NumberIn(fmt::format("/proc/sys/net/ipv4/conf/{}/rp_filter", interface))) ==
           kStrict;
}

bool IsAddress(const ifaddrs& entry, const std::string& text)
{
    in_addr address{};
    return inet_pton(AF_INET, text.c_str(), &address) == 1 &&
           reinterpret_cast<const sockaddr_in*>(entry.ifa_addr)->sin_addr.s_addr == address.s_addr;
}

} // namespace

NetworkFacts LookAtNetwork(const std::string& interface)
{
    NetworkFacts facts;
    facts.receiveBufferLimit = NumberIn("/proc/sys/net/core/rmem_max");
    facts.mayUsePacketSocket = HasNetRaw();
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return facts;
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        const bool usable = entry->ifa_addr != nullptr && entry->ifa_addr->sa_family == AF_INET &&
                            (entry->ifa_flags & IFF_UP) != 0 &&
                            (entry->ifa_flags & IFF_LOOPBACK) == 0;
        const bool wanted = usable && (interface.empty() || interface == entry->ifa_name ||
                                       IsAddress(*entry, interface));
        const bool known = std::any_of(
            facts.interfaces.begin(), facts.interfaces.end(),
            [entry](const NetworkInterface& one) { return one.name == entry->ifa_name; });
        if (wanted && !known) {
            const std::string name = entry->ifa_name;
            facts.interfaces.push_back(
                {name, static_cast<int>(NumberIn(fmt::format("/sys/class/net/{}/mtu", name))),
                 IsStrict(name)});
        }
    }
    return facts;
}

} // namespace kvgrab
