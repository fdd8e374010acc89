/** A transfer that the network library receives. */
#pragma once

#include "net/library_owners.h"
#include "net/stream/frame_counts.h"
#include "net/stream/frame_starts.h"
#include "net/stream/transfer.h"

#include <cstdint>
#include <memory>
#include <mutex>
#include <vector>

namespace net
{

/** The library's stream fills the caller's buffers. */
class LibraryTransfer : public Transfer
{
public:
    static int Make(Device& device, FeatureMap& features, const TransferPlan& plan,
                    std::shared_ptr<Transfer>* transfer, DeferredLog& log);
    ~LibraryTransfer() override;

    bool IsStarted() const override;
    void Start(std::uint32_t frames, const Geometry& geometry, const Pace& pace) override;
    void StartWasRefused(bool refused) override;
    void Stop() override;
    void Retire() override;
    int Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) override;
    int Release(_tag_GEVBUF_ENTRY* frame) override;
    GEV_TRANSFER_STATISTICS Statistics() const override;

private:
    struct Place {
        Ref<ArvBuffer> buffer;
        _tag_GEVBUF_ENTRY entry{};
        bool taken = false; ///< in the caller's hands
    };

    LibraryTransfer(Device& device, FeatureMap& features);
    /** A buffer that came from the stream, under the mutex: a frame for the caller, or null. */
    Place* Receive(ArvBuffer* buffer, int* status);
    bool HoldsImage(ArvBuffer* buffer) const;
    /** Of an incomplete frame. */
    GevFrameFault FaultOf(ArvBuffer* buffer, bool hasNumber) const;
    void Describe(Place& place, bool complete);
    void ReadFrameValues(ArvBuffer* buffer);
    void ForgetFrameValues();
    static void OnStream(void* starts, ArvStreamCallbackType event, ArvBuffer* buffer) noexcept;
    void Push(ArvBuffer* buffer);

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
    std::uint64_t bufferBytes_ = 0;
    FrameCounts counts_;
};

/** Nanoseconds as the library gives them back to the camera's ticks: it rounds down. */
std::uint64_t TicksOf(std::uint64_t ns, std::uint64_t frequency);

} // namespace net
