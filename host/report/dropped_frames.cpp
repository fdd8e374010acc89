#include "report/dropped_frames.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace kvgrab
{

namespace
{

struct FaultRow {
    std::string_view name;
    std::string_view sentence;
};

/** In the order of FrameFault. */
constexpr FaultRow kFaults[kFrameFaults] = {
    {"", ""},
    {"packets missing", "they did not come in time"},
    {"packets refused", "the camera did not have them any more"},
    {"buffer too small", "it is larger than the buffers"},
    {"unknown payload type", "only images, with chunk data or without, can be received"},
    {"packets contradictory", "its packets contradict each other"},
    {"smaller than the image", "it is smaller than the image"},
};

const FaultRow& RowOf(FrameFault fault)
{
    return kFaults[static_cast<std::size_t>(fault)];
}

/** Without its first packet, a frame that the network library receives has no number. */
std::string NameOf(const FrameFacts& frame)
{
    return frame.number == 0 ? "a frame" : fmt::format("frame {}", frame.number);
}

} // namespace

std::string_view FaultName(FrameFault fault)
{
    return RowOf(fault).name;
}

bool DroppedFrames::Waited(const FrameFacts& newest)
{
    if (newest.delivery == delivery_) {
        return false;
    }
    delivery_ = newest.delivery;
    incomplete_[static_cast<std::size_t>(newest.fault)] += 1;
    return true;
}

std::vector<std::string> DroppedFrames::Sentences(const FrameFacts& frame)
{
    std::vector<std::string> sentences;
    if (frame.framesLost != 0 || frame.framesWithoutBuffer != 0) {
        sentences.push_back(
            fmt::format("dropped before {}: {} lost on the link, {} without a free buffer",
                        NameOf(frame), frame.framesLost, frame.framesWithoutBuffer));
    }
    const std::string_view why = RowOf(frame.fault).sentence;
    if (frame.fault == FrameFault::PacketsMissing || frame.fault == FrameFault::PacketsRefused) {
        sentences.push_back(fmt::format("{} is dropped, {} of its {} packets missing: {}",
                                        NameOf(frame), frame.packetsMissing,
                                        frame.packetsMissing + frame.packetsReceived, why));
    } else if (frame.fault != FrameFault::None) {
        sentences.push_back(fmt::format("{} is dropped: {}", NameOf(frame), why));
    }
    return sentences;
}

std::string DroppedFrames::Summary() const
{
    std::vector<std::string> reasons;
    for (std::size_t i = 1; i < kFrameFaults; ++i) {
        if (incomplete_[i] != 0) {
            reasons.push_back(fmt::format("{} ({})", kFaults[i].name, incomplete_[i]));
        }
    }
    return reasons.empty() ? ""
                           : fmt::format("incomplete, by reason: {}\n", fmt::join(reasons, ", "));
}

} // namespace kvgrab
