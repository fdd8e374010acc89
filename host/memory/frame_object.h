/** The shared-memory object of the frame memory: its name, its lock, its mapping. */
#pragma once

#include "file_handle.h"
#include "kv_frame_memory.h"
#include "memory/board_object.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <string>

namespace kvgrab
{

/** Owns the object, the board of its consumers and the names of both from Open to Close. Grab
 * thread only, except UnlinkNow. */
class FrameObject
{
public:
    FrameObject() = default;
    ~FrameObject();
    FrameObject(const FrameObject&) = delete;
    FrameObject& operator=(const FrameObject&) = delete;

    /** Makes the object with only a header, generation 2, and locks it. An object of that name that
     *  a dead host left is removed. False: Error() says why. */
    bool Open(const std::string& name);
    void Close();
    /** Async-signal-safe; from any thread, but not concurrently with Close. Does nothing in a
     *  forked child, or when the name is gone. */
    void UnlinkNow() noexcept;
    /** Makes the object at least this large and moves the mapping, but not the header. The memory
     *  is allocated at once, so that a full /dev/shm is an error here and not a crash later. False:
     *  all stays as before. */
    bool Grow(std::uint64_t bytes);
    /** Something changed that consumers wait for. Enters the kernel only if one of them waits.
     *  Async-signal-safe. */
    void WakeConsumers() noexcept;

    /** Null when nothing is open. Stays at its address, since UnlinkNow may come at any time. */
    KvFrames::FrameMemoryHeader* Header() const { return header_.load(std::memory_order_acquire); }
    std::byte* Base() const { return base_; } ///< start of the whole object
    std::size_t Bytes() const { return bytes_; }
    const BoardObject& Consumers() const { return board_; }
    const std::string& Error() const { return error_; }

private:
    bool Fail(std::string text);
    bool TryCreate(bool* again);
    bool TryRemoveStale(bool* again);

    std::string name_;
    std::string error_;
    char path_[288] = {}; ///< the object as a file, ready for UnlinkNow
    FileHandle fd_;
    BoardObject board_;
    int creator_ =
        0; ///< process that opened it: a forked child must not remove its parent's object
    std::atomic<KvFrames::FrameMemoryHeader*> header_ = nullptr; ///< set last, cleared first
    std::byte* base_ = nullptr;
    std::size_t bytes_ = 0;
};

/** Allocates the memory of a shared-memory object. Returns 0 or an error number. */
int TakeRoom(int fd, std::uint64_t bytes);
std::size_t PageBytes();
/** Rounded up to whole pages. */
std::uint64_t WholePages(std::uint64_t bytes);

} // namespace kvgrab
