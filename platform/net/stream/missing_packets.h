/** The packets of one frame that should have come and haven't. */
#pragma once

#include "net/stream/reassembly.h"

#include <limits>
#include <vector>

namespace net
{

constexpr Ns kNever = std::numeric_limits<Ns>::max();

/** Packets in a row, each missing. */
struct MissingRun {
    std::uint32_t first = 0;
    std::uint32_t last = 0;
    Ns due = kNever; ///< when something has to be done about it
    bool requested = false;
};

/** Runs in the order of their packets. Allocates only in Reserve. */
class MissingPackets
{
public:
    void Reserve(std::size_t runs) { runs_.reserve(runs); }
    void Clear();
    bool IsEmpty() const { return runs_.empty(); }
    std::vector<MissingRun>& Runs() { return runs_; }
    /** A run behind all others; false: there is no room. */
    bool Append(const MissingRun& run);
    /** A run of one packet anywhere; false: there is no room. */
    bool Insert(std::uint32_t id, Ns due);
    /** The packet isn't missing any more. Packets behind it in its run that nobody has requested
     *  are still on their way: these are due at `due`. False: it wasn't missing, or there is no
     *  room to keep what remains of its run, and nothing has changed. */
    bool Remove(std::uint32_t id, Ns due);
    /** The same for all packets up to this one that have been requested; returns how many. */
    std::uint32_t RemoveRequestedUpTo(std::uint32_t id);
    /** Packets from this one on don't exist. */
    void RemoveFrom(std::uint32_t id);
    bool WasRequested(std::uint32_t id) const;
    Ns Due() const;
    /** After a change of Runs. */
    void Changed() { changed_ = true; }

private:
    std::size_t Find(std::uint32_t id) const;

    std::vector<MissingRun> runs_;
    mutable Ns due_ = kNever;
    mutable bool changed_ = false; ///< due_ isn't what the runs say
};

} // namespace net
