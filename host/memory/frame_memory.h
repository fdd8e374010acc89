/** The host's shared frame memory: one POSIX shared-memory object with evenly spaced, page-aligned
 *  frame buffers and the state that consumers follow. Layout and protocol: kv_frame_memory.h. */
#pragma once

#include "kv_frame_memory.h"
#include "memory/frame_object.h"
#include "memory/frame_values.h"
#include "memory/leases.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** Results of FrameMemory::Trigger. */
enum TriggerResult : int {
    kTriggerAccepted = 0,
    kTriggerNoInstance = -1, ///< no such instance, or it was not prepared
    kTriggerNotOurs = -2,    ///< the image is not the start of one of the buffers
};

/** Owns the object, its lock and its name from Open to Close or destruction.
 *
 *  Grab thread only, except UnlinkNow, MayFill and TakenBack. Open and Init allocate; nothing that
 *  is called per frame allocates or locks, or enters the kernel unless a consumer waits or holds a
 *  frame. */
class FrameMemory
{
public:
    FrameMemory() = default;
    FrameMemory(const FrameMemory&) = delete;
    FrameMemory& operator=(const FrameMemory&) = delete;

    /** Creates the object `name` ("/kvgrab": a slash and a name without further slashes), with no
     *  buffers yet. An object of that name that a dead host left is removed first; a live owner is
     *  an error, and so is an object that is not a frame memory. False: Error() says why. */
    bool Open(const std::string& name);
    /** Informs consumers that the host ended, removes the name and unmaps the object. Buffer
     *  addresses become invalid. */
    void Close();
    /** For leaving at once, from any thread or a signal handler: informs consumers and removes the
     *  name. Async-signal-safe; the memory itself stays mapped. */
    void UnlinkNow() noexcept;

    /** Lays out `bufferCount` buffers of at least `bufferBytes` bytes and prepares instance 0;
     *  called for each session. Buffers keep their addresses unless their size or number grows; the
     *  generation rises when anything changes. No frame is valid afterwards. False: there are no
     *  buffers now, and Error() says why. */
    bool Init(std::uint32_t bufferBytes, std::uint32_t bufferCount);
    /** No buffers until the next Init. */
    void DropBuffers();
    void SetActFsize(std::uint32_t bytes); ///< bytes of a frame without spare room
    /** The index-th buffer, null when there is none. Addresses rise by Stride(). */
    void* BufPtr(std::uint32_t index) const;

    /** Instance 0 is the memory that Init prepared: the buffers must hold `bufferBytes`. Instance 1
     *  takes converted frames in the same buffers. False: no such instance, or the buffers are too
     *  small for it; Error() says why, and its triggers are refused. */
    bool InstanceInit(std::uint32_t instance, std::uint32_t bufferBytes);
    void InstanceSetActFsize(std::uint32_t instance, std::uint32_t bytes);
    void InstanceSetCodec(std::uint32_t instance, std::string_view codec);

    /** Describes the pictures to consumers. A change raises the generation; call it before frames
     *  flow. */
    void Describe(std::uint32_t width, std::uint32_t height, std::uint32_t format,
                  std::string_view codec);

    /** Marks the buffers whose turn comes. Call it in every round, before Trigger, whether the
     *  transfer delivered a frame or not. */
    void CountRound();
    /** Hands over a filled image. For instance 0 it becomes the newest frame, which consumers see
     *  at once, and stays held until Release. Returns a TriggerResult. */
    int Trigger(std::uint32_t instance, std::uint64_t timeUs, const void* image, int flag,
                const FrameValues& values);
    /** Gives the held image back to the camera. Call it after the export, even when the image was
     *  not exported; otherwise the next CountRound does it. */
    void Release();
    /** Whether the camera's transfer may fill the buffer that starts at `image`: not while a
     *  consumer holds its frame and enough others are left. When none is, as `lastChoice` says or
     *  this finds, the frame that has been held for longest is taken back.
     *
     *  Any one thread at a time, also while the grab thread is at work: a buffer is either with the
     *  driver, from its delivery to its release, or with the transfer. Only the state of one whose
     *  frame the host gives back after the driver did is changed by both, in single steps. The
     *  buffers must not change meanwhile, as they don't while a transfer uses them. */
    bool MayFill(const void* image, bool lastChoice);
    /** Informs consumers when the next frame is due. */
    void Announce(std::uint64_t nextTimeUs, std::uint32_t latencyUs, std::uint32_t exposureUs);

    /** The image that was triggered last for instance 0 and is still held; null when none is. */
    const void* HeldImage() const;
    /** Bytes from an address to the end of the buffer that it is in; 0 when it is in none. */
    std::size_t BytesFrom(const void* address) const;
    std::uint32_t ActFsize() const; ///< bytes
    std::uint32_t BufferCount() const;
    std::size_t Stride() const;            ///< bytes from one buffer to the next
    std::uint64_t Generation() const;      ///< even; 0 when nothing is open
    std::uint64_t TriggeredFrames() const; ///< accepted for instance 0 since Open
    std::uint64_t TakenBack() const;       ///< frames that consumers held, since Open; any thread
    std::uint32_t MostHeld() const;        ///< how many frames consumers can hold at a time
    /** False when a consumer has destroyed what consumers wait and hold frames with. */
    bool BoardIsWhole() const;
    const std::string& Error() const { return error_; }

private:
    bool Fail(std::string text);
    void WriteLayout(std::uint32_t bufferBytes, std::uint32_t bufferCount);
    void ForgetFrames();
    void MarkTurns();
    bool MarkForFilling(std::uint32_t index, bool lastChoice);
    bool KeepForConsumers(std::uint32_t index);
    KvFrames::FrameMemoryHeader* Header() const { return object_.Header(); }
    KvFrames::FrameBufferInfo* Infos() const;
    std::uint32_t IndexOf(const void* image) const;

    FrameObject object_;
    const Leases leases_{object_.Consumers()};
    std::string error_;
    std::size_t pixelOffset_ = 0;
    std::size_t stride_ = 0;
    std::uint32_t bufferCount_ = 0;
    std::uint32_t spareFrames_ = 1;
    std::uint32_t heldIndex_ = KvFrames::kNoBuffer;
    std::uint64_t sequence_ = 0;
    std::uint64_t round_ = 0;               ///< since Init; each takes one buffer at most
    std::vector<std::uint64_t> takenRound_; ///< per buffer: the round that brought its frame
    std::atomic<std::uint64_t> takenBack_ = 0;
};

} // namespace kvgrab
