/** How long a frame whose packets are missing holds back those behind it. */
#pragma once

#include "net/nodes/feature_map.h"

#include <cstdint>

namespace net
{

/** What the camera says about its frames at a start; 0: it doesn't. */
struct Pace {
    double periodUs = 0;   ///< between two frames; not known while a trigger decides
    double exposureUs = 0; ///< the longest
};

Pace ReadPace(FeatureMap& features);

/** Microseconds since the frame's newest packet. Frames are delivered in order, so that while the
 *  library waits for packets that it has requested again, all later frames wait too, and use up the
 *  buffers: one has the waiting frame, one is in the caller's hands, and one must be free. So the
 *  wait lasts for as many frame periods as there are other buffers, and never longer than the frame
 *  time-out. It must be longer than the pause between two packets of one frame, though, which is
 * the exposure time if the camera sends the first packet when it begins to expose. */
std::uint32_t HoldBackUs(const Pace& pace, std::uint32_t buffers, std::uint32_t frameTimeoutMs);

} // namespace net
