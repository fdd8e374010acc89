#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(Chunks, AllFourAreSwitchedOnAndThreeOff)
{
    Rig rig;
    CExCam& cam = rig.Open();
    rig.proc.ProcSetCamConfigChunks(&cam);
    EXPECT_EQ(rig.proc.chunkMask, 15U);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
cam ChunkModeActive=true
cam ChunkSelector=Gain
cam ChunkEnable=true
log3 kv_td_proc:ProcSetCamConfigChunks:   Enabled gain chunks sending
cam ChunkSelector=ExposureTime
cam ChunkEnable=true
log3 kv_td_proc:ProcSetCamConfigChunks:   Enabled exposure time chunks sending
cam ChunkSelector=Timestamp
cam ChunkEnable=true
log3 kv_td_proc:ProcSetCamConfigChunks:   Enabled timestamp chunks sending
cam ChunkSelector=counter1ValueAtReset
cam ChunkEnable=true
log3 kv_td_proc:ProcSetCamConfigChunks:   Enabled counter value chunks sending
log3 kv_td_proc:ProcSetCamConfigChunks: Chunks enabling is finished (0x0000000F)
)");
    Rig::Clear();
    rig.proc.ProcSetCamConfigEnd(&cam);
    EXPECT_EQ(rig.proc.chunkMask, 0U);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
log3 kv_td_proc:ProcSetCamConfigEnd: Restore some changed camera values (15)
cam ChunkSelector=Gain
cam ChunkEnable=false
log3 kv_td_proc:ProcSetCamConfigEnd:   Disabled gain chunks sending
cam ChunkSelector=ExposureTime
cam ChunkEnable=false
log3 kv_td_proc:ProcSetCamConfigEnd:   Disabled exposure time chunks sending
cam ChunkSelector=Timestamp
cam ChunkEnable=false
log3 kv_td_proc:ProcSetCamConfigEnd:   Disabled timestamp chunks sending
cam ChunkModeActive=false
log3 kv_td_proc:ProcSetCamConfigEnd: Camera config restore is done
)");
}

TEST(Chunks, CounterIsSpeltInTwoWays)
{
    // The monochrome model spells the counter as it is switched on, so it is never switched off;
    // the colour model spells it as it is switched off, so it is never switched on.
    {
        Rig rig;
        CExCam& cam = rig.Open();
        rig.proc.ProcSetCamConfigChunks(&cam);
        rig.proc.ProcSetCamConfigEnd(&cam);
        sim::SetFeatureText("S0000001", "ChunkSelector", "counter1ValueAtReset");
        EXPECT_EQ(sim::FeatureText("S0000001", "ChunkEnable"), "true");
    }
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    rig.proc.ProcSetCamConfigChunks(&cam);
    EXPECT_EQ(rig.proc.chunkMask, 7U);
    EXPECT_EQ(Count(Rig::Of("cam"), "ounter1ValueAtReset"), 0U);
    Rig::Clear();
    rig.proc.chunkMask = 8;
    rig.proc.ProcSetCamConfigEnd(&cam);
    EXPECT_EQ(Story(Rig::Of("cam")), R"(
ChunkSelector=Counter1ValueAtReset
ChunkEnable=false
ChunkModeActive=false
)");
    EXPECT_EQ(Rig::Logs()[1], "3 ProcSetCamConfigEnd:   Disabled counter value chunks sending");
}

TEST(Chunks, EntriesThatTheCameraLacksAreLeftOutWithTheirSwitch)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missingEntries = {"ChunkSelector.Gain"};
    setup.notImplementedEntries = {"ChunkSelector.Timestamp"};
    Rig rig(setup);
    rig.proc.ProcSetCamConfigChunks(&rig.Open());
    EXPECT_EQ(rig.proc.chunkMask, 2U | 8U);
    EXPECT_EQ(Story(Rig::Of("cam")), R"(
ChunkModeActive=true
ChunkSelector=ExposureTime
ChunkEnable=true
ChunkSelector=counter1ValueAtReset
ChunkEnable=true
)");
}

TEST(Chunks, ReadOnlySwitchEnablesNothing)
{
    sim::CameraSetup setup = SmallCamera();
    setup.readOnly = {"ChunkEnable"};
    Rig rig(setup);
    rig.proc.chunkMask = 99;
    rig.proc.ProcSetCamConfigChunks(&rig.Open());
    EXPECT_EQ(rig.proc.chunkMask, 0U);
    EXPECT_EQ(Story(Rig::Of({"cam", "log"})), R"(
cam ChunkModeActive=true
cam ChunkSelector=Gain
cam ChunkSelector=ExposureTime
cam ChunkSelector=Timestamp
cam ChunkSelector=counter1ValueAtReset
log3 kv_td_proc:ProcSetCamConfigChunks: Chunks enabling is finished (0x00000000)
)");
    Rig::Clear();
    rig.proc.ProcSetCamConfigEnd(&rig.Cam());
    EXPECT_THAT(Rig::Of({"cam", "log"}),
                ElementsAre("log3 kv_td_proc:ProcSetCamConfigEnd: Restore some changed camera "
                            "values (0)",
                            "log3 kv_td_proc:ProcSetCamConfigEnd: Camera config restore is done"));
}

