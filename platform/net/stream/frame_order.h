/** Puts the numbers of frames in one order that never wraps and never goes back. */
#pragma once

#include "net/stream/frame_ids.h"

#include <cstdint>

namespace net
{

/** Counts frames as FrameIds does, but also gives a place to a frame that comes behind its
 *  successors. */
class FrameOrder
{
public:
    struct Place {
        std::uint64_t sequence = 0;
        bool newest = false;   ///< behind all others
        bool next = false;     ///< just behind the newest one
        bool restarts = false; ///< the camera would have begun to count again
    };

    void Restart() { *this = FrameOrder(); }
    bool HasBegun() const { return begun_; }
    std::uint64_t Newest() const { return newest_; } ///< place of the newest frame
    bool Extended() const { return extended_; }

    /** The number of the frame at a place not far behind the newest one. */
    std::uint64_t NumberAt(std::uint64_t sequence) const
    {
        const std::uint64_t number = number_ + (sequence - newest_);
        const bool wraps = !extended_ && number_ <= FrameIds::kNarrow && number > FrameIds::kNarrow;
        return wraps ? number - FrameIds::kNarrow - 1 + ids_.First() : number;
    }

    Place Find(std::uint64_t number, bool extended) const
    {
        const std::uint64_t ahead = ids_.Ahead(number);
        if (!begun_) {
            return {kFirst, true, true, false};
        }
        if (extended != extended_) {
            return {newest_ + 1, true, false, true};
        }
        if (ahead <= FrameIds::kMostMissing) {
            return {newest_ + ahead, true, ahead == 1, false};
        }
        const std::uint64_t behind = Behind(number);
        if (behind < FrameIds::kLate && (number <= number_ || newest_ - behind >= epoch_)) {
            return {newest_ - behind, false, false, false};
        }
        return {newest_ + 1, true, false, true};
    }

    /** A frame has begun at a place that is the newest one. */
    void Begin(std::uint64_t number, bool extended, const Place& place)
    {
        if (!begun_ || place.restarts) {
            epoch_ = place.sequence;
        }
        ids_.Came(number);
        begun_ = true;
        number_ = number;
        extended_ = extended;
        newest_ = place.sequence;
    }

private:
    static constexpr std::uint64_t kFirst = std::uint64_t{1} << 32;

    /** How far the number is behind the newest one, perhaps across the wrap of 16 bits. */
    std::uint64_t Behind(std::uint64_t number) const
    {
        if (number <= number_) {
            return number_ - number;
        }
        if (extended_ || number > FrameIds::kNarrow) {
            return ~std::uint64_t{0};
        }
        return number_ - std::min(ids_.First(), number_) + 1 + FrameIds::kNarrow - number;
    }

    FrameIds ids_;
    std::uint64_t number_ = 0; ///< of the newest frame
    std::uint64_t newest_ = 0; ///< its place
    std::uint64_t epoch_ = 0;  ///< the place of the first frame since the camera counts
    bool extended_ = false;
    bool begun_ = false;
};

} // namespace net
