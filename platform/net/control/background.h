/** Work of the network library that may take seconds, on a thread of its own. */
#pragma once

#include "base/signals_blocked.h"
#include "core/interruption.h"

#include <chrono>
#include <condition_variable>
#include <exception>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

namespace net
{

/** The work goes on when nobody waits for it any more; its result is then dropped on its thread.
 *  It may run while the process ends, so it uses nothing that is destroyed before. */
template <class Result> class Background
{
public:
    /** Signals are blocked for the work, since they would cut the library's waits short. */
    static std::shared_ptr<Background> Begin(std::function<Result()> work)
    {
        auto begun = std::make_shared<Background>();
        const base::SignalsBlocked blocked;
        std::thread([begun, work = std::move(work)]() mutable {
            try {
                begun->End(work(), nullptr);
            } catch (...) { // nobody cancels this thread
                begun->End(std::nullopt, std::current_exception());
            }
        }).detach();
        return begun;
    }

    /** The result, or what the work threw; nothing when `leave` was true first. */
    template <class Leave> std::optional<Result> Wait(const Leave& leave)
    {
        std::unique_lock lock(mutex_);
        while (!ended_) {
            lock.unlock();
            if (leave()) {
                return std::nullopt;
            }
            lock.lock();
            changed_.wait_for(lock, std::chrono::nanoseconds(gevplat::kLookForInterruptionNs),
                              [this] { return ended_; });
        }
        if (failure_ != nullptr) {
            std::rethrow_exception(failure_);
        }
        return std::move(result_);
    }

private:
    void End(std::optional<Result> result, std::exception_ptr failure)
    {
        const std::lock_guard lock(mutex_);
        result_ = std::move(result);
        failure_ = std::move(failure);
        ended_ = true;
        changed_.notify_all();
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    bool ended_ = false;
    std::optional<Result> result_;
    std::exception_ptr failure_;
};

} // namespace net
