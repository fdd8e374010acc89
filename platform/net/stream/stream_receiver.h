/** Receives the packets of a stream channel on a thread of its own, and puts them together. */
#pragma once

#include "net/stream/reassembly.h"
#include "net/stream/stream_socket.h"
#include "net/stream/transfer.h"

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <thread>
#include <vector>

namespace net
{

/** A frame and what the reassembly doesn't know about it. */
struct ArrivedFrame {
    ReceivedFrame frame;
    std::int64_t arrivalNs = 0;    ///< real time, since the epoch
    std::uint64_t acquisition = 0; ///< to which it belongs
};

/** Threads: any. The mutex is a leaf, held while packets are copied to their places; nobody holds
 * it while waiting for packets. */
class StreamReceiver
{
public:
    using Clock = std::chrono::steady_clock;

    /** The socket is open. The buffers outlive this object; none is free at first. */
    StreamReceiver(std::unique_ptr<StreamSocket> socket, const ReassemblySettings& settings,
                   std::span<std::uint8_t* const> buffers);
    ~StreamReceiver() { End(); }
    StreamReceiver(const StreamReceiver&) = delete;
    StreamReceiver& operator=(const StreamReceiver&) = delete;

    /** Begins the thread. Empty, or which of these wishes the system doesn't permit: the thread
     *  then runs without. */
    std::string Begin(const Receiver& wishes);
    /** A new acquisition; returns its number. While stopped. */
    std::uint64_t Start(const ReassemblySettings& settings, const StreamSource& source);
    /** When this returns, nothing is written to the buffers until the next start. Frames that
     * nobody took are dropped, and their buffers are free. */
    void Stop();
    /** Ends the thread: nothing is written to the buffers any more, and Next returns at once. */
    void End();

    void AddBuffer(std::uint32_t buffer);
    /** The next frame; false: none came until then. Its buffer is the caller's until AddBuffer. */
    bool Next(ArrivedFrame* frame, Clock::time_point until);
    /** Since this object was made. */
    ReassemblyCounts Counts() const;
    std::uint64_t Dropped() const { return socket_->Dropped(); }
    const StreamSocket& Socket() const { return *socket_; }

private:
    static constexpr std::size_t kRequests = 64; ///< in one go

    void Run();
    void LetGather(Ns now) const;
    void Receive();
    void Take(const Datagrams& datagrams, Ns now, Ns realTimeAhead);
    void Collect(Ns realTimeAhead);

    const std::unique_ptr<StreamSocket> socket_; ///< the thread's, while it isn't parked
    mutable std::mutex mutex_;
    std::condition_variable arrived_; ///< a frame is ready, or there won't be any
    std::condition_variable changed_; ///< of what the thread is to do, or does
    Reassembly reassembly_;
    ReassemblyCounts before_;         ///< of earlier acquisitions
    std::vector<ArrivedFrame> ready_; ///< a ring: each has a buffer
    std::size_t firstReady_ = 0;
    std::size_t countReady_ = 0;
    std::uint64_t acquisition_ = 0;
    bool started_ = false;
    bool parked_ = true; ///< the thread uses neither the socket nor the buffers
    bool ending_ = false;
    Ns lastPacket_ = 0;
    Ns due_ = 0;                          ///< the thread's: when the reassembly has something to do
    std::uint16_t commandId_ = 0;         ///< the thread's
    std::vector<ResendRequest> requests_; ///< the thread's
    std::thread thread_;
};

} // namespace net
