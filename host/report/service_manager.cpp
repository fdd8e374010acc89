#include "report/service_manager.h"

#include "base/printable.h"

#include <fmt/format.h>
#include <systemd/sd-daemon.h>
#include <utility>

namespace kvgrab
{

namespace
{

constexpr std::int64_t kSecondNs = 1'000'000'000;

} // namespace

ServiceManager::ServiceManager(Send send, std::int64_t watchdogNs)
    : send_(std::move(send)), intervalNs_(watchdogNs / 4)
{
}

ServiceManager ServiceManager::FromEnvironment()
{
    constexpr std::int64_t kNsPerUs = 1000;
    std::uint64_t watchdogUs = 0;
    const bool watched = sd_watchdog_enabled(0, &watchdogUs) > 0;
    return {[](const char* message) { sd_notify(0, message); },
            watched ? static_cast<std::int64_t>(watchdogUs) * kNsPerUs : 0};
}

void ServiceManager::Ready(std::string_view status)
{
    status_ = base::Printable(status);
    send_(fmt::format("READY=1\nSTATUS={}", status_).c_str());
}

void ServiceManager::Status(std::int64_t nowNs, std::string_view status, bool urgent)
{
    if (!urgent && nowNs < statusDueNs_) {
        return;
    }
    std::string shown = base::Printable(status);
    if (shown == status_) {
        return;
    }
    statusDueNs_ = nowNs + kSecondNs;
    status_ = std::move(shown);
    send_(fmt::format("STATUS={}", status_).c_str());
}

void ServiceManager::Alive(std::int64_t nowNs)
{
    if (intervalNs_ == 0 || std::this_thread::get_id() != thread_ || nowNs < aliveDueNs_) {
        return;
    }
    aliveDueNs_ = nowNs + intervalNs_;
    send_("WATCHDOG=1");
}

std::int64_t ServiceManager::LongestWaitNs() const
{
    return intervalNs_ == 0 ? INT64_MAX : intervalNs_;
}

void ServiceManager::Stopping(std::string_view status)
{
    send_(fmt::format("STOPPING=1\nSTATUS={}", base::Printable(status)).c_str());
}

} // namespace kvgrab
