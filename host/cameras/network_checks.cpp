#include "cameras/network_checks.h"

namespace kvgrab
{

namespace
{

constexpr std::uint64_t kEnoughForFrames = std::uint64_t{8} << 20;

std::string MtuAdvice(const NetworkInterface& interface, int packetSize)
{
    constexpr int kUsualMtu = 1500;
    if (packetSize <= interface.mtu) {
        return "";
    }
    return "packets of " + std::to_string(packetSize) + " bytes don't fit the interface " +
           interface.name + ", whose MTU is " + std::to_string(interface.mtu) +
           ": no frame will arrive whole over it; set stream.packet_size to " +
           std::to_string(interface.mtu) +
           (packetSize > kUsualMtu
                ? ", or raise the MTU (ip link set " + interface.name + " mtu " +
                      std::to_string(packetSize) + ") if card and switch pass such packets"
                : "");
}

} // namespace

std::vector<std::string> NetworkAdvice(const NetworkFacts& facts, int packetSize)
{
    std::vector<std::string> advice;
    if (!facts.mayUsePacketSocket) {
        advice.push_back(
            "frames are received over UDP sockets, which takes about twice the CPU time; packet "
            "sockets need the capability CAP_NET_RAW (setcap cap_net_raw+ep on kvgrab)");
        if (facts.receiveBufferLimit < kEnoughForFrames) {
            advice.push_back("the receive buffer of a socket is limited to " +
                             std::to_string(facts.receiveBufferLimit) +
                             " bytes, less than a few frames; what does not fit is lost: sysctl -w "
                             "net.core.rmem_max=33554432");
        }
    }
    for (const NetworkInterface& interface : facts.interfaces) {
        const std::string mtu = MtuAdvice(interface, packetSize);
        if (!mtu.empty()) {
            advice.push_back(mtu);
        }
        if (interface.strictFilter && facts.interfaces.size() > 1) {
            advice.push_back(
                "the interface " + interface.name +
                " drops packets of cameras that this machine would answer over another "
                "one (reverse-path filter): sysctl -w net.ipv4.conf." +
                interface.name + ".rp_filter=2");
        }
    }
    return advice;
}

} // namespace kvgrab
