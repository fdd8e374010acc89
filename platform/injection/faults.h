/** The script of faults: who strikes where, and when.
 *
 *  A fault counts its own matches from the moment it was added. Where several match, all of them
 *  count and all that are due strike, in the order in which they were added.
 *
 *  Threads: any. Its lock is a leaf: effects are done by the caller, after it was released. */
#pragma once

#include "sim_control.h"

#include <atomic>
#include <mutex>
#include <string_view>
#include <vector>

namespace sim
{

class FaultTable
{
public:
    static FaultTable& Get();

    void Add(const Fault& fault);
    void Clear();
    /** Whether there is any fault at all; the price of an access without a script. */
    bool Empty() const { return count_.load(std::memory_order_relaxed) == 0; }

    /** The faults that strike at this event. An access is given as Read or Write; faults on
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

/** Raises the exception that the fault asks for. */
[[noreturn]] void RaiseFault(const Fault& fault);

} // namespace sim
