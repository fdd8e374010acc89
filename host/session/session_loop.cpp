#include "session/session_loop.h"

#include <algorithm>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** What to do about one of the driver's codes for a failed session. */
struct Trouble {
    int driverCode;
    bool passing; ///< the next attempt may succeed
    ExitStatus status;
    const char* sentence;
};

constexpr Trouble kTroubles[] = {
    {KvTd::kExitNoDevice, true, ExitStatus::NoCamera, "there is no camera of the maker's"},
    {KvTd::kExitNotOurs, true, ExitStatus::NoMatchingCamera,
     "none of the cameras is the one that the configuration names"},
    {KvTd::kExitOpen, true, ExitStatus::OpenFailed,
     "the camera can't be opened; perhaps another program uses it"},
    {KvTd::kExitGrabbing, true, ExitStatus::GrabbingFailed,
     "the camera failed while grabbing, or no frames arrived"},
    {KvTd::kExitBuffers, false, ExitStatus::Buffers, "the frame buffers can't be used"},
    {KvTd::kExitConfiguration, false, ExitStatus::CameraRefused,
     "the camera refused the configuration"},
};

/** Sleeps for the retry interval, or until there is a reason to try again or to end. */
void WaitForRetry(const SessionLoopParts& parts)
{
    constexpr double kNsPerS = 1e9;
    constexpr std::int64_t kNsPerMs = 1'000'000;
    HostParts& host = parts.host.parts;
    const std::int64_t endNs =
        host.monotonicNs() +
        static_cast<std::int64_t>(host.config.Current().session.retryIntervalS * kNsPerS);
    while (!host.signals.Terminating()) {
        if (host.signals.ReconfigurationAsked()) {
            int newSessionNeeded = 0; // ignored: the next session is a new one anyway
            parts.host.Reconfigure(&newSessionNeeded);
            return;
        }
        const std::int64_t leftNs = endNs - host.monotonicNs();
        if (leftNs <= 0) {
            return;
        }
        parts.wait((leftNs + kNsPerMs - 1) / kNsPerMs);
    }
}

} // namespace

NextStep Decide(const SessionOutcome& outcome, bool retry)
{
    using Kind = NextStep::Kind;
    const auto trouble =
        std::find_if(std::begin(kTroubles), std::end(kTroubles), [&outcome](const Trouble& entry) {
            return entry.driverCode == outcome.driverCode;
        });
    const bool known = trouble != std::end(kTroubles);
    // If the configuration worked before, the camera left while it was being applied.
    const bool workedBefore =
        outcome.driverCode == KvTd::kExitConfiguration && outcome.grabbedBefore;
    const bool lasting = known && !trouble->passing && !workedBefore;
    if (outcome.exportFailed) {
        return {Kind::End, ExitStatus::ExportFailed, "a picture can't be written"};
    }
    if (lasting) {
        return {Kind::End, trouble->status, trouble->sentence};
    }
    if (outcome.terminating) {
        return {Kind::End, ExitStatus::Done, "ended as asked by a signal"};
    }
    if (known) {
        return {retry ? Kind::RetryLater : Kind::End, trouble->status, trouble->sentence};
    }
    if (outcome.driverCode != KvTd::kExitDone && outcome.driverCode != KvTd::kExitReconfigFailed) {
        return {Kind::End, ExitStatus::UnknownDriverCode,
                fmt::format("the driver ended with the unknown code {}", outcome.driverCode)};
    }
    if (outcome.frameCountReached) {
        return {Kind::End, ExitStatus::Done, "all frames that were asked for are grabbed"};
    }
    return {Kind::NextSession, ExitStatus::Done, "the next device session follows"};
}

NextStep RunSessions(const SessionLoopParts& parts)
{
    HostSession& host = parts.host;
    WaitNotice notice;
    for (;;) {
        host.SessionBegins();
        SessionOutcome outcome;
        outcome.driverCode = parts.runDriver();
        if (outcome.driverCode == KvTd::kExitBuffers && host.WasKeptFromGoingOn()) {
            outcome.driverCode = KvTd::kExitDone; // it got no buffers on purpose
        }
        host.SessionEnded();
        outcome.terminating = host.parts.signals.Terminating();
        outcome.frameCountReached = host.FrameCountReached();
        outcome.exportFailed = host.ExportFailed();
        outcome.grabbedBefore = host.progress.Grabbed() > 0;

        const NextStep step = Decide(outcome, host.parts.config.Current().session.retry);
        if (step.kind == NextStep::Kind::End) {
            return step;
        }
        if (step.kind == NextStep::Kind::NextSession) {
            notice.Over();
            continue;
        }
        host.SessionFailed();
        if (notice.Due(outcome.driverCode, host.parts.monotonicNs())) {
            host.parts.log.Line(
                2, fmt::format("waiting: {}; trying again until it works or a signal ends kvgrab",
                               step.sentence));
        }
        host.Waits(step.sentence);
        WaitForRetry(parts);
        if (host.parts.signals.Terminating()) {
            return {NextStep::Kind::End, ExitStatus::Done, "ended as asked by a signal"};
        }
    }
}

} // namespace kvgrab
