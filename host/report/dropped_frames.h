/** Why frames were dropped. */
#pragma once

#include "memory/frame_values.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** Short, without commas; empty for FrameFault::None. */
std::string_view FaultName(FrameFault fault);

/** Follows the frames that the platform delivers. Grab thread only. */
class DroppedFrames
{
public:
    /** The driver has waited for a frame. Returns true if the platform delivered one; `newest` are
     *  the facts of the newest. */
    bool Waited(const FrameFacts& newest);
    /** What the log should say of the frame that the last wait brought: that it is dropped if it is
     *  incomplete, and which frames before it never came. */
    static std::vector<std::string> Sentences(const FrameFacts& frame);
    /** A line for the summary; empty if no frame was incomplete. */
    std::string Summary() const;

private:
    std::uint64_t delivery_ = 0; ///< of the newest frame
    std::array<std::uint64_t, kFrameFaults> incomplete_{};
};

} // namespace kvgrab
