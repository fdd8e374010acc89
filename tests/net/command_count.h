/** Counts what clients send to cameras on loopback. */
#pragma once

#include <arpa/inet.h>
#include <array>
#include <cstdint>
#include <linux/filter.h>
#include <linux/if_ether.h>
#include <linux/if_packet.h>
#include <net/if.h>
#include <sys/socket.h>
#include <unistd.h>

/** Needs the rights that a network namespace of one's own gives. Holds some hundreds of packets, so
 *  it has to be asked often. */
class CommandCount
{
public:
    CommandCount()
    {
        // Commands in UDP over IPv4 to the control port, in an IP header without options.
        std::array<sock_filter, 8> program = {
            {BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 23),
             BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, IPPROTO_UDP, 0, 5),
             BPF_STMT(BPF_LD | BPF_H | BPF_ABS, 36), //
             BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 3956, 0, 3),
             BPF_STMT(BPF_LD | BPF_B | BPF_ABS, 42), //
             BPF_JUMP(BPF_JMP | BPF_JEQ | BPF_K, 0x42, 0, 1), BPF_STMT(BPF_RET | BPF_K, 64),
             BPF_STMT(BPF_RET | BPF_K, 0)}};
        const sock_fprog filter{static_cast<unsigned short>(program.size()), program.data()};
        sockaddr_ll loopback{};
        loopback.sll_family = AF_PACKET;
        loopback.sll_protocol = htons(ETH_P_IP);
        loopback.sll_ifindex = static_cast<int>(if_nametoindex("lo"));
        counts_ = socket_ >= 0 &&
                  setsockopt(socket_, SOL_SOCKET, SO_ATTACH_FILTER, &filter, sizeof filter) == 0 &&
                  bind(socket_, reinterpret_cast<const sockaddr*>(&loopback), sizeof loopback) == 0;
    }
    ~CommandCount()
    {
        if (socket_ >= 0) {
            close(socket_);
        }
    }
    CommandCount(const CommandCount&) = delete;
    CommandCount& operator=(const CommandCount&) = delete;

    bool Counts() const { return counts_; }
    /** Since the last time. */
    unsigned Take()
    {
        unsigned count = 0;
        std::array<std::uint8_t, 64> packet{};
        sockaddr_ll from{};
        for (socklen_t size = sizeof from;
             recvfrom(socket_, packet.data(), packet.size(), MSG_DONTWAIT,
                      reinterpret_cast<sockaddr*>(&from), &size) > 0;
             size = sizeof from) {
            count += from.sll_pkttype == PACKET_OUTGOING ? 0 : 1; // each is seen twice here
        }
        return count;
    }

private:
    int socket_ = socket(AF_PACKET, SOCK_RAW | SOCK_CLOEXEC, htons(ETH_P_IP));
    bool counts_ = false;
};
