/** The driver's round without the driver: the same calls of platform, nodes, host and clock, in the
 *  same order, and nothing between them. */
#pragma once

#include <cstdint>

namespace bench
{

/** Runs rounds on an open camera whose transfer is started, one for each of `frames` frames. */
void RunBareLoop(void* handle, std::uint64_t frames);

} // namespace bench
