/** Why no complete frame comes, as far as the counts of a transfer tell. */
#pragma once

#include "report/progress.h"

#include <string>

namespace kvgrab
{

/** A clause such as "no packets arrive", from the counts at the beginning and at the end of a time
 *  without a complete frame. Empty when they tell nothing, as with a simulated camera that sends
 *  nothing. */
std::string NoFramesReason(const TransferCounts& before, const TransferCounts& now);

} // namespace kvgrab
