/** The transfer: from exposed frames to the caller's buffers.
 *
 *  There is no thread. Every call that reaches the camera first processes all events up to the
 *  present time (Advance): exposures start and frames arrive; an arriving frame takes a free buffer
 *  or is lost. A waiting caller claims a buffer for the next frame and paints it while the frame is
 *  still on its way, so that painting adds no latency; then it sleeps on the clock, without the
 *  lock.
 *
 *      buffer:  free --claimed--> filling --arrived--> waiting --delivered--> caller's
 *                ^---------------- abort, loss -----------'                      |
 *                ^------------------------------- released ----------------------'
 *
 *  Free buffers are claimed in turn. The host is asked before (core/buffer_guard.h), and one that
 * it keeps is passed over until its next turn.
 *
 *  Abort takes back all buffers except the caller's, which stay untouched until they are released.
 *
 *  Threads: under the camera's lock, except for Wait, which takes the lock itself. */
#pragma once

#include "sim/camera/ring.h"
#include "sim/camera/sensor.h"
#include "sim/picture/scene.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace sim
{

class Stream
{
public:
    /** `image` is the scene in front of the camera; null: a test pattern. `recording`: it is played
     *  back instead. */
    Stream(CameraModel& camera, std::shared_ptr<const LightImage> image,
           std::shared_ptr<const Recording> recording);

    bool IsRunning() const { return sensor_.IsRunning(); }
    /** No more frames come: all that were asked for have been delivered, or are lost. */
    bool IsOver() const { return sensor_.IsOver() && onTheWay_.Empty() && waiting_.Empty(); }
    bool IsInitialized() const { return !slots_.empty(); }
    void Advance(std::int64_t nowNs);

    int Initialize(std::uint64_t size, std::uint32_t count, void** buffers);
    int Start(std::uint32_t frames);
    int Abort();
    int Free();
    int Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs);
    int Release(const _tag_GEVBUF_ENTRY* frame);

    /** How many frames may wait for the caller, and the bytes of one packet. */
    void Configure(std::uint32_t framesBuffered, std::uint32_t packetSize);
    const GEV_TRANSFER_STATISTICS& Statistics() const { return statistics_; }
    /** What is played back; null: nothing. */
    const Playback* Replay() { return sensor_.Replay(); }

private:
    enum class State { Free, Filling, Waiting, Callers };
    struct Slot {
        _tag_GEVBUF_ENTRY entry{};
        std::uint8_t* memory = nullptr;
        State state = State::Free;
        bool nullFrame = false;
        double gain = 1; // of a recorded frame, like the next
        double exposureUs = 0;
        bool last = false;
    };

    bool Claim(Frame* frame);
    std::uint32_t ChooseFree() const;
    void Fill(const Frame& frame, Slot* slot);
    bool FillRecorded(Playback& replay, Frame* frame, Slot* slot);
    void Lose(const Frame& frame);
    void ShowSettings(Playback& replay, const Slot& slot);
    std::int64_t NextStartNs();
    bool HasRoom() const;
    bool HasFreeSlot() const;
    void Arrive(Frame frame);
    void DropUndelivered();
    int Deliver(_tag_GEVBUF_ENTRY** frame);
    std::uint64_t Packets(const Frame& frame) const;
    void DescribeReception(const Frame& frame, std::uint64_t missing, GEV_FRAME_RECEPTION* to);

    CameraModel& camera_;
    Scene scene_;
    Sensor sensor_; // refers to the scene
    Ring<Frame> onTheWay_;
    Ring<std::uint32_t> waiting_; // slots, oldest first
    std::vector<Slot> slots_;     // one per buffer; empty: no transfer is initialised
    std::uint64_t bufferSize_ = 0;
    std::uint32_t nextSlot_ = 0; // buffers are taken in turn
    std::uint32_t framesBuffered_ = 1;
    std::uint32_t packetSize_ = 1500;
    GEV_TRANSFER_STATISTICS statistics_{};
    // Of the statistics, when the newest frame arrived that is delivered.
    std::uint64_t lostBefore_ = 0;
    std::uint64_t underrunsBefore_ = 0;
};

} // namespace sim