class ChunkNode : public testing::TestWithParam<const char*>
{
public:
    static sim::CameraSetup Lacking(const char* node)
    {
        sim::CameraSetup setup = SmallCamera();
        setup.missing = {node};
        return setup;
    }
    static std::string Thrown(const std::function<void()>& steps)
    {
        try {
            steps();
        } catch (const GenICam::LogicalErrorException& e) {
            return e.GetDescription();
        }
        return "nothing";
    }
};

TEST_P(ChunkNode, MissingRaisesBeforeAnythingIsChanged)
{
    Rig rig(Lacking(GetParam()));
    CExCam& cam = rig.Open();
    rig.proc.chunkMask = 5;
    EXPECT_EQ(Thrown([&] { rig.proc.ProcSetCamConfigChunks(&cam); }), "NULL pointer dereferenced");
    EXPECT_EQ(rig.proc.chunkMask, 5U);
    EXPECT_THAT(Rig::Of({"cam", "log"}), IsEmpty());
    EXPECT_EQ(Thrown([&] { rig.proc.ProcSetCamConfigEnd(&cam); }), "NULL pointer dereferenced");
    EXPECT_EQ(rig.proc.chunkMask, 5U);
    EXPECT_THAT(Rig::Of({"cam", "log"}),
                ElementsAre("log3 kv_td_proc:ProcSetCamConfigEnd: Restore some changed camera "
                            "values (5)"));
}

INSTANTIATE_TEST_SUITE_P(Nodes, ChunkNode,
                         testing::Values("ChunkModeActive", "ChunkEnable", "ChunkSelector"));

TEST(FrameChunks, ValuesArePublishedInOrder)
{
    Rig rig;
    CExCam& cam = rig.Open();
    sim::SetFeatureText("S0000001", "ExposureTime", "1234.75");
    sim::SetFeatureText("S0000001", "Gain", "2");
    rig.proc.tickFrequency = 125'000'000;
    _tag_GEVBUF_ENTRY frame{};
    frame.timestamp = 125'000'000;
    EXPECT_EQ(rig.proc.ProcFrameChunks(&cam, &frame), 1'000'000U);
    EXPECT_EQ(Story(Rig::Of({"cam", "read", "host"})), R"(
cam GainSelector=SensorAll
read Gain=2
host KvSc__SetParamVal(6, 6.02)
read ExposureTime=1234.75
host KvSc__SetParamVal(7, 1234.75)
host KvSc__SetParamVal(9, 125000000)
host KvSc__SetParamVal(10, 0)
)");
    EXPECT_EQ(rig.proc.exposureCurInt, 1234);
    EXPECT_EQ(rig.proc.exposureUs, 1234);

    rig.proc.tickFrequency = 1'000'000'000;
    frame.timestamp = 1999;
    EXPECT_EQ(rig.proc.ProcFrameChunks(&cam, &frame), 1U);
    EXPECT_EQ(Rig::Of("host").back(), "KvSc__SetParamVal(10, 1)");
    rig.proc.tickFrequency = 1'000'000;
    frame.timestamp = 0xC000000000000000;
    EXPECT_EQ(rig.proc.ProcFrameChunks(&cam, &frame), 0xC000000000000000U) << "not saturated";
}

TEST(FrameChunks, FailedReadPublishesTheValueBefore)
{
    sim::CameraSetup setup = SmallCamera();
    setup.missing = {"Gain", "ExposureTime"};
    Rig rig(setup);
    rig.Open();
    rig.proc.gainCur = 3.5F;
    rig.proc.exposureCur = 77.9F;
    rig.proc.tickFrequency = 1;
    const _tag_GEVBUF_ENTRY frame{};
    rig.proc.ProcFrameChunks(&rig.Cam(), &frame);
    EXPECT_EQ(Story(Rig::Of("host")), R"(
KvSc__SetParamVal(6, 3.50)
KvSc__SetParamVal(7, 77.90)
KvSc__SetParamVal(9, 0)
KvSc__SetParamVal(10, 0)
)");
    EXPECT_EQ(rig.proc.exposureUs, 77);
}
