/** Counts the frames that are missing between the numbers of those that came. */
#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>

namespace net
{

/** Frame numbers rise by one from start to stop. Those of 16 bits go from 65535 to 1, with some
 *  cameras to 0; those of 64 bits never end. The network library delivers frames in order and drops
 *  a frame that comes after its successors.
 *
 *  What a number says depends on how far it is from the one before. Up to kMostMissing frames are
 *  taken for lost: more than a session waits for, at a thousand frames per second. A number further
 *  ahead, or back by kLate or more, means that the camera started to count again; nobody knows how
 * many frames that cost, so it counts as none. A number that is back by less is late and changes
 *  nothing. */
class FrameIds
{
public:
    static constexpr std::uint64_t kNarrow = 0xFFFF; ///< the last number of 16 bits
    static constexpr std::uint64_t kMostMissing = 0x4000;
    static constexpr std::uint64_t kLate = 100; ///< as the network library has it

    void Restart() { *this = FrameIds(); }

    /** The frames between the one before and this one. */
    std::uint64_t Came(std::uint64_t id)
    {
        hasZero_ = hasZero_ || id == 0;
        const std::uint64_t ahead = Ahead(id);
        if (ahead > kMostMissing && last_ && id <= *last_ && *last_ - id < kLate) {
            return 0;
        }
        last_ = id;
        return ahead > kMostMissing ? 0 : ahead - 1;
    }

    /** A frame without its number is taken for the next one; 0 while none has come. */
    std::uint64_t CameWithoutNumber()
    {
        if (last_) {
            last_ = *last_ == kNarrow ? First() : *last_ + 1;
        }
        return last_.value_or(0);
    }

    /** How far `id` is from the newest number, forwards; what lies behind is farther than
     *  kMostMissing. */
    std::uint64_t Ahead(std::uint64_t id) const { return last_ ? Ahead(*last_, id) : 1; }

    /** The number behind kNarrow, with cameras whose numbers end there. */
    std::uint64_t First() const { return hasZero_ ? 0 : 1; }

private:
    std::uint64_t Ahead(std::uint64_t last, std::uint64_t id) const
    {
        if (id > last) {
            return id - last;
        }
        if (last > kNarrow || id == last) {
            return ~std::uint64_t{0};
        }
        return kNarrow - last + std::max(id, First()) - First() + 1;
    }

    std::optional<std::uint64_t> last_; ///< none yet
    bool hasZero_ = false;              ///< a frame had the number 0
};

} // namespace net
