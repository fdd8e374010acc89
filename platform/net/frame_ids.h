/** Counts the frames that are missing between the numbers of those that came. */
#pragma once

#include <cstdint>

namespace net
{

/** Frame numbers rise by one and begin at 1 with each start; those of 16 bits go from 65535 to 1.
 */
class FrameIds
{
public:
    void Restart() { last_ = 0; }

    /** The frames between the one before and this one. */
    std::uint64_t Came(std::uint64_t id)
    {
        constexpr std::uint64_t kNarrow = 0xFFFF;
        constexpr std::uint64_t kFarBack = 0x8000;
        std::uint64_t missing = 0;
        if (last_ != 0 && id > last_) {
            missing = id - last_ - 1;
        } else if (last_ != 0 && last_ <= kNarrow && last_ - id > kFarBack) {
            missing = kNarrow - last_ + id - 1; // 0 is no number
        } else if (last_ != 0) {
            return 0; // it came late: an older frame was given up before it
        }
        last_ = id;
        return missing;
    }

private:
    std::uint64_t last_ = 0;
};

} // namespace net
