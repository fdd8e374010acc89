#include "session/consumer_report.h"

#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

void ConsumerReport::Look()
{
    const std::uint64_t all = memory_.TakenBack();
    const std::uint64_t more = all - std::exchange(takenBack_, all);
    if (more != 0) {
        log_.Line(2, fmt::format("took back {} frame{} that consumers held, since the camera "
                                 "needed the buffer: they can hold {} of the {} buffers "
                                 "(stream.buffers)",
                                 more, more == 1 ? "" : "s", memory_.MostHeld(),
                                 memory_.BufferCount()));
    }
    if (!boardIsLost_ && !memory_.BoardIsWhole()) {
        boardIsLost_ = true;
        log_.Line(2, "a consumer has destroyed the board for consumers: until the next start they "
                     "are not woken and can't hold frames; grabbing goes on");
    }
}

std::string ConsumerReport::Summary() const
{
    const std::uint64_t all = memory_.TakenBack();
    return all == 0 ? std::string()
                    : fmt::format("taken back: {} frame{} that consumers held\n", all,
                                  all == 1 ? "" : "s");
}

} // namespace kvgrab
