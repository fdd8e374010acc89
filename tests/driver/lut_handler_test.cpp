/** The look-up table of the host, or the dynamic one, on its way into the camera. */
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <numeric>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

namespace
{

class LutRig : public Rig
{
public:
    explicit LutRig(const sim::CameraSetup& setup = SmallCamera()) : Rig(setup)
    {
        Open();
        host.lutBitSize = 8;
        proc.dataBits = 8;
    }
    /** A table 0, 1, 2, ... of so many entries. */
    void Configure(std::size_t entries)
    {
        host.lut = std::vector<std::uint16_t>(entries);
        std::iota(host.lut.begin(), host.lut.end(), std::uint16_t{0});
    }
    int Apply(bool fromDynLut = false, bool whileGrabbing = false, bool* restart = nullptr)
    {
        Clear();
        return proc.ProcParametrizeCamManLUT(&Cam(), fromDynLut, whileGrabbing, restart);
    }
    static Texts Writes() { return FoldTables(Of({"cam"})); }
    static std::string Check()
    {
        const Texts logs = Logs("ProcParametrizeCamManLUT");
        return Story(Between(logs, "  check LUT", "exit"));
    }
};

} // namespace

TEST(ManLut, ColourTakesThreeChannels)
{
    LutRig rig(SmallCamera(sim::Model::Color));
    rig.proc.isYuv = true;
    rig.proc.dataBits = 12; // counts for monochrome formats only
    rig.Configure(256);
    EXPECT_EQ(rig.Apply(), 2);
    EXPECT_THAT(LutRig::Writes(),
                ElementsAre("cam lutType=UserDefined", "cam lutMode=Active", "cam LUTSelector=Red",
                            "cam LUT[256]=0..255", "cam LUTSelector=Green", "cam LUT[256]=0..255",
                            "cam LUTSelector=Blue", "cam LUT[256]=0..255"));
    LutRig mono;
    mono.proc.dataBits = 12;
    mono.Configure(256);
    EXPECT_EQ(mono.Apply(), -3);
    EXPECT_THAT(Rig::Of("cam"), IsEmpty());
    EXPECT_THAT(Rig::Of("log2"),
                ElementsAre(EndsWith("LUT is not supported for 12 bit pixel format")));
}

TEST(ManLut, TheSameArrayIsNotLookedAt)
{
    LutRig rig;
    rig.Configure(256);
    EXPECT_EQ(rig.Apply(), 2);
    rig.host.lut[0] = 77;
    EXPECT_EQ(rig.Apply(), 0);
    EXPECT_THAT(Rig::Of({"cam", "read"}), IsEmpty());
    EXPECT_THAT(Rig::Logs().back(), EndsWith("  LUT configuration is skipped: no data change is "
                                             "detected"));
    const std::vector<std::uint16_t> other(256, 5);
    rig.proc.lastLutData = other.data();
    EXPECT_EQ(rig.Apply(), 2);
    EXPECT_THAT(LutRig::Writes(), Contains("cam LUT[256]=77..255"));
    rig.proc.usrSignalPending = 1;
    rig.proc.lastLutData = nullptr;
    EXPECT_EQ(rig.Apply(), 0);
    EXPECT_THAT(Rig::Of({"cam", "read"}), IsEmpty());
    EXPECT_EQ(Rig::Logs().back(), "3 ProcParametrizeCamManLUT:   LUT configuration from file is "
                                  "skipped (dynamic mode is active)");
}

TEST(ManLut, WithoutATableTheGammaHandlerIsToldToSwitchOff)
{
    const std::vector<std::uint16_t> before(256);
    for (const bool active : {true, false}) {
        LutRig rig(Having({{"lutMode", active ? "Active" : "Off"}}));
        rig.proc.gammaValue = 2;
        EXPECT_EQ(rig.Apply(), 0) << "no array then, no array now";
        EXPECT_THAT(Rig::Of("read"), IsEmpty());
        rig.proc.lastLutData = before.data();
        EXPECT_EQ(rig.Apply(), active ? 1 : 0);
        EXPECT_EQ(rig.proc.gammaValue, active ? -1 : 2);
        EXPECT_EQ(rig.proc.lastLutData, nullptr);
        EXPECT_THAT(Rig::Of("cam"), IsEmpty());
        EXPECT_THAT(Rig::Logs().back(), EndsWith("  LUT is disabled due to configuration"));
        EXPECT_EQ(Count(Rig::Logs(), active ? "ena 1, entries 256" : "ena 0, entries 256"), 1U);
    }
    LutRig none(Lacking({"lutMode"}));
    none.Configure(256);
    EXPECT_EQ(none.Apply(), -1);
    EXPECT_EQ(Story(Rig::Of("log2")), R"(
kv_td_proc:ProcParametrizeCamManLUT: LUT is not supported for this device
)");
}

