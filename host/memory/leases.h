/** Which frames consumers hold, as far as the board can be believed: a lease that nobody locks is
 *  none, and whatever else is in the board costs the host no more than looking at it. */
#pragma once

#include "memory/board_object.h"

#include <cstdint>

namespace kvgrab
{

/** Threads: any. Enters the kernel only for a lease on the frame that is asked about. */
class Leases
{
public:
    /** `object` outlives this one. */
    explicit Leases(const BoardObject& object) : object_(object) {}

    /** Whether a consumer that is alive holds the frame. */
    bool Hold(std::uint64_t sequence) const;
    /** No more frames than this are held. */
    unsigned Most() const;

private:
    bool IsLocked(unsigned lease) const;

    const BoardObject& object_;
};

} // namespace kvgrab
