/** A source of frames that can lend one of them at a time to a buffer, without a copy. */
#pragma once

#include "kvframes.h"

#include <gst/gst.h>

#include <atomic>
#include <memory>

namespace kvgst
{

/** Lives as long as the element or a buffer uses it. Any thread. */
class LendingSource : public std::enable_shared_from_this<LendingSource>
{
public:
    /** Null, with kvf_error(), if the name makes no sense. */
    static std::shared_ptr<LendingSource> Open(const char* name);
    ~LendingSource();
    LendingSource(const LendingSource&) = delete;
    LendingSource& operator=(const LendingSource&) = delete;

    kvf_source* Get() const { return source_; }

    /** The frame's pixels as read-only memory, which the host leaves alone until it is freed, or
     *  until the host takes it back because it would lose a frame otherwise. Null if a frame is
     * lent already, or if the host or this user can't hold frames. */
    GstMemory* Lend(const kvf_frame& frame);
    /** Number of frames that the host took back while they were lent. */
    guint64 TakenBack() const { return takenBack_; }

private:
    explicit LendingSource(kvf_source* source) : source_(source) {}
    struct Loan;
    static void EndLoan(gpointer loan);

    kvf_source* source_;
    std::atomic<bool> lent_{false};
    std::atomic<guint64> takenBack_{0};
};

} // namespace kvgst
