#include "net/control/interfaces.h"

#include <arpa/inet.h>
#include <fmt/format.h>
#include <ifaddrs.h>
#include <memory>
#include <netinet/in.h>

namespace net
{

std::vector<Subnet> SubnetsOf(const std::string& interface)
{
    ifaddrs* list = nullptr;
    if (getifaddrs(&list) != 0) {
        return {};
    }
    const std::unique_ptr<ifaddrs, decltype(&freeifaddrs)> owner(list, freeifaddrs);
    const auto host = [](const sockaddr* address) {
        return ntohl(reinterpret_cast<const sockaddr_in*>(address)->sin_addr.s_addr);
    };
    const std::optional<std::uint32_t> asAddress = ParseAddress(interface);
    std::vector<Subnet> subnets;
    for (const ifaddrs* entry = list; entry != nullptr; entry = entry->ifa_next) {
        if (entry->ifa_addr == nullptr || entry->ifa_addr->sa_family != AF_INET ||
            entry->ifa_netmask == nullptr) {
            continue;
        }
        const Subnet subnet{host(entry->ifa_addr), host(entry->ifa_netmask)};
        if (interface == entry->ifa_name || asAddress == subnet.address) {
            subnets.push_back(subnet);
        }
    }
    return subnets;
}

std::optional<std::uint32_t> ParseAddress(const std::string& text)
{
    in_addr address{};
    if (inet_pton(AF_INET, text.c_str(), &address) != 1) {
        return std::nullopt;
    }
    return ntohl(address.s_addr);
}

std::string AddressText(std::uint32_t address)
{
    return fmt::format("{}.{}.{}.{}", address >> 24, address >> 16 & 0xFF, address >> 8 & 0xFF,
                       address & 0xFF);
}

} // namespace net
