/** Sends what isn't sent in turn: packets that a client requests again, and late ones.
 *
 *  A client can't keep the camera busy with requests: they wait in a queue of limited length, and
 *  no more packets are sent again than were sent before. What exceeds that stays without an answer.
 *
 *  Threads: any; it has one of its own. */
#pragma once

#include "tools/kvcam/stream/acquisition.h"
#include "tools/kvcam/stream/faulty_channel.h"
#include "tools/kvcam/stream/sent_frame.h"

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <map>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

namespace kvcam
{

class Answers
{
public:
    /** Keeps the newest `depth` frames; with 0, no request is answered. The channel outlives it. */
    Answers(Channel& channel, std::size_t depth);
    ~Answers();
    Answers(const Answers&) = delete;
    Answers& operator=(const Answers&) = delete;

    /** A new acquisition, whose numbers start again. */
    void Forget();
    /** Call it before the frame is sent. */
    void Remember(std::shared_ptr<SentFrame> frame);
    void Request(const ResendRange& range);
    void SendLater(std::vector<std::uint8_t> datagram, std::int64_t whenNs);

private:
    using Lock = std::unique_lock<std::mutex>;

    void Run();
    void WaitForWork(Lock* lock);
    void Answer(const ResendRange& range, Lock* lock);
    void Refuse(const ResendRange& range, const PacketForm& form, Status status, Lock* lock);
    /** Of so many packets, how many may be sent again. Under the mutex. */
    std::uint32_t Allow(std::uint32_t packets);

    Channel& channel_;
    FaultyChannel sender_;
    std::mutex mutex_; // guards all below, but for the thread
    std::condition_variable changed_;
    FrameMemory memory_;
    std::uint64_t allowed_ = 0; // packets that may be sent again
    PacketForm form_;           // of the newest frame
    std::deque<ResendRange> requests_;
    std::multimap<std::int64_t, std::vector<std::uint8_t>> late_;
    std::atomic<bool> ending_{false};
    std::thread thread_; // last: it uses all of the others
};

} // namespace kvcam
