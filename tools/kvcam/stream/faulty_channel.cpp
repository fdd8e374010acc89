#include "tools/kvcam/stream/faulty_channel.h"

#include <utility>

namespace kvcam
{

FaultyChannel::FaultyChannel(Channel& channel)
    : channel_(channel), sender_(channel.socket, channel.clock),
      stranger_(channel.strangersSocket, channel.clock)
{
}

void FaultyChannel::Send(SentFrame* frame, std::uint32_t first, std::uint32_t last, bool resent,
                         const std::atomic<bool>& stop)
{
    if (!channel_.isPresent()) {
        return;
    }
    {
        const std::lock_guard lock(channel_.faultsMutex);
        channel_.faults.Plan(
            frame->packets,
            {.frame = frame->number, .first = first, .last = last, .resent = resent}, &outgoing_);
    }
    constexpr std::int64_t kNsPerMs = 1'000'000;
    for (Outgoing& next : outgoing_) {
        if (stop) {
            return;
        }
        if (!next.datagram) {
            sender_.Send(frame->packets, next.first, next.last, resent ? kResent : 0, stop,
                         resent ? nullptr : &frame->unsent);
        } else if (next.lateMs != 0) {
            channel_.sendLater(std::move(*next.datagram),
                               channel_.clock.nowNs() +
                                   static_cast<std::int64_t>(next.lateMs) * kNsPerMs);
        } else {
            (next.stranger ? stranger_ : sender_).SendDatagram(*next.datagram);
        }
    }
    if (!resent) {
        frame->unsent = last + 1;
    }
}

} // namespace kvcam
