#include "session/missing_frames.h"

#include "report/no_frames.h"

#include <utility>

namespace kvgrab
{

bool MissingFrames::Missed(std::int64_t nowNs, const TransferCounts& counts, bool triggered)
{
    // A single lost frame isn't worth a message.
    constexpr unsigned kMissesToTell = 3;
    // The argument for WaitNotice; frames are the only thing that is waited for in here.
    constexpr int kWaitsForFrames = 1;
    if (++inRow_ == 1) {
        atFirst_ = counts;
    }
    if (inRow_ < kMissesToTell || !notice_.Due(kWaitsForFrames, nowNs)) {
        return false;
    }
    reported_ = true;
    awaited_ =
        triggered && !counts.startRefused && counts.packetsReceived == atFirst_.packetsReceived;
    level_ = awaited_ ? 3 : 2;
    return true;
}

std::string MissingFrames::Reason(const TransferCounts& counts) const
{
    return awaited_ ? "it waits for a trigger" : NoFramesReason(atFirst_, counts);
}

bool MissingFrames::FrameCame()
{
    inRow_ = 0;
    notice_.Over();
    return std::exchange(reported_, false);
}

} // namespace kvgrab
