/** Knows when a camera is on the network. Absences may lie in the future (scripted for a point in
 *  time); they take effect when somebody asks at a later time.
 *
 *  Threads: any. Its lock is a leaf and held for a few instructions only, so that a query never
 *  waits for a camera call in progress. All times are nanoseconds of the camera's clock. */
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

    /** Makes the camera absent from `fromNs` on, until `toNs` or an Attach. */
    void Detach(std::int64_t fromNs, std::int64_t toNs = kNever);
    /** Ends the present absence. */
    void Attach(std::int64_t nowNs);
    /** Cancels the absences that have not begun. */
    void ForgetFuture(std::int64_t nowNs);

    bool At(std::int64_t ns) const { return WhenBackNs(ns) == ns; }
    /** Returns `ns` if the camera is present at that time, otherwise the time of its return, or
     *  kNever if it doesn't return. */
    std::int64_t WhenBackNs(std::int64_t ns) const;
    bool AbsentWithin(std::int64_t fromNs, std::int64_t toNs) const;

private:
    struct Absence {
        std::int64_t fromNs;
        std::int64_t toNs; // exclusive
    };
    std::atomic<bool> everAbsent_{false};
    mutable std::mutex mutex_;
    std::vector<Absence> absences_;
};

} // namespace sim
