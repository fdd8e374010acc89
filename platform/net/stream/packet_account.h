/** Counts packets that never arrived. */
#pragma once

#include <algorithm>
#include <cstdint>

namespace net
{

/** Packets that have arrived so far, each counted once. */
struct Arrivals {
    std::uint64_t sent = 0; ///< as the camera sent them at first, those without a buffer included
    std::uint64_t unplaced = 0; ///< of these: without a buffer
    std::uint64_t resent = 0;   ///< after they had been requested again
};

/** How much a count has grown; counts that are read while they change may seem to shrink. */
inline std::uint64_t Growth(std::uint64_t from, std::uint64_t to)
{
    return to - std::min(from, to);
}

/** The network library counts as missing whatever lies behind the first gap of a frame, which makes
 *  thousands of one lost packet. So the missing packets are what the frames should have had, lost
 *  frames included, less what arrived. Only an incomplete frame adds to the count: packets of a
 *  complete one that are still under way, behind the start of the next frame, are no loss. */
class PacketAccount
{
public:
    /** The camera starts again; packets that come before its first frame count for nothing. */
    void Restart()
    {
        before_ = missing_;
        begun_ = false;
        expected_ = 0;
    }

    /** A frame of `expected` packets, behind `lost` frames of as many. Its packets came between
     *  `begin` and `end`, except that `resent` is the number of those until it was delivered. */
    void Frame(std::uint64_t expected, std::uint64_t lost, bool complete, const Arrivals& begin,
               const Arrivals& end, std::uint64_t resent)
    {
        if (!begun_) {
            begun_ = true;
            begin_ = begin;
        }
        expected_ += expected * (lost + 1);
        const std::uint64_t arrived = Growth(begin_.sent, end.sent) + Growth(begin_.resent, resent);
        if ((!complete || lost != 0) && expected_ > arrived) {
            missing_ = std::max(missing_, before_ + expected_ - arrived);
        }
    }

    std::uint64_t Missing() const { return missing_; }

private:
    Arrivals begin_; ///< before the first frame since the restart
    bool begun_ = false;
    std::uint64_t expected_ = 0;
    std::uint64_t before_ = 0; ///< missing at the restart
    std::uint64_t missing_ = 0;
};

} // namespace net