TEST(ManLut, TableHasEightBitsWhateverTheCameraSays)
{
    LutRig rig(Having({{"lutSize", "Bpp12"}}));
    rig.host.lutBitSize = 12;
    rig.Configure(4096);
    sim::Fault slow = AccessThrows(sim::Trigger::Write, "LUTValue");
    slow.effect = sim::Effect::Delay;
    slow.value = 1'234'000;
    sim::AddFault(slow);
    EXPECT_EQ(rig.Apply(), 2);
    EXPECT_THAT(LutRig::Writes(), Contains("cam LUT[256]=0..255"));
    EXPECT_EQ(LutRig::Check(), R"(
3 ProcParametrizeCamManLUT:   check LUT: val[10] = 10, val[4095] = 4095, devBitSize = 8, arrBitSize = 12, nValsDev = 256, nValsArr = 4096
3 ProcParametrizeCamManLUT:   check devLut boundary: val[ 255] = 255
3 ProcParametrizeCamManLUT: LUT handler exit (nValuesDev = 256, nCfgVals = 256, time = 1234us)
)");
    EXPECT_EQ(rig.proc.lastLutData, rig.host.lut.data());
    // A width that stays unknown, or a mode that can't be set, is told of and passed over.
    LutRig lacking(Lacking({"lutSize"}));
    lacking.Configure(256);
    EXPECT_EQ(lacking.Apply(), 2);
    EXPECT_THAT(Rig::Of("log2"), ElementsAre("kv_td_proc:ProcParametrizeCamManLUT: can't enable "
                                             "LUT: rc = 0 (devLutBitSiz = 0)"));
    EXPECT_THAT(LutRig::Writes(), Contains("cam LUT[256]=0..255"));
}

TEST(ManLut, ShortTableWritesZeros)
{
    struct Case {
        std::size_t entries;
        const char* elements;
    };
    for (const Case& c :
         {Case{255, "val[10] = 10, val[254] = 254"}, Case{10, "val[10] = 0, val[9] = 9"},
          Case{0, "val[10] = 0, val[4294967295] = 0"}}) {
        LutRig rig;
        rig.Configure(c.entries);
        rig.host.lut.reserve(1); // an array, even when it is empty
        EXPECT_EQ(rig.Apply(), 2);
        EXPECT_THAT(LutRig::Writes(), Contains("cam LUT[256]=0..0"));
        EXPECT_THAT(LutRig::Check(), HasSubstr(c.elements));
        EXPECT_THAT(LutRig::Check(), HasSubstr("nCfgVals = 0,"));
        EXPECT_THAT(LutRig::Check(), Not(HasSubstr("devLut boundary")));
        EXPECT_EQ(rig.proc.lastLutData, nullptr) << "so it is written again next time";
    }
}

TEST(ManLut, DynamicTableLeavesTheConfiguredOneAlone)
{
    struct Case {
        std::uint32_t count;
        std::int32_t state;
        const char* table;
        bool converted;
    };
    std::vector<std::uint16_t> dynamic(4096);
    std::iota(dynamic.begin(), dynamic.end(), std::uint16_t{0});
    for (const Case& c :
         {Case{4096, 6, "0..255", true}, Case{4096, 0, "0..8", true}, Case{4095, 7, "0..8", true},
          Case{128, 0, "0..8", true}, Case{127, 0, "0..0", false}, Case{0, 6, "0..0", false}}) {
        SCOPED_TRACE(c.count);
        LutRig rig;
        rig.host.lutBitSize = 10;
        rig.Configure(300);
        std::vector<std::uint16_t> exact(dynamic.begin(), dynamic.begin() + c.count);
        exact.reserve(1);
        rig.proc.dynLut = exact.data(); // nothing behind its end may be read
        rig.proc.dynLutCount = c.count;
        rig.proc.reconfigState = c.state;
        rig.proc.usrSignalPending = 1;
        rig.proc.lastLutData = rig.host.lut.data();
        EXPECT_EQ(rig.Apply(true), 2);
        EXPECT_THAT(LutRig::Writes(), Contains(std::string("cam LUT[256]=") + c.table));
        EXPECT_THAT(LutRig::Check(),
                    HasSubstr(" val[299] = " + std::to_string(c.count > 299 ? 299 : 0) +
                              ", devBitSize = 8, arrBitSize = 10, nValsDev = "
                              "256, nValsArr = 300\n"));
        EXPECT_THAT(LutRig::Check(), HasSubstr(c.converted ? "nCfgVals = 256," : "nCfgVals = 0,"));
        EXPECT_THAT(LutRig::Check(), Not(HasSubstr("devLut boundary")));
        EXPECT_EQ(rig.proc.lastLutData, rig.host.lut.data());
    }
}

TEST(ManLut, FirstRefusedWriteEndsIt)
{
    for (const char* feature : {"LUTValue", "LUTSelector"}) {
        LutRig rig(Lacking({feature}, sim::Model::Color));
        rig.proc.isYuv = true;
        rig.Configure(256);
        rig.StartTransfer();
        EXPECT_EQ(rig.Apply(false, true), -2);
        EXPECT_LE(Rig::Of("cam").size(), 3U);
        EXPECT_EQ(Count(Rig::Of("gev"), "GevStartTransfer(-1)"), 1U) << "though it failed";
        EXPECT_THAT(Rig::Logs().back(), HasSubstr("nCfgVals = 256,"));
        EXPECT_EQ(rig.Apply(), 0) << "it counts as written";
    }
    LutRig rig;
    rig.Configure(256);
    sim::AddFault(AccessThrows(sim::Trigger::Write, "LUTIndex"));
    rig.StartTransfer();
    EXPECT_THROW(rig.Apply(false, true), GenICam::RuntimeException);
    EXPECT_EQ(Count(Rig::Of("gev"), "GevStartTransfer"), 0U) << "that is the loop's affair";
}
