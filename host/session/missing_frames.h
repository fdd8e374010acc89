/** Waits of an open camera that brought no complete frame: when they are reported, and with which
 *  reason. Grab thread only. */
#pragma once

#include "report/progress.h"

#include <cstdint>
#include <string>

namespace kvgrab
{

class MissingFrames
{
public:
    /** A wait brought no frame. True: it is time to report that. With `triggered`, the camera waits
     *  for a trigger. */
    bool Missed(std::int64_t nowNs, const TransferCounts& counts, bool triggered);
    /** About the waits in a row since the newest frame. */
    unsigned InRow() const { return inRow_; }
    /** Level of the lines about it: a warning, unless the reason is a trigger that is awaited. */
    int Level() const { return level_; }
    /** Why no frame comes: a trigger that is awaited, or what NoFramesReason finds in the counts
     *  since the first wait. */
    std::string Reason(const TransferCounts& counts) const;
    /** A frame came. True: it had been reported that none came. */
    bool FrameCame();

private:
    unsigned inRow_ = 0;
    TransferCounts atFirst_; ///< counts at the first wait of these
    bool reported_ = false;
    bool awaited_ = false; ///< a trigger
    int level_ = 2;
    WaitNotice notice_;
};

} // namespace kvgrab
