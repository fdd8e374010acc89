#include "net/stream/missing_packets.h"

#include <algorithm>

namespace net
{

void MissingPackets::Clear()
{
    runs_.clear();
    changed_ = true;
}

bool MissingPackets::Append(const MissingRun& run)
{
    if (runs_.size() == runs_.capacity()) {
        return false;
    }
    runs_.push_back(run);
    changed_ = true;
    return true;
}

/** The first run that ends at this packet or behind it. */
std::size_t MissingPackets::Find(std::uint32_t id) const
{
    const auto run = std::lower_bound(
        runs_.begin(), runs_.end(), id,
        [](const MissingRun& left, std::uint32_t right) { return left.last < right; });
    return static_cast<std::size_t>(run - runs_.begin());
}

bool MissingPackets::Insert(std::uint32_t id, Ns due)
{
    if (runs_.size() == runs_.capacity()) {
        return false;
    }
    const auto at = runs_.begin() + static_cast<std::ptrdiff_t>(Find(id));
    runs_.insert(at, {id, id, due, false});
    changed_ = true;
    return true;
}

bool MissingPackets::Remove(std::uint32_t id, Ns due)
{
    const std::size_t at = Find(id);
    if (at == runs_.size() || runs_[at].first > id) {
        return false;
    }
    MissingRun& run = runs_[at];
    const MissingRun behind = {id + 1, run.last, run.requested ? run.due : due, run.requested};
    if (run.first == id && run.last == id) {
        runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(at));
    } else if (run.first == id) {
        run = behind;
    } else {
        if (run.last != id) {
            if (runs_.size() == runs_.capacity()) {
                return false;
            }
            runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(at) + 1, behind);
        }
        runs_[at].last = id - 1;
    }
    changed_ = true;
    return true;
}

std::uint32_t MissingPackets::RemoveRequestedUpTo(std::uint32_t id)
{
    std::uint32_t removed = 0;
    for (MissingRun& run : runs_) {
        if (run.first > id || !run.requested) {
            continue;
        }
        const std::uint32_t last = std::min(run.last, id);
        removed += last - run.first + 1;
        run.first = last + 1;
    }
    std::erase_if(runs_, [](const MissingRun& run) { return run.first > run.last; });
    changed_ = true;
    return removed;
}

void MissingPackets::RemoveFrom(std::uint32_t id)
{
    while (!runs_.empty() && runs_.back().last >= id) {
        if (runs_.back().first < id) {
            runs_.back().last = id - 1;
            break;
        }
        runs_.pop_back();
    }
    changed_ = true;
}

bool MissingPackets::WasRequested(std::uint32_t id) const
{
    const std::size_t at = Find(id);
    return at != runs_.size() && runs_[at].first <= id && runs_[at].requested;
}

Ns MissingPackets::Due() const
{
    if (changed_) {
        due_ = kNever;
        for (const MissingRun& run : runs_) {
            due_ = std::min(due_, run.due);
        }
        changed_ = false;
    }
    return due_;
}

} // namespace net
