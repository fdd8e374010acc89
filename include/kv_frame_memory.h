/** The shared frame memory as its consumers see it: one POSIX shared-memory object, named "/kvgrab"
 *  unless the host is configured otherwise. Map it read-only: only the host writes here, and the
 *  camera's transfer writes the pixels.
 *
 *  Object:  FrameMemoryHeader | bufferCount x FrameBufferInfo | room up to pixelOffset | buffers
 *  Buffer i begins at pixelOffset + i * stride (both multiples of the page size) and holds
 *  frameBytes bytes of a frame, lines without padding, in the codec that the header names.
 *
 *  ## Following the frames
 *  The camera's transfer fills the buffers in place. Consumers go by the `word` of a buffer, which
 *  holds a rising sequence number and a state:
 *
 *  - kFrameHeld: the grab loop is working on the frame. Nobody writes to the buffer.
 *  - kFrameReleased: the camera's transfer owns the buffer again, but has not begun to fill it.
 *  - kFrameFilling: it is being filled, or never held a frame. Don't read the pixels.
 *
 *  To read a frame, load `word` (acquire), go on only if its state is not kFrameFilling, and copy
 *  the values and pixels. Then check with FrameStillWhole() that the word still has the same
 *  sequence number and is not filling. If it fails, discard the copy: the frame was overwritten.
 *
 *  `exact` says what this guarantees. 1: the transfer asks the host before it fills a buffer, and
 * the host marks the buffer first, so a copy that passes the check is whole. 0: the transfer does
 * not ask. The host then marks a buffer `spareFrames` frames before its turn, and a copy that
 * passes is whole as long as no more than `spareFrames` complete frames wait unfetched in the
 * transfer, which the host can't see. N buffers then leave N - 1 - spareFrames frames to read.
 *
 *  ## Waiting, and holding a frame
 *  A second object, named like the first with ".consumers" behind it, is for consumers to write to:
 *  the ConsumerBoard. The host trusts nothing that is in it.
 *
 *  To wait for a frame, load `wake` of the header, look for a new frame, set `waiting` of the board
 *  to 1 (sequentially consistent), look again, and call FUTEX_WAIT (shared, not private) on `wake`
 *  with the value loaded. After publishing a frame, and at its end, the host adds 1 to `wake`,
 * takes `waiting` by an exchange with 0, and calls FUTEX_WAKE for all if it was set. So a host that
 * nobody waits for makes no system call, and a waiting consumer that dies costs it one. Wait for at
 * most a second at a time: a host that is killed wakes nobody.
 *
 *  To hold a frame, take one of the board's leases: a write lock (F_OFD_SETLK) on byte i of the
 * board for lease i, which ends with the process. Set bit i of `inUse`, store the frame's sequence
 * number into the lease (sequentially consistent), then load the buffer's word: if it still has
 * that sequence number and is not filling, the frame is held, otherwise clear the lease. Before the
 * host lets a buffer be filled, it marks it as filling (sequentially consistent) and then looks for
 * a lease with its sequence number. If there is one, it restores the word and another buffer is
 *  filled. If there are too few others, or nobody locks the lease, it takes the buffer: the word
 * stays marked, as the consumer sees. The host looks before it marks the buffer, too: only the word
 * of a frame that a consumer comes to hold at that very moment changes for a while.
 *
 *  ## A resize
 *  `generation` is odd while the layout changes, and rises by two with each change of layout, size
 *  or pixel format. Load it before any other field of the layout, and again after each copy; if it
 *  has changed, discard the copy and map the object again. The object never shrinks, so an old
 *  mapping stays accessible.
 *
 *  ## The end of the host
 *  `running` is 0 after an orderly end. For as long as the host lives it keeps an open-file-
 *  description write lock (F_OFD_SETLK) on the whole object, which the kernel releases when the
 *  process ends: test for a read lock with F_OFD_GETLK; F_UNLCK means that no host owns the memory
 *  any more. A new host makes a new object of the same name, so open the object again, too. */
#pragma once

#include <atomic>
#include <cstdint>

