/** What a frame costs: heap allocations and camera accesses, and a long virtual run. */
#include "tests/support/alloc_count.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

namespace
{

constexpr std::uint64_t kFirst = 10;
constexpr std::uint64_t kLast = 1010;
constexpr std::uint64_t kFrames = kLast - kFirst;

struct Costs {
    std::uint64_t allocations = 0;
    std::uint64_t logLines = 0;
    sim::Counts camera;
};

/** What was spent between the exports of two frames that lie kFrames apart. */
std::pair<Costs, Costs> Spend()
{
    Rig rig;
    rig.Open();
    rig.BeQuiet();
    rig.host.fnum = kLast + 5;
    std::pair<Costs, Costs> spent;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvSc__ProcExport" &&
            (rig.host.exported == kFirst || rig.host.exported == kLast)) {
            Costs& costs = rig.host.exported == kFirst ? spent.first : spent.second;
            costs.allocations = Allocations();
            costs.logLines = rig.host.logLines;
            costs.camera = sim::GetCounts();
        }
    };
    EXPECT_EQ(rig.Loop(), 0);
    return spent;
}

} // namespace

TEST(Cost, FrameAllocatesNothingAndLogsNothing)
{
    const auto [before, after] = Spend();
    EXPECT_EQ(after.logLines - before.logLines, 0U);
    if (!CountsAllocations()) {
        GTEST_SKIP() << "a sanitizer's allocator is in the way of counting";
    }
    EXPECT_GT(before.allocations, 0U) << "the counter counts";
    EXPECT_EQ(after.allocations - before.allocations, 0U);
}

TEST(Cost, FrameAccessesTheCameraNoMoreThanRequired)
{
    // Temperature: selector and value. Gain: its selector is written, its value read. Exposure.
    const auto [before, after] = Spend();
    EXPECT_EQ(after.camera.reads - before.camera.reads, kFrames * 4);
    EXPECT_EQ(after.camera.writes - before.camera.writes, kFrames * 1);
    EXPECT_EQ(after.camera.calls - before.camera.calls, kFrames * 2) << "wait and release";
}

TEST(Cost, ThousandSecondsOfFramesAreExportedBarTheFirst)
{
    Rig rig;
    rig.BeQuiet();
    rig.host.fnum = 30'000;
    const std::int64_t start = rig.time.clock->NowNs();
    EXPECT_EQ(Rig::Run(), 0);
    EXPECT_EQ(rig.host.exported, 29'999U);
    EXPECT_EQ(rig.host.haltUpdates, 0U);
    EXPECT_NEAR(static_cast<double>(rig.time.clock->NowNs() - start) * 1e-9, 1000, 0.1);
}
