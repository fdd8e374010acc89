#include "session/session_loop.h"

#include <algorithm>
#include <cmath>
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
    {KvTd::kExitNoDevice, true, ExitStatus::NoCamera, "there is no camera, or none of the maker's"},
    {KvTd::kExitNotOurs, true, ExitStatus::NoMatchingCamera,
     "none of the cameras is the one that the configuration names"},
    {KvTd::kExitOpen, true, ExitStatus::OpenFailed,
     "the camera can't be opened, although no other program holds it now"},
    {kExitCameraHeld, true, ExitStatus::OpenFailed, "the camera is held by another program"},
    {kExitCameraSilent, true, ExitStatus::OpenFailed,
     "the camera that was to be opened does not answer"},
    {KvTd::kExitGrabbing, true, ExitStatus::GrabbingFailed,
     "the camera failed while grabbing, or no frames arrived"},
    {kExitCameraLeft, true, ExitStatus::GrabbingFailed,
     "the camera left while it was being configured"},
    {KvTd::kExitBuffers, false, ExitStatus::Buffers, "the frame buffers can't be used"},
    {KvTd::kExitConfiguration, false, ExitStatus::CameraRefused,
     "the camera refused the configuration"},
};

/** A configuration that is refused so many times in a row is refused for good: before that, the
 *  camera may have been starting up. */
constexpr unsigned kRefusals = 3;

/** Sleeps, or until there is a reason to try again or to end. */
void WaitForRetry(const SessionLoopParts& parts, RetryPace* pace)
{
    constexpr double kNsPerS = 1e9;
    constexpr std::int64_t kNsPerMs = 1'000'000;
    HostParts& host = parts.host.parts;
    const std::int64_t endNs =
        host.monotonicNs() +
        static_cast<std::int64_t>(pace->NextS(host.config.Current().session.retryIntervalS) *
                                  kNsPerS);
    while (!host.signals.Terminating()) {
        if (host.signals.ReconfigurationAsked()) {
            int newSessionNeeded = 0; // ignored: the next session is a new one anyway
            parts.host.Reconfigure(&newSessionNeeded);
            pace->Reset();
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
    const bool mayPass = outcome.driverCode == KvTd::kExitConfiguration &&
                         (outcome.grabbedBefore || (retry && outcome.refusals < kRefusals));
    const bool lasting =
        known && !trouble->passing && !mayPass && outcome.endedEarly == EarlyEnd::None;
    const Kind again = retry ? Kind::RetryLater : Kind::End;
    if (outcome.exportFailed) {
        return {Kind::End, ExitStatus::ExportFailed, "a picture can't be written"};
    }
    if (!outcome.replay.failure.empty()) {
        return {Kind::End, ExitStatus::SetUp, outcome.replay.failure};
    }
    if (outcome.replay.over) {
        return {Kind::End, ExitStatus::Done, "all pictures of the recording were replayed"};
    }
    if (lasting) {
        return {Kind::End, trouble->status, trouble->sentence};
    }
    if (outcome.terminating) {
        return {Kind::End, ExitStatus::Done, "ended as asked by a signal"};
    }
    if (outcome.frameCountReached) {
        return {Kind::End, ExitStatus::Done, "all frames that were asked for are grabbed"};
    }
    if (outcome.endedEarly == EarlyEnd::NoFrames) {
        return {again, ExitStatus::GrabbingFailed,
                "the camera is open but delivered no complete frame for too long "
                "(session.no_frames_s)"};
    }
    if (known) {
        return {again, trouble->status, trouble->sentence};
    }
    if (outcome.driverCode != KvTd::kExitDone && outcome.driverCode != KvTd::kExitReconfigFailed) {
        return {Kind::End, ExitStatus::UnknownDriverCode,
                fmt::format("the driver ended with the unknown code {}", outcome.driverCode)};
    }
    if (!outcome.grabbed && !outcome.newSessionAsked) {
        return {again, ExitStatus::GrabbingFailed, "the driver returned without a frame"};
    }
    return {Kind::NextSession, ExitStatus::Done, "the next device session follows"};
}

double RetryPace::NextS(double configuredS)
{
    constexpr double kLongestS = 30;
    constexpr unsigned kDoublings = 16;
    const double grownS = std::ldexp(configuredS, static_cast<int>(attempts_));
    attempts_ = std::min(attempts_ + 1, kDoublings);
    return std::min(grownS, std::max(kLongestS, configuredS));
}

NextStep RunSessions(const SessionLoopParts& parts)
{
    HostSession& host = parts.host;
    WaitNotice notice;
    RetryPace pace;
    unsigned refusals = 0;
    for (;;) {
        if (host.parts.signals.Terminating()) {
            return {NextStep::Kind::End, ExitStatus::Done, "ended as asked by a signal"};
        }
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
        outcome.replay = host.Replay();
        outcome.grabbed = host.SessionFrames() > 0;
        outcome.grabbedBefore = host.progress.Grabbed() > 0;
        outcome.newSessionAsked = host.NewSessionAsked();
        outcome.endedEarly = host.EndedEarly();
        refusals = outcome.driverCode == KvTd::kExitConfiguration ? refusals + 1 : 0;
        outcome.refusals = refusals;
        if (outcome.grabbed) {
            pace.Reset();
        }

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
        WaitForRetry(parts, &pace);
    }
}

} // namespace kvgrab
