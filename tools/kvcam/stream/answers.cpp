#include "tools/kvcam/stream/answers.h"

#include <algorithm>
#include <chrono>
#include <utility>

namespace kvcam
{

namespace
{

constexpr std::size_t kMostRequests = 1024;
constexpr std::size_t kMostLate = 16384;
constexpr std::uint32_t kMostRefused = 256; // packets of one request

} // namespace

Answers::Answers(Channel& channel, std::size_t depth)
    : channel_(channel), sender_(channel), memory_(depth)
{
    thread_ = std::thread([this] { Run(); });
}

Answers::~Answers()
{
    {
        const Lock lock(mutex_);
        ending_ = true;
    }
    changed_.notify_one();
    thread_.join();
}

void Answers::Forget()
{
    std::deque<std::shared_ptr<SentFrame>> gone; // given back without the lock
    const Lock lock(mutex_);
    gone = memory_.Clear();
    requests_.clear();
    allowed_ = 0;
}

void Answers::Remember(std::shared_ptr<SentFrame> frame)
{
    std::shared_ptr<SentFrame> gone; // given back without the lock
    const Lock lock(mutex_);
    const std::uint64_t packets = frame->packets.Trailer() + std::uint64_t{1};
    allowed_ = std::min(allowed_ + packets, packets * (memory_.Depth() + 1));
    form_ = frame->packets.Form();
    gone = memory_.Add(std::move(frame));
}

void Answers::Request(const ResendRange& range)
{
    {
        const Lock lock(mutex_);
        if (memory_.Depth() == 0 || requests_.size() >= kMostRequests) {
            return;
        }
        requests_.push_back(range);
    }
    changed_.notify_one();
}

void Answers::SendLater(std::vector<std::uint8_t> datagram, std::int64_t whenNs)
{
    {
        const Lock lock(mutex_);
        if (late_.size() >= kMostLate) {
            return;
        }
        late_.emplace(whenNs, std::move(datagram));
    }
    changed_.notify_one();
}

void Answers::Run()
{
    Lock lock(mutex_);
    while (!ending_) {
        if (!requests_.empty()) {
            const ResendRange range = requests_.front();
            requests_.pop_front();
            Answer(range, &lock);
        } else if (!late_.empty() && late_.begin()->first <= channel_.clock.nowNs()) {
            const auto due = late_.extract(late_.begin());
            lock.unlock();
            if (channel_.isPresent()) {
                sender_.SendDatagram(due.mapped());
            }
            lock.lock();
        } else {
            WaitForWork(&lock);
        }
    }
}

void Answers::WaitForWork(Lock* lock)
{
    if (late_.empty()) {
        changed_.wait(*lock);
        return;
    }
    changed_.wait_for(*lock,
                      std::chrono::nanoseconds(late_.begin()->first - channel_.clock.nowNs()));
}

std::uint32_t Answers::Allow(std::uint32_t packets)
{
    const auto allowed = static_cast<std::uint32_t>(std::min<std::uint64_t>(packets, allowed_));
    allowed_ -= allowed;
    return allowed;
}

/** The lock is open while packets are sent. */
void Answers::Answer(const ResendRange& range, Lock* lock)
{
    if (range.first > range.last) {
        return;
    }
    FrameMemory::Found found = memory_.Find(range.block);
    PacketForm form = form_;
    form.block = range.block;
    if (found.frame == nullptr) {
        Refuse(range, form, found.status, lock);
        return;
    }
    const FramePackets& packets = found.frame->packets;
    const std::uint32_t unsent = found.frame->unsent;
    const std::uint32_t last = std::min(range.last, packets.Trailer());
    if (range.first > last) {
        Refuse({range.block, range.first, range.first}, form, Status::PacketUnavailable, lock);
    }
    for (std::uint32_t next = range.first; next <= last;) {
        // As many as fare alike.
        const auto answer = [&](std::uint32_t packet) {
            return packet >= unsent       ? Status::PacketNotYetAvailable
                   : !packets.Has(packet) ? Status::PacketUnavailable
                                          : Status::Done;
        };
        std::uint32_t end = next + 1;
        while (end <= last && answer(end) == answer(next)) {
            ++end;
        }
        if (answer(next) != Status::Done) {
            Refuse({range.block, next, end - 1}, form, answer(next), lock);
        } else if (const std::uint32_t allowed = Allow(end - next); allowed > 0) {
            lock->unlock();
            sender_.Send(found.frame.get(), next, next + allowed - 1, true, ending_);
            lock->lock();
        }
        next = end;
    }
    lock->unlock();
    found.frame.reset(); // it may have left the memory meanwhile
    lock->lock();
}

/** By a header for each packet; one for all of them if those before are gone, too. */
void Answers::Refuse(const ResendRange& range, const PacketForm& form, Status status, Lock* lock)
{
    const std::uint32_t first =
        status == Status::PacketAndPreviousRemoved ? range.last : range.first;
    const std::uint32_t count = Allow(std::min(range.last - first, kMostRefused - 1) + 1);
    lock->unlock();
    {
        const std::lock_guard guard(channel_.faultsMutex);
        if (!channel_.isPresent() || channel_.faults.IgnoresRequest(range.block)) {
            lock->lock();
            return;
        }
    }
    for (std::uint32_t packet = first; packet < first + count; ++packet) {
        const Packet refusal =
            HeaderOf(form, static_cast<std::uint16_t>(status), PacketContent::Payload, packet);
        sender_.SendDatagram({refusal.header.data(), refusal.headerBytes});
    }
    lock->lock();
}

} // namespace kvcam
