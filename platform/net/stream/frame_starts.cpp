#include "net/stream/frame_starts.h"

#include <ctime>

namespace net
{

namespace
{

std::int64_t RealTimeNs()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    return now.tv_sec * 1'000'000'000LL + now.tv_nsec;
}

} // namespace

void FrameStarts::Follow(ArvStream* stream, std::size_t buffers)
{
    const std::lock_guard lock(mutex_);
    stream_ = stream;
    starts_.resize(buffers);
}

void FrameStarts::Add()
{
    const std::int64_t now = RealTimeNs();
    const std::lock_guard lock(mutex_);
    Arrivals arrivals = Read();
    --arrivals.sent; // the first packet is counted before it begins the frame
    if (count_ < starts_.size()) {
        starts_[(first_ + count_++) % starts_.size()] = {arrivals, now};
    }
}

FrameStart FrameStarts::Take(Arrivals* end)
{
    const std::lock_guard lock(mutex_);
    if (count_ == 0) { // the library has begun no frame, yet delivers one
        *end = Read();
        return {*end, 0};
    }
    const FrameStart start = starts_[first_];
    first_ = (first_ + 1) % starts_.size();
    --count_;
    *end = count_ == 0 ? Read() : starts_[first_].before;
    return start;
}

void FrameStarts::Clear()
{
    const std::lock_guard lock(mutex_);
    count_ = 0;
}

Arrivals FrameStarts::Now() const
{
    const std::lock_guard lock(mutex_);
    return Read();
}

/** The library counts all packets as received, and those of frames without a buffer also as
 *  ignored; what else is ignored came too late or is of no known kind. */
Arrivals FrameStarts::Read() const
{
    const auto count = [this](const char* name) {
        return arv_stream_get_info_uint64_by_name(stream_, name);
    };
    Arrivals arrivals;
    arrivals.unplaced = count("n_underruns");
    arrivals.resent = count("n_resent_packets");
    arrivals.sent = count("n_received_packets") + arrivals.unplaced - count("n_ignored_packets") -
                    count("n_duplicated_packets") - count("n_error_packets") - arrivals.resent;
    return arrivals;
}

} // namespace net
