/** Which cameras there are: asks on every network of this machine, and believes little of what is
 *  answered. */
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace net
{

/** What a camera says about itself. Texts are printable. */
struct FoundCamera {
    std::uint32_t address = 0; ///< host byte order
    std::string manufacturer;
    std::string model;
    std::string version;
    std::string serial; ///< its MAC if it has none
};

/** What an answer says; nothing if it is no answer to our question. `from` is the address that it
 *  came from, which has to be the one in the answer. */
std::optional<FoundCamera> ReadDiscoveryAnswer(std::span<const std::uint8_t> datagram,
                                               std::uint32_t from);

/** The cameras that answer, each address once, sorted by maker, model, serial number and address.
 *  Takes a second, which cameras have to answer, or less when the host interrupts the cameras. */
std::vector<FoundCamera> Discover();

} // namespace net
