#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::IsEmpty;

struct ChunkCase {
    const char* name;
    sim::CameraSetup setup;
    std::uint32_t endMask; ///< at the restore; 0: what was switched on
};

TEST(Chunks, AreSwitchedOnAndOff)
{
    sim::CameraSetup lacking = SmallCamera();
    lacking.missingEntries = {"ChunkSelector.Gain"};
    lacking.notImplementedEntries = {"ChunkSelector.Timestamp"};
    sim::CameraSetup fixed = SmallCamera();
    fixed.readOnly = {"ChunkEnable"};
    Texts story;
    // The monochrome model spells the counter as it is switched on, so it is never switched off;
    // the colour model spells it as it is switched off, so it is never switched on.
    for (const ChunkCase& c :
         {ChunkCase{"monochrome", SmallCamera(), 0},
          {"colour", SmallCamera(sim::Model::Color), 0},
          {"colour, restored with the counter", SmallCamera(sim::Model::Color), 8},
          {"two entries are not there", lacking, 0},
          {"a switch that is read-only", fixed, 0}}) {
        Rig rig(c.setup);
        CExCam& cam = rig.Open();
        rig.proc.chunkMask = 99;
        rig.proc.ProcSetCamConfigChunks(&cam);
        Append(story, std::string(c.name) + ": " + std::to_string(rig.proc.chunkMask),
               Rig::Of({"cam", "log"}));
        Rig::Clear();
        rig.proc.chunkMask = c.endMask == 0 ? rig.proc.chunkMask : c.endMask;
        rig.proc.ProcSetCamConfigEnd(&cam);
        EXPECT_EQ(rig.proc.chunkMask, 0U);
        Append(story, "the end", Rig::Of({"cam", "log"}));
    }
    EXPECT_TRUE(IsStory("chunks", story));
}

TEST(Chunks, MissingNodeRaisesBeforeAnythingIsChanged)
{
    const auto thrown = [](const auto& step) -> std::string {
        try {
            step();
        } catch (const GenICam::LogicalErrorException& e) {
            return e.GetDescription();
        }
        return "nothing";
    };
    for (const char* node : {"ChunkModeActive", "ChunkEnable", "ChunkSelector"}) {
        Rig rig(Lacking({node}));
        CExCam& cam = rig.Open();
        rig.proc.chunkMask = 5;
        EXPECT_EQ(thrown([&] { rig.proc.ProcSetCamConfigChunks(&cam); }),
                  "NULL pointer dereferenced");
        EXPECT_EQ(rig.proc.chunkMask, 5U);
        EXPECT_THAT(Rig::Of({"cam", "log"}), IsEmpty());
        EXPECT_EQ(thrown([&] { rig.proc.ProcSetCamConfigEnd(&cam); }), "NULL pointer dereferenced");
        EXPECT_EQ(rig.proc.chunkMask, 5U);
        EXPECT_EQ(Rig::Logs(),
                  Texts{"3 ProcSetCamConfigEnd: Restore some changed camera values (5)"});
        EXPECT_THAT(Rig::Of("cam"), IsEmpty());
    }
}

TEST(FrameChunks, ValuesArePublishedInOrder)
{
    // The last camera lacks both features: what was read before is published once more.
    struct Case {
        std::uint64_t ticks;
        std::uint32_t frequency;
        std::vector<std::string> missing;
        std::uint64_t us;
        std::int32_t exposureUs;
    };
    Texts story;
    for (const Case& c : {Case{125'000'000, 125'000'000, {}, 1'000'000, 1234},
                          {1999, 1'000'000'000, {}, 1, 1234},
                          {0xC000000000000000, 1'000'000, {}, 0xC000000000000000, 1234},
                          {0, 1, {"Gain", "ExposureTime"}, 0, 77}}) {
        sim::CameraSetup setup = Having({{"ExposureTime", "1234.75"}, {"Gain", "2"}});
        setup.missing = c.missing;
        if (!c.missing.empty()) {
            setup.values.clear();
        }
        Rig rig(setup);
        rig.Open();
        rig.proc.gainCur = 3.5F;
        rig.proc.exposureCur = 77.9F;
        rig.proc.tickFrequency = c.frequency;
        _tag_GEVBUF_ENTRY frame{};
        frame.timestamp = c.ticks;
        EXPECT_EQ(rig.proc.ProcFrameChunks(&rig.Cam(), &frame), c.us);
        EXPECT_EQ(rig.proc.exposureUs, c.exposureUs);
        EXPECT_EQ(rig.proc.exposureCurInt, c.exposureUs);
        Append(story, std::to_string(c.us) + " us", Rig::Of({"cam", "read", "host"}));
    }
    EXPECT_TRUE(IsStory("frame_chunks", story));
}
