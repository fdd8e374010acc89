#include "injection/record.h"

#include <utility>

namespace injection
{

Record& Record::Get()
{
    static Record record;
    return record;
}

void Record::Add(std::string kind, std::string text)
{
    if (!On()) {
        return;
    }
    const std::lock_guard lock(mutex_);
    entries_.push_back({std::move(kind), std::move(text)});
}

std::vector<JournalEntry> Record::Entries() const
{
    const std::lock_guard lock(mutex_);
    return entries_;
}

void Record::ClearJournal()
{
    const std::lock_guard lock(mutex_);
    entries_.clear();
}

void Record::CountAccess(bool write)
{
    (write ? writes_ : reads_).fetch_add(1, std::memory_order_relaxed);
}

Counts Record::Numbers() const
{
    Counts counts;
    counts.reads = reads_.load(std::memory_order_relaxed);
    counts.writes = writes_.load(std::memory_order_relaxed);
    counts.accesses = counts.reads + counts.writes;
    counts.calls = calls_.load(std::memory_order_relaxed);
    counts.frames = frames_.load(std::memory_order_relaxed);
    return counts;
}

void Record::ResetNumbers()
{
    for (auto* number : {&reads_, &writes_, &calls_, &frames_}) {
        number->store(0, std::memory_order_relaxed);
    }
}

} // namespace injection
