/** Which of the host's buffers are free, in use, or wait for the caller. */
#pragma once

#include "net/stream/reassembly.h"
#include "net/stream/stream_state.h"

#include <cstdint>
#include <utility>
#include <vector>

namespace net
{

/** Free buffers are used in the order in which they became free. At first the caller has all. */
class FrameBuffers
{
public:
    /** Allocates. */
    FrameBuffers(std::size_t count, MayFill mayFill) : mayFill_(std::move(mayFill))
    {
        places_.assign(count, Place::Caller);
        free_.Reserve(count);
        ready_.Reserve(count);
    }

    /** All but the caller's are free. */
    void Restart()
    {
        free_.Clear();
        ready_.Clear();
        for (std::uint32_t i = 0; i < places_.size(); ++i) {
            if (places_[i] != Place::Caller) {
                Free(i);
            }
        }
    }
    /** Ignores a buffer that the caller doesn't have. */
    void TakeFromCaller(std::uint32_t buffer)
    {
        if (buffer < places_.size() && places_[buffer] == Place::Caller) {
            Free(buffer);
        }
    }

    std::size_t CountFree() const { return free_.Size(); }
    /** The next free one that may be filled, or else the next free one. One must be free. */
    std::uint32_t Use()
    {
        std::uint32_t buffer = 0;
        for (std::size_t i = free_.Size(); i > 0; --i) {
            free_.Pop(&buffer);
            if (mayFill_(buffer, false)) {
                places_[buffer] = Place::Frame;
                return buffer;
            }
            free_.Push(buffer);
        }
        free_.Pop(&buffer);
        mayFill_(buffer, true);
        places_[buffer] = Place::Frame;
        return buffer;
    }
    void Free(std::uint32_t buffer)
    {
        places_[buffer] = Place::Free;
        free_.Push(buffer);
    }

    void MakeReady(std::uint32_t buffer)
    {
        places_[buffer] = Place::Ready;
        ready_.Push(buffer);
    }
    /** The one that has been ready for longest; false: none is. */
    bool GiveToCaller(std::uint32_t* buffer)
    {
        if (!ready_.Pop(buffer)) {
            return false;
        }
        places_[*buffer] = Place::Caller;
        return true;
    }

private:
    enum class Place { Caller, Free, Frame, Ready };

    MayFill mayFill_;
    std::vector<Place> places_;
    FixedQueue<std::uint32_t> free_;
    FixedQueue<std::uint32_t> ready_;
};

} // namespace net