namespace KvFrames
{

constexpr std::uint64_t kFrameMemoryMagic = 0x314D454D4652564BULL; ///< "KVRFMEM1" in memory
constexpr std::uint32_t kFrameMemoryVersion = 3;
constexpr const char* kFrameMemoryDefaultName = "/kvgrab";
constexpr const char* kConsumerBoardSuffix = ".consumers";           ///< behind the object's name
constexpr std::uint64_t kConsumerBoardMagic = 0x3144524F4252564BULL; ///< "KVRBORD1" in memory
constexpr std::uint32_t kLeases = 64;           ///< frames that can be held at the same time
constexpr std::uint32_t kNoBuffer = 0xFFFFFFFF; ///< newest index while there is no frame
constexpr std::uint32_t kMemoryInstances = 2;   ///< 0: frames as received, 1: converted ones

using Word32 = std::atomic<std::uint32_t>;
using Word64 = std::atomic<std::uint64_t>;
static_assert(Word32::is_always_lock_free && Word64::is_always_lock_free);
static_assert(sizeof(Word32) == 4 && sizeof(Word64) == 8);

enum FrameState : std::uint32_t {
    kFrameFilling = 0,
    kFrameReleased = 1,
    kFrameHeld = 2,
};

/** A buffer's word: the sequence number of its frame above two bits of state. */
constexpr std::uint64_t PackFrameWord(std::uint64_t sequence, FrameState state)
{
    return (sequence << 2) | state;
}
constexpr std::uint64_t FrameSequence(std::uint64_t word)
{
    return word >> 2;
}
constexpr FrameState StateOfFrame(std::uint64_t word)
{
    return static_cast<FrameState>(word & 3);
}

/** One frame buffer. The values belong to the frame whose sequence number the word carries. */
struct alignas(64) FrameBufferInfo {
    Word64 word;
    Word64 timeUs;      ///< time stamp, microseconds since the epoch
    Word64 cameraTicks; ///< the camera's own time stamp
    Word32 frameCounter;
    Word32 frameBytes; ///< bytes of the picture
    std::atomic<float> gainDb;
    std::atomic<float> exposureUs;
    /** The camera's time stamp on the host's clock, nanoseconds since the epoch, later than the
     *  stamp by the shortest delay of a frame. It rises with the camera's ticks unless a clock is
     *  set. 0: none, because the frame has no time stamp or that of the frame before. */
    Word64 captureTimeNs;
    Word64 cameraFrameNumber; ///< the camera's own number of the frame; 0: none
};
static_assert(sizeof(FrameBufferInfo) == 64);

/** A memory instance: how it was prepared, and the frame that was handed to it last. */
struct MemoryInstanceInfo {
    Word32 bufferBytes; ///< buffer size that it was prepared for; 0: not prepared
    Word32 frameBytes;  ///< bytes of a frame without spare room
    Word32 newestIndex; ///< buffer handed over last, or kNoBuffer
    Word32 reserved;
    Word64 newestTimeUs;
    Word64 triggers; ///< images accepted since the host started
    char codec[16];  ///< set for a converted stream, else empty; like the header's codec
};
static_assert(sizeof(MemoryInstanceInfo) == 48);

struct alignas(64) FrameMemoryHeader {
    Word64 magic; ///< written last: a reader that sees it finds the rest complete
    Word32 version;
    Word32 running; ///< 1 while the host uses the memory
    Word64 ownerPid;
    Word64 generation; ///< odd while the fields below, up to `codec`, change

    Word64 objectBytes; ///< size to map
    Word64 pixelOffset; ///< from the start of the object to buffer 0
    Word64 stride;      ///< from one buffer to the next
    Word32 bufferCount;
    Word32 spareFrames; ///< how many frames ahead of its turn a buffer is marked as filling
    Word32 bufferBytes; ///< requested size of each buffer
    Word32 frameBytes;  ///< bytes of a frame without spare room
    Word32 width;       ///< pixels; 0 until known
    Word32 height;
    Word32 format;  ///< HostFormat of the driver; 0 until known
    char codec[20]; ///< name of the pixel format, terminated

    Word32 newestIndex;    ///< buffer of the newest frame, or kNoBuffer
    Word64 newestSequence; ///< 0 until there is a frame; the first is 1

    Word64 announcements; ///< odd while the three values below change
    Word64 nextTimeUs;    ///< expected time stamp of the next frame
    Word32 latencyUs;
    Word32 announcedExposureUs;

    Word32 wake;  ///< rises with each frame, each change of layout, and at the host's end
    Word32 exact; ///< 1: buffers are marked before they are filled

    MemoryInstanceInfo instances[kMemoryInstances];
};

/** What consumers write to, in an object of its own. */
struct alignas(64) ConsumerBoard {
    Word64 magic; ///< written last
    Word32 version;
    Word32 waiting; ///< 1: somebody waits on the header's `wake`
    Word64 inUse;   ///< bit i: lease i may be set
    std::uint64_t reserved[5];
    Word64 leases[kLeases]; ///< sequence number of the frame that is held; 0: none
};
static_assert(sizeof(ConsumerBoard) == 64 + 8 * kLeases);

/** Call it after copying a frame: true when the copy, begun when the word was `wordBefore`, is of
 *  one whole frame. */
inline bool FrameStillWhole(const FrameBufferInfo& info, std::uint64_t wordBefore)
{
    std::atomic_thread_fence(std::memory_order_acquire);
    const std::uint64_t now = info.word.load(std::memory_order_relaxed);
    return FrameSequence(now) == FrameSequence(wordBefore) && StateOfFrame(now) != kFrameFilling;
}

} // namespace KvFrames
