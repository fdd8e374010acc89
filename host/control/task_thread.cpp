#include "control/task_thread.h"

#include "base/signals_blocked.h"

#include <exception>
#include <utility>

namespace kvgrab
{

void TaskThread::Start()
{
    running_ = true;
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
}

void TaskThread::Stop()
{
    {
        const std::lock_guard lock(mutex_);
        running_ = false;
        waiting_.clear();
    }
    news_.notify_all();
    if (thread_.joinable()) {
        thread_.join();
    }
}

bool TaskThread::Post(std::function<void()> task)
{
    {
        const std::lock_guard lock(mutex_);
        if (!running_ || waiting_.size() >= kMostWaiting) {
            return false;
        }
        waiting_.push_back(std::move(task));
    }
    news_.notify_all();
    return true;
}

void TaskThread::Run()
{
    std::unique_lock lock(mutex_);
    for (;;) {
        news_.wait(lock, [this] { return !running_ || !waiting_.empty(); });
        if (!running_) {
            return;
        }
        const std::function<void()> task = std::move(waiting_.front());
        waiting_.pop_front();
        lock.unlock();
        try {
            task();
        } catch (const std::exception&) { // no memory: there is no answer, and grabbing goes on
        }
        lock.lock();
    }
}

} // namespace kvgrab
