#include "sim/camera/presence.h"

#include <algorithm>

namespace sim
{

void Presence::Detach(std::int64_t fromNs, std::int64_t toNs)
{
    const std::lock_guard lock(mutex_);
    // No frame takes a minute to arrive, so absences that ended earlier can be forgotten.
    constexpr std::int64_t kMinuteNs = 60'000'000'000;
    std::erase_if(absences_, [&](const Absence& old) { return old.toNs < fromNs - kMinuteNs; });
    absences_.push_back({fromNs, toNs});
    everAbsent_.store(true, std::memory_order_release);
}

void Presence::Attach(std::int64_t nowNs)
{
    const std::lock_guard lock(mutex_);
    for (Absence& absence : absences_) {
        if (absence.fromNs <= nowNs) {
            absence.toNs = std::min(absence.toNs, nowNs);
        }
    }
}

void Presence::ForgetFuture(std::int64_t nowNs)
{
    const std::lock_guard lock(mutex_);
    std::erase_if(absences_, [&](const Absence& absence) { return absence.fromNs > nowNs; });
}

std::int64_t Presence::WhenBackNs(std::int64_t ns) const
{
    if (!everAbsent_.load(std::memory_order_acquire)) {
        return ns;
    }
    const std::lock_guard lock(mutex_);
    std::int64_t back = ns;
    for (bool moved = true; moved;) { // absences may overlap and are not sorted
        moved = false;
        for (const Absence& absence : absences_) {
            if (absence.fromNs <= back && back < absence.toNs) {
                back = absence.toNs;
                moved = true;
            }
        }
    }
    return back;
}

bool Presence::AbsentWithin(std::int64_t fromNs, std::int64_t toNs) const
{
    if (!everAbsent_.load(std::memory_order_acquire)) {
        return false;
    }
    const std::lock_guard lock(mutex_);
    return std::any_of(absences_.begin(), absences_.end(), [&](const Absence& absence) {
        return absence.fromNs < absence.toNs && absence.fromNs <= toNs && fromNs < absence.toNs;
    });
}

} // namespace sim
