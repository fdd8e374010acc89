/** Whether the host has interrupted the cameras (gev_host.h): waits and accesses then fail. */
#pragma once

#include "gen_api.h"

#include <atomic>
#include <cstdint>
#include <fmt/format.h>

namespace gevplat
{

/** For how long a wait may go without looking at it, in nanoseconds. */
constexpr std::int64_t kLookForInterruptionNs = 20'000'000;

/** One for the process: defined once and exported, since backends are libraries of their own. */
class GEVPLAT_API Interruption
{
public:
    static bool IsOn() { return on_.load(std::memory_order_acquire); }
    static void Set(bool on) { on_.store(on, std::memory_order_release); }

    /** Raises TimeoutException while it is on. */
    static void RequireNone(const char* feature)
    {
        if (IsOn()) {
            throw GenICam_3_0::TimeoutException(
                fmt::format("{}: the access was interrupted", feature));
        }
    }

private:
    static std::atomic<bool> on_;
};

} // namespace gevplat
