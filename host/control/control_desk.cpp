#include "control/control_desk.h"

#include <algorithm>
#include <utility>

namespace kvgrab
{

std::string_view WordFor(RunState state)
{
    switch (state) {
    case RunState::Starting:
        return "starting";
    case RunState::Opening:
        return "opening";
    case RunState::Configuring:
        return "configuring";
    case RunState::Grabbing:
        return "grabbing";
    case RunState::NoFrames:
        return "no_frames";
    case RunState::Waiting:
        return "waiting";
    case RunState::Ending:
        break;
    }
    return "ending";
}

void ControlDesk::SetState(RunState state, std::string_view sentence)
{
    RunStatus now;
    {
        const std::lock_guard lock(mutex_);
        if (status_.state == state && status_.sentence == sentence) {
            return;
        }
        status_.state = state;
        if (state != RunState::Grabbing) {
            status_.counts.rate = 0;
        }
        status_.sentence = sentence;
        now = status_;
    }
    if (listener_) {
        listener_(now);
    }
}

void ControlDesk::SetCamera(CameraNames names)
{
    const std::lock_guard lock(mutex_);
    status_.camera = std::move(names);
}

void ControlDesk::SetCounts(const RunCounts& counts)
{
    const std::lock_guard lock(mutex_);
    status_.counts = counts;
}

void ControlDesk::SetSettingsNotTaken(std::vector<std::string> lines)
{
    const std::lock_guard lock(mutex_);
    status_.settingsNotTaken = std::move(lines);
}

void ControlDesk::SetConfig(const Config& config)
{
    auto copy = std::make_shared<const Config>(config);
    const std::lock_guard lock(mutex_);
    config_ = std::move(copy);
}

RunStatus ControlDesk::Status() const
{
    const std::lock_guard lock(mutex_);
    return status_;
}

std::shared_ptr<const Config> ControlDesk::ConfigWithChanges() const
{
    const std::lock_guard lock(mutex_);
    return change_ ? std::make_shared<const Config>(change_->wanted) : config_;
}

void ControlDesk::NoteAsked()
{
    asked_.store(change_.has_value() || workState_ == Work::Waits, std::memory_order_release);
}

void ControlDesk::Ask(const Config& wanted, const ConfigChanges& changes)
{
    const std::lock_guard lock(mutex_);
    if (!change_) {
        change_.emplace();
    }
    change_->wanted = wanted;
    change_->tables.insert(change_->tables.end(), changes.dynamic.begin(), changes.dynamic.end());
    NoteAsked();
}

std::optional<AskedChange> ControlDesk::TakeChange()
{
    const std::lock_guard lock(mutex_);
    std::optional<AskedChange> taken = std::exchange(change_, std::nullopt);
    NoteAsked();
    return taken;
}

bool ControlDesk::OnGrabThread(const std::function<void()>& work,
                               std::chrono::milliseconds patience)
{
    std::unique_lock lock(mutex_);
    work_ = &work;
    workState_ = Work::Waits;
    NoteAsked();
    workDone_.wait_for(lock, patience, [this] { return workState_ != Work::Waits; });
    // What has begun uses the caller's variables, so its end has to be waited for.
    workDone_.wait(lock, [this] { return workState_ != Work::Begun; });
    work_ = nullptr;
    const bool done = std::exchange(workState_, Work::None) == Work::Done;
    NoteAsked();
    return done;
}

void ControlDesk::DoWork()
{
    const std::function<void()>* work = nullptr;
    {
        const std::lock_guard lock(mutex_);
        if (workState_ != Work::Waits) {
            return;
        }
        workState_ = Work::Begun;
        NoteAsked();
        work = work_;
    }
    (*work)();
    const std::lock_guard lock(mutex_);
    workState_ = Work::Done;
    workDone_.notify_all();
}

void ControlDesk::CameraIsReady()
{
    const std::lock_guard lock(gate_);
    ready_ = true;
}

void ControlDesk::CameraCloses()
{
    {
        const std::lock_guard lock(gate_);
        ready_ = false;
    }
    const std::lock_guard lock(mutex_);
    if (workState_ == Work::Waits) {
        workState_ = Work::None;
        NoteAsked();
        workDone_.notify_all();
    }
}

bool ControlDesk::WithCamera(const std::function<void()>& access)
{
    const std::lock_guard lock(gate_);
    if (ready_) {
        access();
    }
    return ready_;
}

} // namespace kvgrab
