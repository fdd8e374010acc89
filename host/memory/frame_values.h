/** What is known of a frame besides its pixels and its time. */
#pragma once

#include <cstddef>
#include <cstdint>

namespace kvgrab
{

struct FrameValues {
    std::uint64_t cameraTicks = 0;
    std::uint32_t frameCounter = 0;
    float gainDb = 0;
    float exposureUs = 0;
    std::uint64_t cameraFrameNumber = 0; ///< the camera's own number of the frame; 0: none
    std::uint64_t captureTimeNs = 0;     ///< since the epoch; 0: none
};

/** Why a frame is incomplete; numbered as the platform does (GevFrameFault). */
enum class FrameFault : std::uint8_t {
    None,
    PacketsMissing,
    PacketsRefused,
    BufferTooSmall,
    UnknownPayload,
    PacketsContradictory,
    SmallerThanImage
};
constexpr std::size_t kFrameFaults = 7;

/** What the platform knows of the frame that it delivered last; all 0: nothing. */
struct FrameFacts {
    std::uint64_t number = 0; ///< the camera's own; 0: it has none
    std::uint64_t cameraTicks = 0;
    std::int64_t arrivalNs = 0; ///< on the host's real-time clock; 0: not known
    FrameFault fault = FrameFault::None;
    std::uint32_t packetsReceived = 0;
    std::uint32_t packetsResent = 0; ///< of these, after they had been requested again
    std::uint32_t packetsMissing = 0;
    std::uint32_t framesLost = 0; ///< between the frame delivered before and this one
    std::uint32_t framesWithoutBuffer = 0;
    std::uint64_t delivery = 0; ///< counts the frames that the platform delivered
};

} // namespace kvgrab
