#include "session/session_timing.h"

#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

void SessionTiming::Begins(std::int64_t nowNs)
{
    beginNs_ = nowNs;
    openedNs_ = 0;
    configuredNs_ = 0;
    first_ = true;
}

void SessionTiming::Opened(std::int64_t nowNs)
{
    openedNs_ = openedNs_ == 0 ? nowNs : openedNs_;
}

void SessionTiming::Configured(std::int64_t nowNs)
{
    configuredNs_ = configuredNs_ == 0 ? nowNs : configuredNs_;
}

std::string SessionTiming::Frame(std::int64_t nowNs)
{
    const std::int64_t before = lastFrameNs_;
    lastFrameNs_ = nowNs;
    if (!first_) {
        return "";
    }
    first_ = false;
    const auto ms = [this](std::int64_t atNs) {
        return static_cast<double>(atNs - beginNs_) / 1e6;
    };
    const std::string gap = std::exchange(failed_, false) && before != 0
                                ? fmt::format("; there was none for {:.1f} s",
                                              static_cast<double>(nowNs - before) / 1e9)
                                : "";
    return fmt::format("the camera was found and opened after {:.0f} ms, configured after {:.0f} "
                       "ms; the first frame came after {:.0f} ms{}",
                       ms(openedNs_), ms(configuredNs_), ms(nowNs), gap);
}

} // namespace kvgrab
