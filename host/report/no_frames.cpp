#include "report/no_frames.h"

#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** A size that the network doesn't pass costs all packets but the small ones around the image. */
bool MayBeTooLarge(std::uint64_t missing, std::uint64_t all)
{
    return missing > all / 2;
}

} // namespace

std::string NoFramesReason(const TransferCounts& before, const TransferCounts& now)
{
    const bool incomplete = now.incomplete > before.incomplete;
    const bool hasPackets = now.packetSize != 0;
    if (now.startRefused) {
        return "the camera refused to start";
    }
    if (hasPackets && now.packetsReceived == before.packetsReceived) {
        return "no packets arrive";
    }
    if (now.unknownPayload > before.unknownPayload) {
        return "the camera sends frames of an unknown payload type";
    }
    if (now.underruns > before.underruns) {
        return "frames arrive, but find no free buffer";
    }
    if (incomplete && now.packetsOfNewestIncomplete < now.packetsOfFrame) {
        const std::uint64_t missing = now.packetsOfFrame - now.packetsOfNewestIncomplete;
        return fmt::format("packets arrive, but {} of {} of the newest frame are missing (packet "
                           "size {}{})",
                           missing, now.packetsOfFrame, now.packetSize,
                           MayBeTooLarge(missing, now.packetsOfFrame)
                               ? "; a smaller packet size may pass the network"
                               : "");
    }
    if (incomplete) {
        return "frames arrive incomplete";
    }
    if (now.lost > before.lost) {
        return "frames are lost on the link";
    }
    return hasPackets ? "packets arrive, but no frame has ended yet" : "";
}

} // namespace kvgrab
