#include "net/stream/stream_options.h"

#include "net/control/gvcp.h"
#include "net/library_owners.h"

#include <algorithm>
#include <atomic>
#include <fmt/format.h>
#include <vector>

namespace net
{

namespace
{

// What is done, whatever the options say.
constexpr std::uint32_t kCommandTimeoutMs = 500;
constexpr std::uint32_t kCommandRetries = 5;

constexpr std::uint32_t kMostRequested = 1000; ///< packets per frame, unless set

constexpr std::uint32_t kSmallestPacket = 46; ///< the headers, and ten bytes of picture
constexpr std::uint32_t kLargestPacket = 65535;
constexpr std::uint32_t kShortestHeartbeatMs = 500;
constexpr std::uint64_t kUsPerS = 1'000'000;
constexpr std::uint64_t kHighestFrequency = 1'000'000'000; ///< up to which ticks are exact

struct UnsupportedOption {
    std::uint32_t GEV_CAMERA_OPTIONS::*option;
    const char* name;
};
constexpr UnsupportedOption kUnsupported[] = {
    {&GEV_CAMERA_OPTIONS::commandTimeoutMs, "command time-out"},
    {&GEV_CAMERA_OPTIONS::commandRetries, "command retries"},
    {&GEV_CAMERA_OPTIONS::streamFramesBuffered, "frames buffered by the stream"},
    {&GEV_CAMERA_OPTIONS::streamMemoryLimit, "memory limit of the stream"},
    {&GEV_CAMERA_OPTIONS::streamMaxPacketResend, "packets asked for again"},
};

} // namespace

StreamOptions::StreamOptions(Device& device, bool ownReceiver)
    : device_(device), ownReceiver_(ownReceiver)
{
    DeferredLog log;
    const std::lock_guard lock(device.Mutex());
    auto* const camera = ARV_GV_DEVICE(device.Handle());
    const auto needed = [this](const char* what, const ErrorSlot& error) {
        if (error && fault_.empty()) {
            fault_ = fmt::format("{}: {}", what, error.Text());
        }
    };
    ErrorSlot error;
    // The library would try other sizes by itself; the size is the host's.
    arv_gv_device_set_packet_size_adjustment(camera, ARV_GV_PACKET_SIZE_ADJUSTMENT_NEVER);
    tickFrequency_ = device_.TickFrequency(error.Out());
    needed("tick frequency", error);
    if (!error && (tickFrequency_ == 0 || tickFrequency_ > kHighestFrequency)) {
        log.Add(2, fmt::format("network camera {} has a tick frequency of {} Hz: its time stamps "
                               "can't be relied on",
                               device_.Serial(), tickFrequency_));
    }
    options_.commandTimeoutMs = kCommandTimeoutMs;
    options_.commandRetries = kCommandRetries;
    options_.streamPacketSize = arv_gv_device_get_packet_size(camera, error.Out());
    needed("packet size", error);
    guint32 heartbeatMs = 0;
    arv_device_read_register(device.Handle(), kHeartbeatTimeout, &heartbeatMs, error.Out());
    needed("heartbeat time-out", error);
    options_.heartbeatTimeoutMs = heartbeatMs;
    guint32 delayTicks = 0;
    arv_device_read_register(device.Handle(), kStreamPacketDelay, &delayTicks, error.Out());
    if (error) { // a camera may be without it, and then delays nothing
        log.Add(3, fmt::format("network camera {} gives no packet delay: {}", device_.Serial(),
                               error.Text()));
        delayTicks = 0;
    }
    options_.streamPacketDelay =
        tickFrequency_ == 0 ? 0 : static_cast<std::uint32_t>(delayTicks * kUsPerS / tickFrequency_);
    options_.streamFrameTimeoutMs = 1000;
    options_.streamMaxPacketResend = kMostRequested;
}

std::uint32_t StreamOptions::DelayTicks(std::uint32_t us) const
{
    const std::uint64_t ticks = us * tickFrequency_ / kUsPerS;
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(ticks, 0xFFFFFFFF));
}

int StreamOptions::Set(const GEV_CAMERA_OPTIONS& options, DeferredLog& log)
{
    if (options.streamPacketSize < kSmallestPacket || options.streamPacketSize > kLargestPacket ||
        options.heartbeatTimeoutMs < kShortestHeartbeatMs || options.streamFrameTimeoutMs == 0) {
        return kGevBadValue;
    }
    device_.RequirePresent("stream options");
    {
        const std::lock_guard lock(device_.Mutex());
        auto* const camera = ARV_GV_DEVICE(device_.Handle());
        ErrorSlot error;
        if (options.streamPacketSize != options_.streamPacketSize) {
            arv_gv_device_set_packet_size(camera, static_cast<gint>(options.streamPacketSize),
                                          error.Out());
        }
        if (!error && options.heartbeatTimeoutMs != options_.heartbeatTimeoutMs) {
            arv_device_write_register(device_.Handle(), kHeartbeatTimeout,
                                      options.heartbeatTimeoutMs, error.Out());
        }
        if (!error && options.streamPacketDelay != options_.streamPacketDelay) {
            arv_device_write_register(device_.Handle(), kStreamPacketDelay,
                                      DelayTicks(options.streamPacketDelay), error.Out());
        }
        if (error) {
            log.Add(2, fmt::format("network camera {} refuses stream options: {}", device_.Serial(),
                                   error.Text()));
            return kGevBadValue;
        }
    }
    LogWithoutEffect(options, log);
    options_ = options;
    return kGevOk;
}

void StreamOptions::LogWithoutEffect(const GEV_CAMERA_OPTIONS& options, DeferredLog& log) const
{
    static std::atomic<bool> reported{false};
    std::vector<const char*> names;
    for (const UnsupportedOption& row : kUnsupported) {
        const bool works = ownReceiver_ && row.option == &GEV_CAMERA_OPTIONS::streamMaxPacketResend;
        if (!works && options.*row.option != options_.*row.option) {
            names.push_back(row.name);
        }
    }
    if (!names.empty() && !reported.exchange(true)) {
        log.Add(3, fmt::format("options without effect on network cameras: {}",
                               fmt::join(names, ", ")));
    }
}

} // namespace net
