#include "loan.h"

namespace kvgst
{

struct LendingSource::Loan {
    std::shared_ptr<LendingSource> source;
    kvf_frame frame; ///< pinned
};

std::shared_ptr<LendingSource> LendingSource::Open(const char* name)
{
    kvf_source* source = nullptr;
    if (kvf_open(name, &source) != KVF_OK) {
        return nullptr;
    }
    return std::shared_ptr<LendingSource>(new LendingSource(source));
}

LendingSource::~LendingSource()
{
    kvf_close(source_);
}

GstMemory* LendingSource::Lend(const kvf_frame& frame)
{
    if (lent_.exchange(true)) {
        return nullptr;
    }
    kvf_frame pinned = frame;
    if (kvf_pin(source_, &pinned) != KVF_OK || kvf_hold(source_, &pinned) != KVF_OK) {
        kvf_unpin(&pinned);
        lent_ = false;
        return nullptr;
    }
    return gst_memory_new_wrapped(GST_MEMORY_FLAG_READONLY, const_cast<void*>(pinned.pixels),
                                  pinned.bytes, 0, pinned.bytes,
                                  new Loan{shared_from_this(), pinned}, EndLoan);
}

void LendingSource::EndLoan(gpointer data)
{
    const std::unique_ptr<Loan> loan(static_cast<Loan*>(data));
    LendingSource& source = *loan->source;
    if (kvf_release(source.source_) == KVF_OVERWRITTEN) {
        ++source.takenBack_;
    }
    kvf_unpin(&loan->frame);
    source.lent_ = false;
}

} // namespace kvgst
