/** What happened: the one ordered journal and the counts. The process has one of each, since the
 *  order across cameras and callers is what the journal is for.
 *
 *  Threads: any. The journal's lock is a leaf: nothing is called under it. */
#pragma once

#include "fault_injection.h"

#include <atomic>
#include <mutex>
#include <string>
#include <vector>

namespace injection
{

class Record
{
public:
    static Record& Get();

    bool On() const { return on_.load(std::memory_order_relaxed); }
    void Switch(bool on) { on_.store(on, std::memory_order_relaxed); }
    void Add(std::string kind, std::string text);
    std::vector<JournalEntry> Entries() const;
    void ClearJournal();

    void CountAccess(bool write);
    void CountCall() { calls_.fetch_add(1, std::memory_order_relaxed); }
    void CountFrame() { frames_.fetch_add(1, std::memory_order_relaxed); }
    Counts Numbers() const;
    void ResetNumbers();

private:
    std::atomic<bool> on_{false};
    mutable std::mutex mutex_;
    std::vector<JournalEntry> entries_;
    std::atomic<std::uint64_t> reads_{0};
    std::atomic<std::uint64_t> writes_{0};
    std::atomic<std::uint64_t> calls_{0};
    std::atomic<std::uint64_t> frames_{0};
};

} // namespace injection
