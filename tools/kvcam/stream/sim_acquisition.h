/** The stream of a simulated camera on the network.
 *
 *  Frames come from the camera model's stream, so its timing, triggers, pictures, chunks and faults
 *  appear on the wire: frames that it loses are left out in the numbers, and incomplete ones lack
 *  the packets of their second half.
 *
 *  Threads: any, but never under the camera model's lock, because Start and Stop wait for a thread
 *  that takes it. While the acquisition runs, it has a thread that sends the frames; another one
 *  answers requests. */
#pragma once

#include "tools/kvcam/stream/acquisition.h"
#include "tools/kvcam/stream/answers.h"
#include "tools/kvcam/stream/faulty_channel.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

struct _tag_GEVBUF_ENTRY;

namespace sim
{
class CameraModel;
}

namespace kvcam
{

struct StreamSettings {
    std::size_t resendDepth = 0;          ///< frames that can be sent again; 0: none
    std::vector<std::string> faults = {}; ///< of the stream, see docs/kvcam.md
    bool extendedIds = false;             ///< even if the target doesn't say so
    bool extendedChunks = false;          ///< frames with chunk data are of payload type 0x4001
    bool segments = true;                 ///< false: never uses UDP segmentation offload
};

class SimAcquisition : public Acquisition
{
public:
    /** Sends from this address, in host byte order. The model outlives it. Raises
     *  std::runtime_error when there is no such address or a fault makes no sense. */
    SimAcquisition(sim::CameraModel& model, std::uint32_t address, StreamSettings settings);
    ~SimAcquisition() override;
    SimAcquisition(const SimAcquisition&) = delete;
    SimAcquisition& operator=(const SimAcquisition&) = delete;

    /** The port from which the camera sends. */
    std::uint16_t OwnPort() const { return channel_.socket.Port(); }

    Status Start(std::uint32_t frames) override;
    Status Stop() override;
    bool IsRunning() const override { return running_; }
    void SetTarget(const StreamTarget& target) override;
    void SendTestPacket() override;
    void Resend(const ResendRange& range) override;

private:
    /** The memory for frames of one acquisition. */
    struct Buffers;

    Status Prepare(std::uint32_t frames);
    void Run();
    bool IsOver() const;
    void Join();
    std::shared_ptr<SentFrame> Take(const _tag_GEVBUF_ENTRY& entry);
    void GiveBack(const _tag_GEVBUF_ENTRY* entry, std::uint64_t transfer);

    sim::CameraModel& model_;
    const StreamSettings settings_;
    std::shared_ptr<Buffers> buffers_; // of the thread while there is one
    std::uint64_t transfer_ = 0;       // counts them; under the model's lock
    Channel channel_;
    Answers answers_;
    FaultyChannel sender_; // of the thread
    std::mutex control_;   // one start or stop at a time
    bool limited_ = false; // the acquisition ends by itself; of the thread while there is one
    std::atomic<bool> running_{false};
    std::atomic<bool> stop_{false};
    std::thread thread_;
};

} // namespace kvcam
