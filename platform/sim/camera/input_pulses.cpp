#include "sim/camera/input_pulses.h"

#include <algorithm>
#include <cmath>

namespace sim
{

namespace
{

std::int64_t Whole(double value)
{
    return std::llround(value);
}

} // namespace

InputPulses::InputPulses(const CameraSetup& setup, std::int64_t powerUpNs)
    : powerUpNs_(powerUpNs), periodNs_(setup.triggerHz > 0 ? 1e9 / setup.triggerHz : 0),
      lengthNs_(Whole(setup.triggerPulseUs * 1e3))
{
    for (const double second : setup.triggerTimesS) {
        singleNs_.push_back(powerUpNs + Whole(second * 1e9));
    }
    std::sort(singleNs_.begin(), singleNs_.end());
    if (periodNs_ > 0) { // two pulses never merge
        lengthNs_ = std::min(lengthNs_, Whole(periodNs_ / 2));
    }
}

std::int64_t InputPulses::NextBeginNs(std::int64_t fromNs) const
{
    const auto single = std::lower_bound(singleNs_.begin(), singleNs_.end(), fromNs);
    std::int64_t nextNs = single == singleNs_.end() ? kNever : *single;
    if (periodNs_ > 0) {
        // The train's first pulse begins one period after power-up.
        const double passed = static_cast<double>(fromNs - powerUpNs_) / periodNs_;
        double pulse = std::max(1.0, std::floor(passed));
        const auto beginNs = [&] { return powerUpNs_ + Whole(pulse * periodNs_); };
        while (beginNs() < fromNs) {
            ++pulse;
        }
        nextNs = std::min(nextNs, beginNs());
    }
    return nextNs;
}

std::int64_t InputPulses::NextEndNs(std::int64_t fromNs) const
{
    const std::int64_t beginNs = NextBeginNs(fromNs - lengthNs_);
    return beginNs == kNever ? kNever : beginNs + lengthNs_;
}

} // namespace sim
