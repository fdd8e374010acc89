#include "net/control/presence.h"

#include "base/signals_blocked.h"
#include "gev_backend.h"
#include "net/control/gvcp.h"
#include "net/library_owners.h"

#include <chrono>
#include <fmt/format.h>

namespace net
{

namespace
{

constexpr int kPauseMs = 90;
constexpr int kPatienceMs = 110;
constexpr int kMisses = 3; ///< in a row: at most 420 ms from the last answer

using Clock = std::chrono::steady_clock;

enum class State { Ours, NotOurs, Gone };

State Ask(GvcpClient& camera)
{
    for (int miss = 0; miss < kMisses; ++miss) {
        std::uint32_t privilege = 0;
        switch (camera.ReadRegister(kControlPrivilege, &privilege, kPatienceMs)) {
        case Answer::Given:
            return privilege == 0 ? State::NotOurs : State::Ours;
        case Answer::Refused:
            if (miss > 0) { // the first one may be about an older question
                return State::Gone;
            }
            break;
        case Answer::Silent:
            break;
        }
    }
    return State::Gone;
}

/** As far as the library noticed. */
bool IsController(const Device& device)
{
    return ARV_IS_GV_DEVICE(device.Handle()) &&
           arv_gv_device_is_controller(ARV_GV_DEVICE(device.Handle())) != FALSE;
}

} // namespace

Presence::Presence(Device& device, std::uint32_t address) : device_(device), address_(address)
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

bool Presence::Sleep(int ms)
{
    std::unique_lock lock(mutex_);
    return !wake_.wait_for(lock, std::chrono::milliseconds(ms), [this] { return ending_; });
}

void Presence::Watch()
{
    GvcpClient camera(address_);
    State before = State::Ours;
    Clock::time_point since;
    while (before != State::NotOurs && Sleep(kPauseMs)) {
        State now = Ask(camera);
        if (now == State::Ours && before == State::Gone && !IsController(device_)) {
            now = State::NotOurs; // somebody else has it
        }
        if (now == before) {
            continue;
        }
        device_.SetPresent(now == State::Ours);
        if (now == State::Ours) {
            const auto away =
                std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - since);
            gevplat::WriteLog(2, fmt::format("network camera {} answers again after {} ms",
                                             device_.Serial(), away.count()));
        } else if (now == State::NotOurs) {
            gevplat::WriteLog(2, fmt::format("network camera {} doesn't know us any more: it was "
                                             "started anew, or its heartbeat time-out went by; it "
                                             "has to be opened again",
                                             device_.Serial()));
        } else {
            gevplat::WriteLog(2,
                              fmt::format("network camera {} does not answer", device_.Serial()));
        }
        since = before == State::Ours ? Clock::now() : since;
        before = now;
    }
}

} // namespace net
