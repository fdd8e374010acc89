#include "tools/kvcam/stream/packet_sender.h"

#include <algorithm>
#include <cstring>
#include <netinet/udp.h>
#include <utility>

#ifndef UDP_SEGMENT
#define UDP_SEGMENT 103
#endif

namespace kvcam
{

namespace
{

constexpr std::size_t kMostSegments = 64; // in one message; newer systems take more
constexpr std::size_t kMostBytes = 65507; // of one message, without headers of IP and UDP
constexpr std::size_t kMostMessages = 16; // in one batch
constexpr std::int64_t kMostBurst = 64;   // packets
constexpr std::size_t kMostPackets = kMostMessages * kMostSegments;
constexpr std::size_t kPartsOfPacket = 3;
constexpr double kNsPerSecond = 1e9;
constexpr std::int64_t kBurstNs = 100'000; // to sleep for less would cost more than it lasts

} // namespace

PacketSender::PacketSender(StreamSocket& socket, PacketClock clock)
    : socket_(socket), clock_(std::move(clock))
{
    packets_.reserve(kMostPackets);
    parts_.reserve(kMostPackets * kPartsOfPacket);
    controls_.reserve(kMostMessages);
    messages_.reserve(kMostPackets);
    firsts_.reserve(kMostPackets);
}

void PacketSender::Begin(const StreamTarget& target)
{
    to_.sin_family = AF_INET;
    to_.sin_addr.s_addr = htonl(target.address);
    to_.sin_port = htons(target.port);
    packets_.clear();
    parts_.clear();
    controls_.clear();
    messages_.clear();
    firsts_.clear();
}

std::int64_t PacketSender::DelayNs(const StreamTarget& target) const
{
    const double ns = static_cast<double>(target.delayTicks) * kNsPerSecond /
                      static_cast<double>(clock_.tickFrequency);
    return static_cast<std::int64_t>(std::min(ns, kNsPerSecond));
}

/** The distance to the packet before is never less than the delay, but may be more. A short delay
 *  holds on average only: packets leave in bursts. */
void PacketSender::WaitForTurn(std::int64_t delayNs, std::uint32_t packets)
{
    const std::int64_t early = delayNs < kBurstNs ? kBurstNs : 0;
    if (turnNs_ > clock_.nowNs() + early) {
        clock_.sleepUntilNs(turnNs_);
    }
    turnNs_ = std::max(turnNs_, clock_.nowNs() - early) + delayNs * packets;
}

void PacketSender::Send(const FramePackets& packets, std::uint32_t first, std::uint32_t last,
                        std::uint16_t status, const std::atomic<bool>& stop,
                        std::atomic<std::uint32_t>* unsent)
{
    for (std::uint32_t next = first; next <= last;) {
        const StreamTarget target = socket_.Target();
        if (target.port == 0 || stop) {
            return;
        }
        Begin(target);
        if (target.delayTicks == 0) {
            next = SendBatch(packets, next, last, status, unsent);
            continue;
        }
        const std::int64_t delayNs = DelayNs(target);
        const auto burst = static_cast<std::uint32_t>(
            std::clamp<std::int64_t>(kBurstNs / std::max<std::int64_t>(delayNs, 1), 1, kMostBurst));
        const std::uint32_t end = next + std::min(burst, last - next + 1);
        WaitForTurn(delayNs, end - next);
        next = SendBatch(packets, next, end - 1, status, unsent);
    }
}

std::uint32_t PacketSender::SendBatch(const FramePackets& packets, std::uint32_t first,
                                      std::uint32_t last, std::uint16_t status,
                                      std::atomic<std::uint32_t>* unsent)
{
    const bool segments = socket_.Segments();
    const std::size_t most = segments ? kMostMessages : kMostSegments;
    std::uint32_t next = first;
    while (next <= last && messages_.size() < most) {
        next = packets.Has(next) ? AddMessage(packets, next, last, status, segments) : next + 1;
    }
    if (unsent != nullptr) {
        unsent->store(next);
    }
    const std::size_t done = socket_.Send(messages_.data(), messages_.size());
    return done < firsts_.size() ? firsts_[done] : next;
}

/** Adds as many packets as one message may have. All but the last one have the same length, so the
 *  leader and the trailer take messages of their own. Returns the next packet. */
std::uint32_t PacketSender::AddMessage(const FramePackets& packets, std::uint32_t first,
                                       std::uint32_t last, std::uint16_t status, bool segments)
{
    const std::size_t firstPart = parts_.size();
    std::size_t segmentBytes = 0;
    std::size_t bytes = 0;
    std::uint32_t next = first;
    std::size_t count = 0;
    const auto mayFollow = [&] {
        return segments && next <= last && first != 0 && next != packets.Trailer() &&
               count < kMostSegments && packets.Has(next);
    };
    do {
        packets_.push_back(packets.At(next, status));
        Packet& packet = packets_.back();
        if (count > 0 && (packet.Bytes() > segmentBytes || bytes + packet.Bytes() > kMostBytes)) {
            packets_.pop_back();
            break;
        }
        const std::span<const std::uint8_t> spans[] = {
            {packet.header.data(), packet.headerBytes}, packet.first, packet.second};
        for (const auto& span : spans) {
            if (!span.empty()) {
                parts_.push_back({const_cast<std::uint8_t*>(span.data()), span.size()});
            }
        }
        segmentBytes = count == 0 ? packet.Bytes() : segmentBytes;
        bytes += packet.Bytes();
        ++count;
        ++next;
    } while (mayFollow());

    mmsghdr message{};
    message.msg_hdr.msg_name = &to_;
    message.msg_hdr.msg_namelen = sizeof to_;
    message.msg_hdr.msg_iov = parts_.data() + firstPart;
    message.msg_hdr.msg_iovlen = parts_.size() - firstPart;
    if (count > 1) {
        controls_.push_back({});
        Control& control = controls_.back();
        message.msg_hdr.msg_control = control.bytes;
        message.msg_hdr.msg_controllen = sizeof control.bytes;
        cmsghdr* const header = CMSG_FIRSTHDR(&message.msg_hdr);
        const auto size = static_cast<std::uint16_t>(segmentBytes);
        header->cmsg_level = IPPROTO_UDP;
        header->cmsg_type = UDP_SEGMENT;
        header->cmsg_len = CMSG_LEN(sizeof size);
        std::memcpy(CMSG_DATA(header), &size, sizeof size);
    }
    messages_.push_back(message);
    firsts_.push_back(first);
    return next;
}

void PacketSender::SendDatagram(std::span<const std::uint8_t> datagram)
{
    const StreamTarget target = socket_.Target();
    if (target.port == 0) {
        return;
    }
    Begin(target);
    if (target.delayTicks != 0) {
        WaitForTurn(DelayNs(target), 1);
    }
    iovec part{const_cast<std::uint8_t*>(datagram.data()), datagram.size()};
    mmsghdr message{};
    message.msg_hdr.msg_name = &to_;
    message.msg_hdr.msg_namelen = sizeof to_;
    message.msg_hdr.msg_iov = &part;
    message.msg_hdr.msg_iovlen = 1;
    socket_.Send(&message, 1);
}

} // namespace kvcam
