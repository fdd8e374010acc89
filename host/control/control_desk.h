/** Where the grab thread and the control socket's threads meet: the one leaves here what it does,
 *  the others what they want of it.
 *
 *  The grab thread never waits for the socket. It writes states and counts here, a few times a
 *  second, under a lock that is held for a copy only; and after a frame it looks, without a lock,
 *  whether something is asked of it. It waits in one place, before a camera is closed: until the
 *  access to a feature that is in progress on another thread has ended. */
#pragma once

#include "config/config.h"
#include "config/config_changes.h"
#include "report/progress.h"

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace kvgrab
{

/** What a run is doing. */
enum class RunState { Starting, Opening, Configuring, Grabbing, NoFrames, Waiting, Ending };

/** "starting", "opening", ... */
std::string_view WordFor(RunState state);

/** Counts of the whole run, and the newest values. */
struct RunCounts {
    std::uint64_t grabbed = 0;
    std::uint64_t requested = 0; ///< 0: no limit
    double rate = 0;             ///< frames per second
    TransferCounts transfers;
    float exposureUs = 0;
    float gainDb = 0;
    std::optional<float> temperature;
    std::uint32_t frameBytes = 0;
    std::uint64_t takenBack = 0; ///< frames that consumers of the frame memory held
};

/** Names of the open camera; empty without one. */
struct CameraNames {
    std::string manufacturer;
    std::string model;
    std::string serial;
    std::string version;
};

struct RunStatus {
    RunState state = RunState::Starting;
    std::string sentence; ///< about the state, without a full stop
    CameraNames camera;
    RunCounts counts;
    std::vector<std::string> settingsNotTaken;
};

/** A configuration that differs from the one in force in tables that are applied while grabbing. */
struct AskedChange {
    Config wanted;
    std::vector<std::string> tables; ///< these of it
};

class ControlDesk
{
public:
    using StateListener = std::function<void(const RunStatus&)>;

    // ---- grab thread ----
    void SetState(RunState state, std::string_view sentence);
    void SetCamera(CameraNames names);
    void SetCounts(const RunCounts& counts);
    void SetSettingsNotTaken(std::vector<std::string> lines);
    void SetConfig(const Config& config);
    /** Whether there is a change to take or work to do. Takes no lock. */
    bool Asked() const noexcept { return asked_.load(std::memory_order_acquire); }
    std::optional<AskedChange> TakeChange();
    /** Does what another thread waits for in OnGrabThread. */
    void DoWork();
    /** From now on other threads may access the open camera; and until here. */
    void CameraIsReady();
    void CameraCloses();

    // ---- any thread ----
    /** Called on the grab thread after each change of the state; set it before the run begins. */
    void OnState(StateListener listener) { listener_ = std::move(listener); }
    RunStatus Status() const;
    /** The configuration with the changes that wait to be taken; never null after SetConfig. */
    std::shared_ptr<const Config> ConfigWithChanges() const;
    /** Asks for a change, on top of those that wait. */
    void Ask(const Config& wanted, const ConfigChanges& changes);
    /** Does `access`, unless no camera is ready: then it returns false. The camera isn't closed
     *  meanwhile. One access at a time. */
    bool WithCamera(const std::function<void()>& access);
    /** Has the grab thread do some work between two frames. False: it did not begin in time, and
     *  won't. */
    bool OnGrabThread(const std::function<void()>& work, std::chrono::milliseconds patience);

private:
    enum class Work { None, Waits, Begun, Done };
    void NoteAsked(); ///< with mutex_ held

    mutable std::mutex mutex_; ///< guards what follows up to the gate
    RunStatus status_;
    std::shared_ptr<const Config> config_;
    std::optional<AskedChange> change_;
    const std::function<void()>* work_ = nullptr;
    Work workState_ = Work::None;
    std::condition_variable workDone_;
    std::atomic<bool> asked_{false};
    StateListener listener_;

    std::mutex gate_; ///< held while a camera's feature is accessed
    bool ready_ = false;
};

} // namespace kvgrab
