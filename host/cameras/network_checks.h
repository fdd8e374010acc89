/** What in this machine's setup costs frames of network cameras, and what to do about it. */
#pragma once

#include "config/config.h"

#include <cstdint>
#include <string>
#include <vector>

namespace kvgrab
{

/** A network interface that cameras may be on. */
struct NetworkInterface {
    std::string name;
    int mtu = 0;               ///< bytes
    bool strictFilter = false; ///< drops packets that would be answered on another interface
};

struct NetworkFacts {
    std::uint64_t receiveBufferLimit = 0; ///< bytes that a socket may ask for
    bool mayUsePacketSocket = false;
    std::vector<NetworkInterface> interfaces; ///< up, with an IPv4 address, loopback left out
};

/** Asks the system. `interface`: the configured one, by name or address; empty: all. */
NetworkFacts LookAtNetwork(const std::string& interface);

/** One sentence or two for each thing that is wrong. Pure. */
std::vector<std::string> NetworkAdvice(const NetworkFacts& facts, int packetSize, bool ownReceiver);

} // namespace kvgrab
