#include "injection/effects.h"

#include "core/interruption.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace injection
{

namespace
{

std::atomic<Effects*>& Registered()
{
    static auto* none = new Effects; // kept for threads that still run while the process ends
    static std::atomic<Effects*> registered{none};
    return registered;
}

} // namespace

Effects::~Effects() = default;

void Effects::SleepNs(std::int64_t ns)
{
    using Clock = std::chrono::steady_clock;
    constexpr Clock::duration kSlice = std::chrono::nanoseconds(gevplat::kLookForInterruptionNs);
    const auto end = Clock::now() + std::chrono::nanoseconds(ns);
    for (auto now = Clock::now(); now < end && !gevplat::Interruption::IsOn(); now = Clock::now()) {
        std::this_thread::sleep_for(std::min<Clock::duration>(end - now, kSlice));
    }
}

void Effects::DetachCamera(const char* /*serial*/, std::int64_t /*forNs*/) {}

void RegisterEffects(Effects& effects)
{
    Registered().store(&effects, std::memory_order_release);
}

Effects& RegisteredEffects()
{
    return *Registered().load(std::memory_order_acquire);
}

} // namespace injection
