/** The shared-memory object that consumers write to: its name, its access rights, its mapping. */
#pragma once

#include "file_handle.h"
#include "kv_frame_memory.h"

#include <atomic>
#include <string>
#include <sys/types.h>

namespace kvgrab
{

/** Owns the object from Open to Close. Who holds the lock on the frame memory owns the
 *  board as well, so there is no lock on the board by the host.
 *
 *  Consumers may do to the object whatever they like. One that cuts it short makes accesses to it
 *  fail with SIGBUS, so this class handles that signal: the host gets a page of its own in place of
 *  the board and goes on without consumers that wait or hold frames.
 *
 *  Grab thread only, except for Board, and UnlinkNow as in FrameObject. */
class BoardObject
{
public:
    BoardObject() = default;
    ~BoardObject();
    BoardObject(const BoardObject&) = delete;
    BoardObject& operator=(const BoardObject&) = delete;

    /** Makes the board of the frame memory `memoryName`, which the caller has locked, and replaces
     *  one that a dead host left. False: `*why` says why. */
    bool Open(const std::string& memoryName, std::string* why);
    /** Leaves the name to UnlinkNow, which a forked child must not call. */
    void Close();
    /** Removes the name unless it is another host's by now. Async-signal-safe. */
    void UnlinkNow() noexcept;

    /** Null when nothing is open. Stays accessible until Close, whatever consumers do. */
    KvFrames::ConsumerBoard* Board() const { return board_.load(std::memory_order_acquire); }
    int Fd() const { return fd_.Get(); } ///< for the locks on it

private:
    FileHandle fd_;
    char path_[288] = {}; ///< the object as a file, ready for UnlinkNow
    std::atomic<KvFrames::ConsumerBoard*> board_ = nullptr;
};

} // namespace kvgrab
