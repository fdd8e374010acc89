#include "net/stream/stream_receiver.h"

#include "base/signals_blocked.h"
#include "core/buffer_guard.h"
#include "net/stream/resend_request.h"

#include <algorithm>
#include <cstring>
#include <ctime>
#include <fmt/format.h>
#include <limits>
#include <pthread.h>
#include <sched.h>

namespace net
{

namespace
{

Ns Now(clockid_t clock)
{
    constexpr Ns kNsPerS = 1'000'000'000;
    timespec now{};
    clock_gettime(clock, &now);
    return now.tv_sec * kNsPerS + now.tv_nsec;
}

void Add(const ReassemblyCounts& from, ReassemblyCounts* to)
{
    to->packets += from.packets;
    to->resent += from.resent;
    to->requested += from.requested;
    to->missing += from.missing;
    to->duplicate += from.duplicate;
    to->late += from.late;
    to->malformed += from.malformed;
    to->refused += from.refused;
    to->framesLost += from.framesLost;
    to->framesWithoutBuffer += from.framesWithoutBuffer;
    to->framesUnknownPayload += from.framesUnknownPayload;
    to->packetsOfFrame = from.packetsOfFrame;
}

} // namespace

StreamReceiver::StreamReceiver(std::unique_ptr<StreamSocket> socket,
                               const ReassemblySettings& settings,
                               std::span<std::uint8_t* const> buffers)
    : socket_(std::move(socket)),
      reassembly_(settings, buffers,
                  [buffers](std::uint32_t buffer, bool lastChoice) {
                      return gevplat::BufferGuard::MayFill(buffers[buffer], lastChoice);
                  }),
      ready_(buffers.size())
{
    requests_.reserve(kRequests);
}

std::string StreamReceiver::Begin(const Receiver& wishes)
{
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
    std::string refused;
    if (wishes.cpu >= 0) {
        cpu_set_t cpus;
        CPU_ZERO(&cpus);
        CPU_SET(static_cast<std::size_t>(wishes.cpu), &cpus);
        const int error = pthread_setaffinity_np(thread_.native_handle(), sizeof cpus, &cpus);
        if (error != 0) {
            refused =
                fmt::format("it can't be bound to CPU {} ({})", wishes.cpu, std::strerror(error));
        }
    }
    if (wishes.priority > 0) {
        const sched_param parameters{.sched_priority = wishes.priority};
        const int error = pthread_setschedparam(thread_.native_handle(), SCHED_FIFO, &parameters);
        if (error != 0) {
            refused +=
                fmt::format("{}it gets no real-time priority of {} ({})",
                            refused.empty() ? "" : "; ", wishes.priority, std::strerror(error));
        }
    }
    return refused;
}

std::uint64_t StreamReceiver::Start(const ReassemblySettings& settings, const StreamSource& source)
{
    const std::lock_guard lock(mutex_);
    Add(reassembly_.Counts(), &before_);
    socket_->Expect(source);
    reassembly_.Restart(settings);
    lastPacket_ = Now(CLOCK_MONOTONIC);
    due_ = reassembly_.Due();
    started_ = true;
    changed_.notify_all();
    return ++acquisition_;
}

void StreamReceiver::Stop()
{
    std::unique_lock lock(mutex_);
    started_ = false;
    changed_.wait(lock, [this] { return parked_; });
    for (; countReady_ > 0; --countReady_) {
        reassembly_.AddBuffer(ready_[firstReady_].frame.buffer);
        firstReady_ = (firstReady_ + 1) % ready_.size();
    }
}

void StreamReceiver::End()
{
    {
        const std::lock_guard lock(mutex_);
        started_ = false;
        ending_ = true;
        changed_.notify_all();
        arrived_.notify_all();
    }
    if (thread_.joinable()) {
        thread_.join();
    }
}

void StreamReceiver::AddBuffer(std::uint32_t buffer)
{
    const std::lock_guard lock(mutex_);
    reassembly_.AddBuffer(buffer);
}

bool StreamReceiver::Next(ArrivedFrame* frame, Clock::time_point until)
{
    std::unique_lock lock(mutex_);
    arrived_.wait_until(lock, until, [this] { return countReady_ > 0 || ending_; });
    if (countReady_ == 0 || ending_) {
        return false;
    }
    *frame = ready_[firstReady_];
    firstReady_ = (firstReady_ + 1) % ready_.size();
    --countReady_;
    return true;
}

ReassemblyCounts StreamReceiver::Counts() const
{
    const std::lock_guard lock(mutex_);
    ReassemblyCounts counts = before_;
    Add(reassembly_.Counts(), &counts);
    return counts;
}

void StreamReceiver::Run()
{
    pthread_setname_np(pthread_self(), "kv-receive");
    std::unique_lock lock(mutex_);
    while (!ending_) {
        if (!started_) {
            parked_ = true;
            changed_.notify_all();
            changed_.wait(lock, [this] { return started_ || ending_; });
            parked_ = false;
            continue;
        }
        lock.unlock();
        Receive();
        lock.lock();
    }
    parked_ = true;
    changed_.notify_all();
}

/** A wake-up costs more than a packet. So while packets of a frame come singly, they are left to
 *  gather for a moment in which no more than a quarter of the receive buffer is filled, at 8
 * Gbit/s.
 */
void StreamReceiver::LetGather(Ns now) const
{
    constexpr Ns kLongest = 100'000;
    const Ns nap = std::min(kLongest, static_cast<Ns>(socket_->BufferBytes() / 4));
    const bool underWay = due_ != std::numeric_limits<Ns>::max();
    if (socket_->HadLittle() && underWay && due_ - now > nap) {
        const timespec time{0, nap};
        nanosleep(&time, nullptr);
    }
}

/** One step: waits for packets until something is due, and deals with both. */
void StreamReceiver::Receive()
{
    LetGather(Now(CLOCK_MONOTONIC));
    const std::span<const Datagrams> batch = socket_->Receive(due_ - Now(CLOCK_MONOTONIC));
    bool complete = false;
    {
        const std::lock_guard lock(mutex_);
        if (!started_) {
            return;
        }
        const Ns now = Now(CLOCK_MONOTONIC);
        const Ns realTimeAhead = Now(CLOCK_REALTIME) - now;
        for (const Datagrams& datagrams : batch) {
            Take(datagrams, now, realTimeAhead);
        }
        // When the thread was late, packets that came in time may still be in the socket.
        reassembly_.Tick(socket_->MayHaveMore() ? lastPacket_ : now);
        const std::size_t before = countReady_;
        Collect(realTimeAhead);
        complete = countReady_ != before;
        requests_.clear();
        for (ResendRequest request;
             requests_.size() < kRequests && reassembly_.NextRequest(&request);) {
            requests_.push_back(request);
        }
        due_ = requests_.size() == kRequests ? now : reassembly_.Due();
    }
    if (complete) {
        arrived_.notify_one();
    }
    for (const ResendRequest& request : requests_) {
        commandId_ = static_cast<std::uint16_t>(commandId_ % 0xFFFF + 1);
        socket_->Send(ResendCommand(request, commandId_).Bytes());
    }
}

/** The system's time stamps are of the real-time clock, which somebody may set: a packet is never
 *  newer than now, nor older than the one before. */
void StreamReceiver::Take(const Datagrams& datagrams, Ns now, Ns realTimeAhead)
{
    const Ns arrived = datagrams.arrivedNs == 0 ? now : datagrams.arrivedNs - realTimeAhead;
    lastPacket_ = std::max(lastPacket_, std::min(arrived, now));
    for (std::size_t at = 0; at < datagrams.bytes.size(); at += datagrams.segment) {
        const std::size_t size = std::min(datagrams.segment, datagrams.bytes.size() - at);
        reassembly_.Take(datagrams.bytes.subspan(at, size), lastPacket_);
    }
}

void StreamReceiver::Collect(Ns realTimeAhead)
{
    while (countReady_ < ready_.size()) {
        ArrivedFrame& arrived = ready_[(firstReady_ + countReady_) % ready_.size()];
        if (!reassembly_.Next(&arrived.frame)) {
            return;
        }
        arrived.arrivalNs = arrived.frame.firstPacket + realTimeAhead;
        arrived.acquisition = acquisition_;
        ++countReady_;
    }
}

} // namespace net
