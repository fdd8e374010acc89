/** Numbers of received frames, counting of lost ones and of lost packets, and how long an
 * incomplete frame is waited for. */
#include "net/stream/frame_ids.h"
#include "net/stream/hold_back.h"
#include "net/stream/packet_account.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{

TEST(FrameIds, CountsWhatIsMissing)
{
    constexpr std::uint64_t kWide = std::uint64_t{1} << 40;
    constexpr std::uint64_t kNone = ~std::uint64_t{0}; // a frame without its number
    const struct {
        std::vector<std::uint64_t> ids;
        std::uint64_t missing;
    } rows[] = {
        {{1, 2, 3}, 0},
        {{7, 8}, 0}, // a camera that goes on from the transfer before
        {{1, 2, 5, 7}, 3},
        {{2, kNone, 4}, 0},
        {{2, kNone, 6, kNone, kNone, 9}, 2},
        {{kNone, 2, 4}, 1},
        {{65533, 65535, 2}, 2},
        {{65534, 65535, 1, 2}, 0},
        {{65534, kNone, kNone, 2}, 0},
        {{65534, 1, 2}, 1}, // 65535 is lost,
        {{65535, 2, 3}, 1}, // 1 is,
        {{65534, 2, 3}, 2}, // and both are
        {{65535, kNone, kNone, 3}, 0},
        {{65535, 65536, 65538}, 1},
        {{kWide, kWide + 3}, 2},
        {{5, 4, 6}, 0},                      // 4 is late
        {{0, 1, 2, 4}, 1},                   // numbers begin with 0,
        {{0, 65534, 65535, 0, 1}, 0},        // and wrap to it
        {{65534, 65535, 0, 1, 65535, 1}, 1}, // whose loss then counts
        {{65535, kNone, 1, 2}, 0},           // 0 or 1
        {{kWide, 1, 2, 4}, 1},               // begun anew
        {{1000, 1, 3}, 1},
        {{7, kWide, kWide + 2}, 1},
        {{7, 7 + 0x4000, 8 + 2 * 0x4000}, 0x3FFF}, // 0x4000 lost ones are too many to believe
        {{~std::uint64_t{1}, 0, 1, 3}, 1},
    };
    net::FrameIds ids;
    for (const auto& row : rows) {
        ids.Restart();
        std::uint64_t missing = 0;
        for (const std::uint64_t id : row.ids) {
            if (id == kNone) {
                ids.CameWithoutNumber();
            } else {
                missing += ids.Came(id);
            }
        }
        EXPECT_EQ(missing, row.missing) << "row " << &row - rows;
    }
}

TEST(PacketAccount, CountsWhatFramesShouldHaveHadLessWhatArrived)
{
    constexpr std::uint64_t kPackets = 10; // of a frame
    std::uint64_t resentBefore = 0;
    net::PacketAccount account;
    const auto frame = [&](std::uint64_t lost, bool complete, std::uint64_t begin,
                           std::uint64_t end, std::uint64_t resent) {
        account.Frame(kPackets, lost, complete, {begin, 0, resentBefore}, {end, 0, 0}, resent);
        resentBefore = resent;
        return account.Missing();
    };
    EXPECT_EQ(frame(0, true, 100, 110, 0), 0U);
    EXPECT_EQ(frame(0, false, 110, 119, 0), 1U);
    EXPECT_EQ(frame(0, true, 119, 127, 0), 1U);  // two are late,
    EXPECT_EQ(frame(0, false, 127, 137, 0), 3U); // one more of this frame,
    EXPECT_EQ(frame(0, true, 137, 147, 2), 3U);  // and both were sent again
    EXPECT_EQ(frame(0, false, 147, 156, 2), 3U);
    EXPECT_EQ(frame(2, true, 156, 166, 2), 22U);
    account.Restart();
    EXPECT_EQ(frame(0, false, 500, 505, 2), 27U);
    EXPECT_EQ(frame(0, false, 505, 525, 2), 27U); // more than a frame has
}

TEST(HoldBack, LastsForTheOtherBuffersAtMost)
{
    const struct {
        net::Pace pace; ///< period and exposure, us
        std::uint32_t buffers;
        std::uint32_t frameTimeoutMs;
        std::uint32_t us;
    } rows[] = {
        {{10'000, 1000}, 8, 1000, 50'000}, // five frame periods
        {{10'000, 1000}, 256, 1000, 1'000'000},
        {{10'000, 1000}, 2, 1000, 21'000}, // at least longer than a frame may pause
        {{500'000, 400'000}, 4, 1000, 500'000},
        {{0, 1000}, 8, 1000, 100'000}, // nobody knows the period
        {{0, 3'000'000}, 8, 1000, 1'000'000},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(net::HoldBackUs(row.pace, row.buffers, row.frameTimeoutMs), row.us)
            << "row " << &row - rows;
    }
}

} // namespace
