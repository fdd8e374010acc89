/** Counts the frames that are missing between the numbers of those that came. */
#pragma once

#include <cstdint>

namespace net
{

/** Frame numbers rise by one from start to stop, often from 1; those of 16 bits go from 65535 to 1.
 */
class FrameIds
{
public:
    void Restart() { *this = {}; }

    /** By how much the number of missing frames changes: those between the one before and this one
     *  are missing; one that comes late, since data of it were waited for, is not missing any more.
     */
    std::int64_t Came(std::uint64_t id)
    {
        if (last_ == 0) {
            first_ = last_ = id;
            return 0;
        }
        constexpr std::uint64_t kNarrow = 0xFFFF; // 0 is no number
        constexpr std::uint64_t kFar = 0x8000;    // who seems that far ahead is behind, and back
        const bool narrow = last_ <= kNarrow && id <= kNarrow;
        const bool wraps = narrow && id < last_ && last_ - id > kFar;
        const bool wrapped = narrow && id > last_ && id - last_ > kFar;
        if (wrapped || (!wraps && id <= last_)) {
            return id > first_ ? -1 : 0; // nobody missed one from before the first
        }
        const std::uint64_t ahead = wraps ? kNarrow - last_ + id : id - last_;
        first_ = wraps ? 0 : first_;
        last_ = id;
        return static_cast<std::int64_t>(ahead) - 1;
    }

private:
    std::uint64_t first_ = 0;
    std::uint64_t last_ = 0; ///< 0: none yet
};

} // namespace net
