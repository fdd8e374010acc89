#include "net/control/presence.h"

#include "base/signals_blocked.h"
#include "gev_backend.h"
#include "net/control/leavable_access.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <utility>

namespace net
{

namespace
{

constexpr std::chrono::milliseconds kPause(90);

using Clock = std::chrono::steady_clock;
using Control = ControlChannel::Control;

} // namespace

Presence::Presence(Device& device, std::shared_ptr<ControlChannel> channel)
    : device_(device), channel_(std::move(channel))
{
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Watch(); });
}

Presence::~Presence()
{
    {
        const std::lock_guard lock(mutex_);
        ending_ = true;
    }
    wake_.notify_all();
    thread_.join();
}

bool Presence::SleepUntil(Clock::time_point end)
{
    std::unique_lock lock(mutex_);
    return !wake_.wait_until(lock, end, [this] { return ending_.load(); });
}

void Presence::Watch()
{
    const LeavableAccess leavable(ending_);
    Control before = Control::Ours;
    Clock::time_point since;
    Clock::time_point look = Clock::now() + kPause;
    Clock::time_point refresh = look;
    while (before != Control::Lost && SleepUntil(std::min(look, refresh))) {
        if (Clock::now() < look) {
            refresh = device_.IsPresent() ? device_.Values().RefreshDue(device_.Mutex()) : look;
            continue;
        }
        const Control now = channel_->Look();
        look = Clock::now() + kPause;
        refresh = Clock::now();
        if (now == before || now == Control::Unknown) {
            continue;
        }
        if (now == Control::Ours) {
            device_.Values().ForgetAll(); // nobody knows what happened to it
        }
        device_.SetPresent(now == Control::Ours);
        if (now == Control::Ours) {
            const auto away =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since);
            gevplat::WriteLog(2, fmt::format("network camera {} answers again after {} ms",
                                             device_.Serial(), away.count()));
        } else if (now == Control::Lost) {
            gevplat::WriteLog(2, fmt::format("network camera {} doesn't know us any more: it was "
                                             "started anew, or its heartbeat time-out went by; it "
                                             "has to be opened again",
                                             device_.Serial()));
        } else {
            gevplat::WriteLog(2,
                              fmt::format("network camera {} does not answer", device_.Serial()));
        }
        since = before == Control::Ours ? Clock::now() : since;
        before = now;
    }
}

} // namespace net
