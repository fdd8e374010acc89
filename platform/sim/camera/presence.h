/** When a camera is on the network. Absences may lie in the future (scripted for a point in time)
 *  and are noticed by whoever asks later.
 *
 *  Threads: any. Its lock is a leaf and held for a few instructions only, so that asking never
 *  waits for a call that is under way. All times are nanoseconds of the camera's clock. */
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>
#include <mutex>
#include <vector>

namespace sim
{

class Presence
{
public:
    static constexpr std::int64_t kNever = std::numeric_limits<std::int64_t>::max();

    /** Absent from `fromNs` on, until `toNs` or an Attach. */
    void Detach(std::int64_t fromNs, std::int64_t toNs = kNever);
    /** Ends the absence that is under way. */
    void Attach(std::int64_t nowNs);
    /** Takes back the absences that have not begun. */
    void ForgetFuture(std::int64_t nowNs);

    bool At(std::int64_t ns) const { return WhenBackNs(ns) == ns; }
    /** `ns` when the camera is there then, else when it returns; kNever when it does not. */
    std::int64_t WhenBackNs(std::int64_t ns) const;
    bool AbsentWithin(std::int64_t fromNs, std::int64_t toNs) const;

private:
    struct Absence {
        std::int64_t fromNs;
        std::int64_t toNs; // not included
    };
    std::atomic<bool> everAbsent_{false};
    mutable std::mutex mutex_;
    std::vector<Absence> absences_;
};

} // namespace sim
