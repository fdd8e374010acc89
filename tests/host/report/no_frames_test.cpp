/** What is reported of the time without frames. */
#include "report/no_frames.h"

#include <gtest/gtest.h>

namespace
{

using kvgrab::NoFramesReason;
using kvgrab::TransferCounts;

TEST(NoFrames, TheReasonIsTheOneThatTheCountsShow)
{
    TransferCounts before;
    before.packetSize = 9000;
    before.packetsOfFrame = 232;
    const auto after = [&before](std::uint64_t incomplete, std::uint64_t packets) {
        TransferCounts now = before;
        now.packetsReceived += 500;
        now.incomplete += incomplete;
        now.packetsOfNewestIncomplete = packets;
        return now;
    };
    TransferCounts refused = before;
    refused.startRefused = true;
    TransferCounts unknown = after(1, 231);
    unknown.unknownPayload = 1;
    TransferCounts unplaced = after(1, 2);
    unplaced.underruns = 1;
    TransferCounts lost = after(0, 0);
    lost.lost = 1;
    TransferCounts simulated;
    simulated.incomplete = 1;
    const struct {
        TransferCounts now;
        const char* reason;
    } rows[] = {
        {before, "no packets arrive"},
        {refused, "the camera refused to start"},
        {after(0, 0), "packets arrive, but no frame has ended yet"},
        {after(1, 2), "packets arrive, but 230 of 232 of the newest frame are missing (packet size "
                      "9000; a smaller packet size may pass the network)"},
        {after(1, 231),
         "packets arrive, but 1 of 232 of the newest frame are missing (packet size 9000)"},
        {after(1, 232), "frames arrive incomplete"},
        {unknown, "the camera sends frames of an unknown payload type"},
        {unplaced, "frames arrive, but find no free buffer"},
        {lost, "frames are lost on the link"},
        {simulated, "frames arrive incomplete"},
        {TransferCounts(), ""},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(NoFramesReason(row.now.packetSize == 0 ? TransferCounts() : before, row.now),
                  row.reason);
    }
}

} // namespace
