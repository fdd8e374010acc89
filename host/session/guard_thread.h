/** Runs a SessionGuard on a thread of its own, next to the grab thread, which may be waiting inside
 *  the driver. */
#pragma once

#include "file_handle.h"
#include "session/session_guard.h"
#include "session/signal_state.h"

#include <atomic>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace kvgrab
{

/** Threads: Start and Stop on any one thread; the rest on the grab thread only. FrameGrabbed,
 *  Pause and Resume take no lock. */
class GuardThread
{
public:
    struct Parts {
        const SignalState* signals = nullptr;
        /** Interrupts the cameras (true) or lets them work again (false). */
        std::function<void(bool)> interrupt;
        /** Called on the guard's thread after each interruption. */
        std::function<void(EarlyEnd)> interrupted;
        /** Ends the process at once. Called on the guard's thread. */
        std::function<void()> leave;
    };

    explicit GuardThread(Parts parts) : parts_(std::move(parts)) {}
    ~GuardThread() { Stop(); }
    GuardThread(const GuardThread&) = delete;
    GuardThread& operator=(const GuardThread&) = delete;

    /** False: `*error` says why. */
    bool Start(std::string* error);
    void Stop();
    /** An eventfd; writing to it makes the guard look at once. For a signal handler. */
    int WakeUpFd() const { return wakeUp_.Get(); }

    void SessionBegins();
    /** Lets the cameras work again, and returns why the session was ended early. */
    EarlyEnd SessionEnds();
    void GrabbingBegins(std::int64_t nowNs);
    void GrabbingEnds();
    void SetNoFramesLimit(std::int64_t ns) noexcept { noFramesNs_.store(ns); }
    void FrameGrabbed(std::int64_t nowNs) noexcept { newestNs_.store(nowNs); }
    /** The grab thread does work of the host's, in which no frame can be grabbed. */
    void Pause() noexcept { paused_.store(true); }
    void Resume(std::int64_t nowNs) noexcept;

private:
    void Run();
    std::int64_t Look(); ///< returns when to look again
    void WakeUp() const noexcept;

    Parts parts_;
    FileHandle wakeUp_;
    std::thread thread_;
    std::atomic<bool> stopping_{false};
    std::atomic<bool> grabbing_{false};
    std::atomic<bool> paused_{false};
    std::atomic<std::int64_t> newestNs_{0};
    std::atomic<std::int64_t> noFramesNs_{0};

    std::mutex mutex_; ///< guards the rest
    SessionGuard guard_;
    bool inSession_ = false;
    EarlyEnd ended_ = EarlyEnd::None; ///< of this session
};

} // namespace kvgrab
