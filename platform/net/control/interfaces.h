/** This machine's network interfaces. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace net
{

/** One IPv4 network that this machine is on, in host byte order. */
struct Subnet {
    std::uint32_t address = 0; ///< this machine's own
    std::uint32_t mask = 0;
    bool Holds(std::uint32_t other) const { return ((address ^ other) & mask) == 0; }
};

/** The networks on an interface that is named by its name or by an own address of it. Empty: there
 *  is no such interface, or it has no address. */
std::vector<Subnet> SubnetsOf(const std::string& interface);

/** Dotted text to host byte order. */
std::optional<std::uint32_t> ParseAddress(const std::string& text);
std::string AddressText(std::uint32_t address);

} // namespace net
