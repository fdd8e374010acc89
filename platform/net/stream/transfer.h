/** One transfer: the caller's buffers, the library's stream that fills them, and what came. */
#pragma once

#include "gev_api.h"
#include "net/control/device.h"
#include "net/deferred_log.h"
#include "net/library_owners.h"
#include "net/nodes/feature_map.h"
#include "net/stream/frame_counts.h"
#include "net/stream/frame_starts.h"
#include "net/stream/hold_back.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace net
{

/** What every frame of a transfer looks like. */
struct Geometry {
    std::uint32_t width = 0;  ///< pixels
    std::uint32_t height = 0; ///< lines
    std::uint64_t imageBytes = 0;
    std::uint64_t payloadBytes = 0; ///< with chunks
};

/** Made by GevInitializeTransfer, gone with GevFreeTransfer. Statuses are GevStatus.
 *
 *  Threads: Wait may run during every other operation; the mutex keeps them apart, and nobody waits
 *  for a frame while holding it. Where frames bring values of features along, the device's lock is
 *  taken under it (lock order in net_camera.h). */
class Transfer
{
public:
    /** Buffers of `size` bytes in the caller's memory, which outlives this object. */
    static int Make(Device& device, FeatureMap& features, std::uint32_t frameTimeoutMs,
                    std::uint64_t size, std::uint32_t count, void** buffers,
                    std::shared_ptr<Transfer>* transfer, DeferredLog& log);
    ~Transfer();
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    bool IsStarted() const;
    /** Starts the library's stream; starting the camera's acquisition is up to the caller. */
    void Start(std::uint32_t frames, const Geometry& geometry, const Pace& pace);
    void StartWasRefused(bool refused);
    /** Frames that are not in the caller's hands are dropped. */
    void Stop();
    /** From now on nothing is written to the caller's memory, and every Wait returns kGevNotReady
     *  soon. The last operation. */
    void Retire();
    int Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs);
    int Release(_tag_GEVBUF_ENTRY* frame);
    GEV_TRANSFER_STATISTICS Statistics() const;

private:
    struct Place {
        Ref<ArvBuffer> buffer;
        _tag_GEVBUF_ENTRY entry{};
        bool taken = false; ///< in the caller's hands
    };

    Transfer(Device& device, FeatureMap& features);
    Place* PlaceOf(const _tag_GEVBUF_ENTRY* frame);
    /** A buffer that came from the stream, under the mutex: a frame for the caller, or null. */
    Place* Receive(ArvBuffer* buffer, int* status);
    bool HoldsImage(ArvBuffer* buffer) const;
    void Describe(Place& place, bool complete);
    void ReadFrameValues(ArvBuffer* buffer);
    void ForgetFrameValues();
    static void OnStream(void* starts, ArvStreamCallbackType event, ArvBuffer* buffer) noexcept;
    void Push(ArvBuffer* buffer);
    void Drain();

    Device& device_;
    FeatureMap& features_;
    mutable std::mutex mutex_;
    FrameStarts starts_; ///< before the stream, whose receiver uses it
    Ref<ArvStream> stream_;
    Ref<ArvChunkParser> chunks_; ///< null: the camera's description has no chunk that is read
    std::vector<Place> places_;
    Geometry geometry_;
    std::uint64_t tickFrequency_ = 0; ///< Hz
    bool started_ = false;
    bool running_ = true; ///< the library's thread
    bool retired_ = false;
    std::uint64_t framesLeft_ = 0; ///< of those asked for; for ever: kForEver
    std::uint32_t frameTimeoutMs_ = 0;
    FrameCounts counts_;
};

/** Nanoseconds as the library gives them back to the camera's ticks: it rounds down. */
std::uint64_t TicksOf(std::uint64_t ns, std::uint64_t frequency);

} // namespace net
