/** Calls in any order: nothing crashes, and a buffer is never in two hands. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>
#include <random>

namespace
{

class AnyOrder : public SimSession, public testing::WithParamInterface<unsigned>
{
};

TEST_P(AnyOrder, OfCallsKeepsBuffersApart)
{
    setup.jitterUs = 2000;
    OpenCamera();
    std::mt19937 engine(GetParam());
    const auto random = [&] { return static_cast<std::uint32_t>(engine()); };
    std::vector<_tag_GEVBUF_ENTRY*> mine;
    bool started = false;
    std::uint32_t lastId = 0;
    for (int step = 0; step < 20'000; ++step) {
        switch (random() % 16) {
        case 0:
            if (Initialize(1 + random() % 6) == kGevOk) {
                EXPECT_FALSE(started);
                mine.clear();
            }
            break;
        case 1:
            if (GevStartTransfer(handle, random() % 4 == 0 ? 3 : kForEver) == kGevOk) {
                started = true;
                lastId = 0;
            }
            break;
        case 2:
            GevAbortTransfer(handle);
            started = false;
            break;
        case 3:
            if (random() % 8 == 0) {
                GevFreeTransfer(handle);
                mine.clear();
                started = false;
            }
            break;
        case 4:
            sim::SetAttached("S1", random() % 4 != 0);
            break;
        case 5:
            clock->AdvanceNs(static_cast<std::int64_t>(random() % 50) * kMs);
            break;
        case 6:
            sim::SetFeatureText("S1", "ExposureTime", std::to_string(random() % 20'000));
            break;
        case 7:
        case 8:
        case 9:
            if (!mine.empty()) {
                const std::size_t index = random() % mine.size();
                EXPECT_EQ(GevReleaseFrame(handle, mine[index]), kGevOk);
                mine.erase(mine.begin() + static_cast<std::ptrdiff_t>(index));
            }
            break;
        default:
            if (_tag_GEVBUF_ENTRY* frame = Next(random() % 30)) {
                EXPECT_TRUE(started);
                EXPECT_GT(frame->frameId, lastId);
                lastId = frame->frameId;
                EXPECT_TRUE(std::none_of(mine.begin(), mine.end(), [&](const auto* other) {
                    return other == frame || other->address == frame->address;
                }));
                mine.push_back(frame);
            }
        }
    }
    GEV_TRANSFER_STATISTICS counts{};
    EXPECT_EQ(GevGetTransferStatistics(&counts), kGevOk);
}

INSTANTIATE_TEST_SUITE_P(Seeds, AnyOrder, testing::Range(1U, 5U));

} // namespace
