/** A thread that does one task after the other, for what may take its time: accesses to a camera,
 *  files. */
#pragma once

#include <condition_variable>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

namespace kvgrab
{

/** Threads: Start and Stop on any one thread, Post on any. What a task throws is dropped. */
class TaskThread
{
public:
    TaskThread() = default;
    ~TaskThread() { Stop(); }
    TaskThread(const TaskThread&) = delete;
    TaskThread& operator=(const TaskThread&) = delete;

    void Start();
    /** Waits for the task in progress; those that wait are dropped. */
    void Stop();
    /** False: too many are waiting, or the thread is stopped. */
    bool Post(std::function<void()> task);

private:
    void Run();

    static constexpr std::size_t kMostWaiting = 64;
    std::mutex mutex_;
    std::condition_variable news_;
    std::deque<std::function<void()>> waiting_;
    bool running_ = false;
    std::thread thread_;
};

} // namespace kvgrab
