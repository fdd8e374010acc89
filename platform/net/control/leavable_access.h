/** Marks accesses that the closing of a camera does not wait for. */
#pragma once

#include <atomic>

namespace net
{

/** While one of these lives, the accesses of its thread end soon after `leave` has become true. */
class LeavableAccess
{
public:
    explicit LeavableAccess(const std::atomic<bool>& leave) { flag_ = &leave; }
    ~LeavableAccess() { flag_ = nullptr; }
    LeavableAccess(const LeavableAccess&) = delete;
    LeavableAccess& operator=(const LeavableAccess&) = delete;

    /** Null: the thread's accesses are none of these. */
    static const std::atomic<bool>* Flag() { return flag_; }

private:
    inline static thread_local const std::atomic<bool>* flag_ = nullptr;
};

} // namespace net
