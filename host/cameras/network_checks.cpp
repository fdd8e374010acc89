#include "cameras/network_checks.h"

#include <fmt/format.h>

namespace kvgrab
{

namespace
{

constexpr std::uint64_t kEnoughForFrames = std::uint64_t{8} << 20;

/** Empty if packets of this size fit. */
std::string MtuAdvice(const NetworkInterface& interface, int packetSize)
{
    constexpr int kUsualMtu = 1500;
    if (packetSize <= interface.mtu) {
        return "";
    }
    if (packetSize <= kUsualMtu) {
        return fmt::format("packets of {} bytes don't fit the interface {}, whose MTU is {}: no "
                           "frame will arrive whole over it; set stream.packet_size to {}",
                           packetSize, interface.name, interface.mtu, interface.mtu);
    }
    return fmt::format(
        "packets of {0} bytes don't fit the interface {1}, whose MTU is {2}: no frame "
        "will arrive whole over it; set stream.packet_size to {2}, or raise the MTU "
        "(ip link set {1} mtu {0}) if card and switch pass such packets",
        packetSize, interface.name, interface.mtu);
}

} // namespace

std::vector<std::string> NetworkAdvice(const NetworkFacts& facts, int packetSize, bool ownReceiver)
{
    std::vector<std::string> advice;
    if (!ownReceiver && !facts.mayUsePacketSocket) {
        advice.push_back(
            "the network library receives frames over UDP sockets, which takes about twice the CPU "
            "time; its packet sockets need the capability CAP_NET_RAW (setcap "
            "cap_net_raw,cap_sys_nice+ep on the installed kvgrab); network.receiver = \"own\" "
            "needs none");
    }
    if (ownReceiver || !facts.mayUsePacketSocket) {
        if (facts.receiveBufferLimit < kEnoughForFrames) {
            advice.push_back(fmt::format(
                "the receive buffer of a socket is limited to {} bytes, less than a few frames; "
                "what doesn't fit is lost: sysctl -w net.core.rmem_max=33554432",
                facts.receiveBufferLimit));
        }
    }
    for (const NetworkInterface& interface : facts.interfaces) {
        const std::string mtu = MtuAdvice(interface, packetSize);
        if (!mtu.empty()) {
            advice.push_back(mtu);
        }
        if (interface.strictFilter && facts.interfaces.size() > 1) {
            advice.push_back(fmt::format(
                "the interface {0} drops packets of cameras that this machine would answer over "
                "another one (reverse-path filter): sysctl -w net.ipv4.conf.{0}.rp_filter=2",
                interface.name));
        }
    }
    return advice;
}

} // namespace kvgrab
