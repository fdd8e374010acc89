/** The faults that are armed, and which of them are due at an event.
 *
 *  A fault counts its own matches from the moment it was added. Where several match, all of them
 *  count, and those that are due take effect in the order in which they were added.
 *
 *  Threads: any. Its lock is a leaf: the caller carries out the effects after it was released. */
#pragma once

#include "fault_injection.h"

#include <atomic>
#include <mutex>
#include <string_view>
#include <vector>

namespace injection
{

class FaultTable
{
public:
    static FaultTable& Get();

    void Add(const Fault& fault);
    void Clear();
    /** Whether there is any fault at all; all that an access costs while there is none. */
    bool Empty() const { return count_.load(std::memory_order_relaxed) == 0; }

    /** The faults that are due at this event. An access is given as Read or Write; faults on
     *  Access match both. `name` is empty for frames. */
    std::vector<Fault> Due(Trigger trigger, std::string_view name, std::string_view camera);

private:
    struct Armed {
        Fault fault;
        std::uint64_t matches = 0;
    };
    std::atomic<std::size_t> count_{0};
    std::mutex mutex_;
    std::vector<Armed> armed_;
};

/** Raises the exception that the fault names. */
[[noreturn]] void RaiseFault(const Fault& fault);

} // namespace injection
