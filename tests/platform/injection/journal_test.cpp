/** The order and format of journal entries, and that the journal costs nothing while it is off. */
#include "tests/platform/journal_lines.h"
#include "tests/platform/sim/sim_session.h"
#include "tests/support/alloc_count.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;

using SimJournal = SimSession;

TEST_F(SimJournal, KeepsOneOrderOfEverythingThatReachesTheCamera)
{
    OpenCamera();
    sim::SetJournal(true);
    sim::ResetCounts();
    Integer("Width")->SetValue(640);
    sim::AddJournal("host", "KeepsItsPlace()");
    Float("Gain")->SetValue(1.9952623149688795);
    EXPECT_THROW(Integer("Width")->SetValue(1), GenICam::OutOfRangeException); // stays outside
    sim::SetFeatureText("S1", "Height", "128");                                // as do scripts
    Integer("Width")->GetMin();
    Enumeration("ExposureAuto")->ToString();
    Boolean("ReverseX")->SetValue(true);
    Boolean("ChunkEnable")->GetAccessMode();
    Enumeration("ChunkSelector")->GetEntryByName("Gain")->GetAccessMode();
    const std::uint32_t format = 0x01100005;
    GevSetFeatureValue(handle, "PixelFormat", 4, &format);
    sim::AddFault({.trigger = sim::Trigger::Write, .name = "Width"});
    EXPECT_THROW(Integer("Width")->SetValue(128), GenICam::RuntimeException);
    Initialize(2);
    GevStartTransfer(handle, kForEver);
    GevGetCameraInfo(handle);

    EXPECT_THAT(JournalLines(),
                ElementsAre("cam Width=640", "host KeepsItsPlace()", "cam Gain=1.9952623149688795",
                            "read Width.Min=16", "read ExposureAuto=Off", "cam ReverseX=true",
                            "mode ChunkEnable:RO", "mode ChunkSelector.Gain:RW",
                            "cam PixelFormat=Mono12", "gev GevSetFeatureValue(PixelFormat)=0",
                            "fault write Width", "gev GevGetPayloadParameters()=0",
                            "gev GevInitializeTransfer(1,163840,2)=0", "gev GevStartTransfer(-1)=0",
                            "gev GevGetCameraInfo()=ok"));
    const sim::Counts counts = sim::GetCounts(); // of what reached the camera
    EXPECT_EQ(counts.writes, 5U);
    EXPECT_EQ(counts.reads, 2U);
    EXPECT_EQ(counts.accesses, 7U);
    EXPECT_EQ(counts.calls, 5U);
    sim::ClearJournal();
    EXPECT_TRUE(sim::Journal().empty());
}

TEST_F(SimJournal, OffNothingIsAllocatedPerFrameAndCountsRunOn)
{
    setup.model = sim::Model::Color;
    setup.picture = sim::Picture::Pattern;
    setup.noise = 1;
    OpenCamera();
    Choose({{"BalanceWhiteAuto", "Periodic"}, {"balanceWhitePeriod", "Every1s"}});
    Choose({{"lutType", "GammaCorrection"}, {"lutMode", "Active"}});
    Choose({{"autoBrightnessMode", "Active"}, {"ExposureAuto", "Continuous"}});
    Choose({{"GainAuto", "Continuous"}});
    StartFor(4);
    const auto round = [&] {
        _tag_GEVBUF_ENTRY* frame = Next();
        Float("Gain")->GetValue();
        Float("ExposureTime")->SetValue(1234.5678901234);
        Enumeration("DeviceTemperatureSelector")->FromString("Internal");
        Enumeration("DeviceTemperatureSelector")->ToString();
        Float("DeviceTemperature")->GetValue();
        Integer("Width")->GetMax();
        Boolean("ReverseX")->SetValue(false);
        GevGetCameraInfo(handle);
        std::uint32_t format = 0;
        GevGetFeatureValue(handle, "PixelFormat", 4, &format);
        GevReleaseFrame(handle, frame);
    };
    sim::ResetCounts();
    round();
    EXPECT_EQ(sim::GetCounts().accesses, 8U);
    EXPECT_TRUE(sim::Journal().empty());
    if (!rig::CountsAllocations()) {
        GTEST_SKIP() << "sanitizers keep the allocator to themselves";
    }
    const std::uint64_t before = rig::Allocations();
    for (int i = 0; i < 100; ++i) {
        round();
    }
    EXPECT_EQ(rig::Allocations(), before);
}

} // namespace
