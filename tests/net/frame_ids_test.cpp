/** How many frames are missing between the numbers of those that came. */
#include "frame_ids.h"

#include <gtest/gtest.h>
#include <vector>

namespace
{

TEST(FrameIds, CountsWhatIsMissingAndTakesBackWhatComesLate)
{
    constexpr std::uint64_t kWide = std::uint64_t{1} << 40;
    const struct {
        std::vector<std::uint64_t> ids;
        std::int64_t missing;
    } rows[] = {
        {{1, 2, 3}, 0},
        {{7, 8}, 0}, // a camera that goes on from the transfer before
        {{1, 2, 5, 7}, 3},
        {{1, 2, 4, 5, 3, 6}, 0}, // 3 was waited for
        {{1, 2, 5, 3}, 1},
        {{2, 3, 1, 5}, 1}, // 1 came before anything was missed
        {{65533, 65535, 2}, 2},
        {{65534, 65535, 1, 2}, 0},
        {{65533, 65535, 1, 65534, 2}, 0},
        {{65535, 65536, 65538}, 1},
        {{kWide, kWide + 3, kWide + 1}, 1},
    };
    net::FrameIds ids;
    for (const auto& row : rows) {
        ids.Restart();
        std::int64_t missing = 0;
        for (const std::uint64_t id : row.ids) {
            missing += ids.Came(id);
        }
        EXPECT_EQ(missing, row.missing) << "row " << &row - rows;
    }
}

} // namespace
