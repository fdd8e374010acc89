/** Numbers of received frames, and counting of lost ones. */
#include "net/stream/frame_ids.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{

TEST(FrameIds, CountsWhatIsMissing)
{
    constexpr std::uint64_t kWide = std::uint64_t{1} << 40;
    constexpr std::uint64_t kNone = 0; // a frame without its number
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
        {{65535, 65536, 65538}, 1},
        {{kWide, kWide + 3}, 2},
        {{5, 4, 6}, 0},
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

} // namespace
