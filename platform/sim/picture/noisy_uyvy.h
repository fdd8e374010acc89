/** The noise of UYVY, whose bytes mix three channels that each have theirs. Pure. */
#pragma once

#include "sim/picture/noise.h"

#include <array>
#include <cstddef>

namespace sim
{

/** Three channels' levels of a line, behind tone, into UYVY: `count` pixels, 2 * `count` values.
 *  The channels' noise is independent of each other, and a pair's chroma is that of its mean; a
 *  last single pixel has U and Y only. */
void MixUyvy(const std::array<NoisyLine, kChannels>& channels, std::size_t count,
             const NoisyLine& line);

} // namespace sim
