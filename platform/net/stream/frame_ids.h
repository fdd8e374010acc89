/** Counts the frames that are missing between the numbers of those that came. */
#pragma once

#include <cstdint>

namespace net
{

/** Frame numbers rise by one from start to stop, often from 1; those of 16 bits go from 65535 to 1.
 *  Frames come in order. */
class FrameIds
{
public:
    void Restart() { last_ = 0; }

    /** The frames between the one before and this one. */
    std::uint64_t Came(std::uint64_t id)
    {
        constexpr std::uint64_t kFarBack = 0x8000;
        std::uint64_t missing = 0;
        if (last_ != 0 && id > last_) {
            missing = id - last_ - 1;
        } else if (last_ != 0 && last_ <= kNarrow && last_ - id > kFarBack) {
            missing = kNarrow - last_ + id - 1; // 0 is no number
        } else if (last_ != 0) {
            return 0; // an older frame, which is late and counts for nothing
        }
        last_ = id;
        return missing;
    }

    /** A frame without its number is taken for the next one; 0 while none has come. */
    std::uint64_t CameWithoutNumber()
    {
        if (last_ != 0) {
            last_ = last_ == kNarrow ? 1 : last_ + 1;
        }
        return last_;
    }

private:
    static constexpr std::uint64_t kNarrow = 0xFFFF;

    std::uint64_t last_ = 0; ///< 0: none yet
};

} // namespace net
