#include "session/session_guard.h"

#include <algorithm>

namespace kvgrab
{

GuardVerdict SessionGuard::Look(std::int64_t nowNs, const GuardView& view)
{
    GuardVerdict verdict;
    if (view.terminating) {
        const std::int64_t dueNs = EndDueNs(nowNs, view) + (view.interrupted ? kLeaveNs : 0);
        verdict.leave = nowNs >= dueNs && view.interrupted;
        verdict.end = nowNs >= dueNs && !view.interrupted ? EarlyEnd::AskedToEnd : EarlyEnd::None;
        verdict.lookAgainNs = dueNs;
        return verdict;
    }
    if (view.interrupted || !view.grabbing || view.noFramesNs <= 0) {
        framesDueNs_ = 0;
        return verdict;
    }
    if (framesDueNs_ == 0 || view.newestNs != newestNs_ || view.noFramesNs != noFramesNs_) {
        newestNs_ = view.newestNs;
        noFramesNs_ = view.noFramesNs;
        framesDueNs_ = view.newestNs + view.noFramesNs;
    }
    if (nowNs >= framesDueNs_ + kStallNs) {
        framesDueNs_ = nowNs + std::min(view.noFramesNs, kCatchUpNs);
    }
    verdict.end = nowNs >= framesDueNs_ ? EarlyEnd::NoFrames : EarlyEnd::None;
    verdict.lookAgainNs = framesDueNs_;
    return verdict;
}

std::int64_t SessionGuard::EndDueNs(std::int64_t nowNs, const GuardView& view)
{
    if (!endDueNs_) {
        const bool framesCome = view.grabbing && nowNs - view.newestNs < kGraceNs;
        endDueNs_ = nowNs + (framesCome ? kGraceNs : kShortGraceNs);
    }
    return *endDueNs_;
}

std::int64_t NoFramesLimitNs(std::optional<double> configuredS, std::uint32_t periodUs,
                             bool waitsForTrigger)
{
    constexpr double kNsPerS = 1e9;
    constexpr std::int64_t kUsualNs = 10'000'000'000;
    constexpr std::int64_t kPeriods = 5;
    constexpr std::int64_t kNsPerUs = 1000;
    if (configuredS) {
        return static_cast<std::int64_t>(*configuredS * kNsPerS);
    }
    return waitsForTrigger ? 0 : std::max(kUsualNs, kPeriods * periodUs * kNsPerUs);
}

} // namespace kvgrab
