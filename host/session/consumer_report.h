/** What the log says about consumers of the frame memory. Grab thread only. */
#pragma once

#include "memory/frame_memory.h"
#include "report/log.h"

#include <cstdint>
#include <string>

namespace kvgrab
{

class ConsumerReport
{
public:
    ConsumerReport(const FrameMemory& memory, Log& log) : memory_(memory), log_(log) {}

    /** Called in each round: logs frames that were taken back from consumers, and the loss of the
     *  board, once. */
    void Look();
    /** A line for the summary; empty if no frame was taken back. */
    std::string Summary() const;

private:
    const FrameMemory& memory_;
    Log& log_;
    std::uint64_t takenBack_ = 0; ///< those that are in the log
    bool boardIsLost_ = false;
};

} // namespace kvgrab
