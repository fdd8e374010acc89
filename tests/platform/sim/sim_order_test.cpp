/** Calls in any order: nothing crashes, and a buffer never has two owners. */
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
    const auto random = [&](unsigned below) {
        return static_cast<std::uint32_t>(engine() % below);
    };
    std::vector<_tag_GEVBUF_ENTRY*> mine;
    bool started = false;
    std::uint32_t lastId = 0;
    for (int step = 0; step < 20'000; ++step) {
        const std::uint32_t what = random(16);
        if (what == 0 && Initialize(1 + random(6)) == kGevOk) {
            EXPECT_FALSE(started);
            mine.clear();
        } else if (what == 1 && GevStartTransfer(handle, random(4) == 0 ? 3 : kForEver) == kGevOk) {
            started = true;
            lastId = 0;
        } else if (what == 2) {
            GevAbortTransfer(handle);
            started = false;
        } else if (what == 3 && random(8) == 0) {
            GevFreeTransfer(handle);
            mine.clear();
            started = false;
        } else if (what == 4) {
            sim::SetAttached("S1", random(4) != 0);
        } else if (what == 5) {
            clock->AdvanceNs(random(50) * kMs);
        } else if (what == 6) {
            sim::SetFeatureText("S1", "ExposureTime", std::to_string(random(20'000)));
        } else if (what < 10 && !mine.empty()) {
            const auto one = mine.begin() + random(static_cast<unsigned>(mine.size()));
            EXPECT_EQ(GevReleaseFrame(handle, *one), kGevOk);
            mine.erase(one);
        } else if (_tag_GEVBUF_ENTRY* frame = what < 10 ? nullptr : Next(random(30))) {
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

INSTANTIATE_TEST_SUITE_P(Seeds, AnyOrder, testing::Range(1U, 5U));

} // namespace
