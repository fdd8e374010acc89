/** When the frames of a stream began, and which packets had arrived by then. */
#pragma once

#include "net/library_owners.h"
#include "net/stream/packet_account.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace net
{

struct FrameStart {
    Arrivals before;             ///< its own packets don't count yet
    std::int64_t realTimeNs = 0; ///< since the epoch
};

/** One entry per frame that the library has begun and the caller has not taken, in order.
 *
 *  Threads: the library's receiver adds, the thread that takes frames removes. The mutex is a leaf
 *  and is held for a few instructions. */
class FrameStarts
{
public:
    /** Before the stream gets the first of its `buffers` buffers. The stream outlives the calls
     *  below. */
    void Follow(ArvStream* stream, std::size_t buffers);
    /** On the receiver's thread, while it handles the frame's first packet. */
    void Add();
    /** Returns and removes the oldest entry. `*end`: the arrivals until the next frame began, or
     *  until now if none has. */
    FrameStart Take(Arrivals* end);
    /** While the receiver is stopped. */
    void Clear();
    Arrivals Now() const;

private:
    Arrivals Read() const;

    mutable std::mutex mutex_;
    ArvStream* stream_ = nullptr;
    std::vector<FrameStart> starts_; ///< a ring; each frame that has begun has a buffer
    std::size_t first_ = 0;
    std::size_t count_ = 0;
};

} // namespace net
