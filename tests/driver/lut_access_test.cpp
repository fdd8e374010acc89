/** The camera's look-up table and gamma, operation by operation. */
#include "exception_cases.h"
#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace KvTd;
using namespace rig;
using sim::NodeKind;
using sim::Trigger;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

/** Table and gamma in this state at power-up. */
sim::CameraSetup Tone(const char* mode, const char* type)
{
    return Having({{"lutMode", mode}, {"lutType", type}});
}

sim::CameraSetup Mistyped(sim::CameraSetup setup, const char* feature, NodeKind kind)
{
    setup.mistyped = {{feature, kind}};
    return setup;
}

std::string ToneNow()
{
    return Rig::Feature("lutMode") + " " + Rig::Feature("lutType");
}

} // namespace

TEST(LutMode, FollowsFromModeAndType)
{
    // A feature mistyped as an enumeration has the entries "Off" and "On" only.
    struct Case {
        sim::CameraSetup setup;
        td_lg_states state;
        const char* shown; ///< null: not even read
    };
    for (const Case& c : {
             Case{Tone("Off", "UserDefined"), LG_OFF, R"("Off"; Lut type "UserDefined")"},
             Case{Tone("Off", "GammaCorrection"), LG_OFF, R"("Off"; Lut type "GammaCorrection")"},
             Case{Tone("Active", "UserDefined"), LG_USER_LUT,
                  R"("Active"; Lut type "UserDefined")"},
             Case{Tone("Active", "GammaCorrection"), LG_GAMMA,
                  R"("Active"; Lut type "GammaCorrection")"},
             Case{Mistyped(Tone("Active", ""), "lutType", NodeKind::Enumeration), LG_OTHER,
                  R"("Active"; Lut type "Off")"},
             Case{Lacking({"lutMode"}), LG_NONE, nullptr},
             Case{Lacking({"lutType"}), LG_NONE, nullptr},
             Case{Mistyped(SmallCamera(), "lutMode", NodeKind::Integer), LG_NONE, nullptr},
             Case{Mistyped(SmallCamera(), "lutType", NodeKind::Float), LG_NONE, nullptr},
         }) {
        Rig rig(c.setup);
        EXPECT_EQ(rig.Open().ExPropertyGetLUTMode(), c.state);
        EXPECT_EQ(Rig::Logs(), c.shown == nullptr ? Texts()
                                                  : Texts{"3 ExPropertyGetLUTMode: ### get Lut "
                                                          "mode " +
                                                          std::string(c.shown) + " ###"});
        if (c.state == LG_NONE) {
            EXPECT_EQ(rig.Cam().ExPropertySetLUTMode(LG_OFF, nullptr), -2);
            EXPECT_THAT(Rig::Of({"log", "cam"}), IsEmpty());
        }
    }
    Rig rig(Mistyped(SmallCamera(), "lutMode", NodeKind::Enumeration));
    rig.Open();
    Rig::SetFeature("lutMode", "On");
    EXPECT_EQ(rig.Cam().ExPropertyGetLUTMode(), LG_OTHER);
}

TEST(LutMode, IsWrittenTypeFirst)
{
    Rig rig(Having({{"lutSize", "Bpp12"}}));
    CExCam& cam = rig.Open();
    unsigned short bits = 77;
    for (const td_lg_states state : {LG_GAMMA, LG_NONE, LG_USER_LUT, LG_OTHER, LG_OFF}) {
        EXPECT_EQ(cam.ExPropertySetLUTMode(state, &bits), 0);
        EXPECT_EQ(bits, state == LG_GAMMA || state == LG_NONE ? 77 : 12) << "for user tables only";
    }
    EXPECT_EQ(Story(Rig::Of({"log", "cam"})), R"(
cam lutType=GammaCorrection
cam lutMode=Active
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Active"; Lut type to "GammaCorrection" (status 0) ###
cam lutMode=Off
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Off"; Lut type to "" (status 0) ###
cam lutType=UserDefined
log3 kv_td_excam:ExPropertySetLUTMode: Have current LUT size: Bpp12
cam lutMode=Active
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Active"; Lut type to "UserDefined" (status 0) ###
cam lutMode=Off
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Off"; Lut type to "" (status 0) ###
cam lutMode=Off
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Off"; Lut type to "" (status 0) ###
)");
}

TEST(LutMode, WidthIsThatOfTheCamera)
{
    struct Case {
        sim::CameraSetup setup;
        int bits;
    };
    for (const Case& c :
         {Case{Having({{"lutSize", "Bpp8"}}), 8}, Case{Having({{"lutSize", "Bpp10"}}), 10},
          Case{Mistyped(SmallCamera(), "lutSize", NodeKind::Enumeration), 8}, // "Off"
          Case{Mistyped(SmallCamera(), "lutSize", NodeKind::Integer), 77},
          Case{Lacking({"lutSize"}), 77}}) {
        Rig rig(c.setup);
        unsigned short bits = 77;
        EXPECT_EQ(rig.Open().ExPropertySetLUTMode(LG_USER_LUT, &bits), 0);
        EXPECT_EQ(bits, c.bits);
        EXPECT_EQ(Count(Rig::Logs(), "Have current LUT size: "), c.bits == 77 ? 0U : 1U);
        EXPECT_EQ(rig.Cam().ExPropertySetLUTMode(LG_USER_LUT, nullptr), 0);
        EXPECT_EQ(Count(Rig::Of("read"), "lutSize"), c.bits == 77 ? 0U : 1U) << "for nobody";
    }
}

TEST(LutMode, FailureIsOnlyLogged)
{
    struct Step {
        Trigger trigger;
        const char* feature;
        const char* after;
        int bits;
    };
    for (const ExceptionCase& c : kExceptionCases) {
        for (const Step& step : {Step{Trigger::Write, "lutType", "Off GammaCorrection", 77},
                                 Step{Trigger::Read, "lutSize", "Off UserDefined", 77},
                                 Step{Trigger::Write, "lutMode", "Off UserDefined", 8}}) {
            SCOPED_TRACE(std::string(c.name) + " at " + step.feature);
            Rig rig(Tone("Off", "GammaCorrection"));
            CExCam& cam = rig.Open();
            sim::AddFault(AccessThrows(step.trigger, step.feature, c.kind));
            unsigned short bits = 77;
            EXPECT_EQ(cam.ExPropertySetLUTMode(LG_USER_LUT, &bits), 0);
            EXPECT_EQ(bits, step.bits);
            EXPECT_EQ(ToneNow(), step.after);
            Texts logs = Rig::Logs();
            std::erase_if(logs, [](const auto& l) { return l.find("Have") != std::string::npos; });
            EXPECT_THAT(logs,
                        ElementsAre("1 ExPropertySetLUTMode: " + c.Line("set LUT mode"),
                                    R"(3 ExPropertySetLUTMode: ### set Lut mode to "Active"; Lut )"
                                    R"(type to "UserDefined" (status )" +
                                        std::to_string(c.status) + ") ###"));
        }
    }
}

TEST(LutValue, EntriesGoToTheChannelSilently)
{
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertySetLUTChannel(1, 2), 0);
    EXPECT_EQ(cam.ExPropertySetLUTValue(255, 200), 0);
    EXPECT_EQ(cam.ExPropertySetLUTChannel(0, 3), 0);
    EXPECT_EQ(cam.ExPropertySetLUTChannel(5, 3), 0);
    EXPECT_EQ(cam.ExPropertySetLUTChannel(-1, 3), 0);
    EXPECT_THAT(Rig::Of({"cam", "log"}),
                ElementsAre("cam LUTSelector=Green", "cam LUTIndex=255", "cam LUTValue=200",
                            "cam LUTSelector=Red", "cam LUTSelector=Blue", "cam LUTSelector=Blue"));
    Rig::Clear();
    EXPECT_THROW(cam.ExPropertySetLUTValue(-1, 0), GenICam::OutOfRangeException) << "signed";
    EXPECT_THROW(cam.ExPropertySetLUTValue(0, -1), GenICam::OutOfRangeException);
    EXPECT_THAT(Rig::Of({"cam", "log"}), ElementsAre("cam LUTIndex=0"));
}

TEST(LutValue, NeedsBothFeatures)
{
    for (const char* feature : {"LUTIndex", "LUTValue"}) {
        for (const auto& setup :
             {Lacking({feature}), Mistyped(SmallCamera(), feature, NodeKind::Enumeration)}) {
            Rig rig(setup);
            EXPECT_EQ(rig.Open().ExPropertySetLUTValue(1, 1), -2);
            EXPECT_THAT(Rig::Of({"cam", "log"}), IsEmpty());
        }
    }
}

TEST(LutChannel, OneChannelNeedsNoSelector)
{
    Rig rig(Lacking({"LUTSelector"}));
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExPropertySetLUTChannel(0, 2), -2);
    EXPECT_THAT(Rig::Logs(), ElementsAre("2 ExPropertySetLUTChannel: can't get LUTSelector "
                                         "parameter"));
    cam.nodeMap = nullptr;
    Rig::Clear();
    EXPECT_EQ(cam.ExPropertySetLUTChannel(2, 1), 0);
    EXPECT_EQ(cam.ExPropertySetLUTChannel(0, -1), 0);
    EXPECT_THAT(Rig::Of({"cam", "log"}), IsEmpty());
}

TEST(GammaRange, IsReadOnceWithTheTypeBorrowed)
{
    Rig rig;
    CExCam& cam = rig.Open();
    float max = 0;
    EXPECT_EQ(cam.ExPropertyGetGammaRange(nullptr, &max), 0);
    EXPECT_EQ(max, 4);
    EXPECT_EQ(Story(Rig::Of({"log", "cam", "read"})), R"(
read lutMode=Off
read lutType=UserDefined
log3 kv_td_excam:ExPropertyGetLUTMode: ### get Lut mode "Off"; Lut type "UserDefined" ###
read lutType=UserDefined
cam lutType=GammaCorrection
log3 kv_td_excam:ExPropertyGetGammaRange: ### Gamma feature is disabled ###
read gammaCorrection.Min=0.1
read gammaCorrection.Max=4
log3 kv_td_excam:ExPropertyGetGammaRange: ### Gamma range: min=0.100000 max=4.000000 ###
cam lutType=UserDefined
log4 kv_td_excam:ExPropertyGetGammaRange: Get Gamma range is exited with status 0
)");
    Rig::Clear();
    cam.nodeMap = nullptr;
    float min = 0;
    EXPECT_EQ(cam.ExPropertyGetGammaRange(&min, nullptr), 0);
    EXPECT_EQ(min, 0.1F);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
    // The type is right already: in force, or waiting while the mode is off.
    for (const char* mode : {"Active", "Off"}) {
        Rig right(Tone(mode, "GammaCorrection"));
        EXPECT_EQ(right.Open().ExPropertyGetGammaRange(nullptr, nullptr), 0);
        EXPECT_THAT(Rig::Of("cam"), IsEmpty());
        EXPECT_EQ(Count(Rig::Logs(), "disabled"), 0U);
    }
}

TEST(GammaRange, WithoutControl)
{
    Rig rig(Lacking({"lutType"}));
    EXPECT_EQ(rig.Open().ExPropertyGetGammaRange(nullptr, nullptr), 1);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
    rig.Cam().nodeMap = nullptr;
    EXPECT_EQ(rig.Cam().ExPropertyGetGammaRange(nullptr, nullptr), 1);
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("2 ExPropertyGetLUTMode: can't get dev params to get LutGamma mode"));

    Rig none(Lacking({"gammaCorrection"}));
    EXPECT_EQ(none.Open().ExPropertyGetGammaRange(nullptr, nullptr), -2);
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("lutType=GammaCorrection", "lutType=UserDefined"));
    EXPECT_THAT(Rig::Of("log4"), ElementsAre("kv_td_excam:ExPropertyGetGammaRange: Get Gamma range "
                                             "is exited with status 0"));
}

TEST(GammaRange, OnlyAPropertyExceptionRestoresTheType)
{
    struct Step {
        Trigger trigger;
        const char* feature;
        std::uint64_t nth;
        bool switched;
    };
    for (const ExceptionCase& c : kExceptionCases) {
        for (const Step& step :
             {Step{Trigger::Read, "lutType", 2, false}, Step{Trigger::Write, "lutType", 1, false},
              Step{Trigger::Read, "gammaCorrection", 1, true},
              Step{Trigger::Read, "gammaCorrection", 2, true},
              Step{Trigger::Write, "lutType", 2, true}}) {
            SCOPED_TRACE(std::string(c.name) + " at " + step.feature + std::to_string(step.nth));
            Rig rig;
            CExCam& cam = rig.Open();
            sim::AddFault(AccessThrows(step.trigger, step.feature, c.kind, step.nth));
            const int result = cam.ExPropertyGetGammaRange(nullptr, nullptr);
            const bool restores = c.kind == Kind::Property;
            EXPECT_EQ(result, restores ? -1 : c.status);
            EXPECT_EQ(ToneNow(),
                      step.switched && !restores ? "Off GammaCorrection" : "Off UserDefined");
            EXPECT_THAT(Rig::Of("log1"), ElementsAre("kv_td_excam:ExPropertyGetGammaRange: " +
                                                     c.Line("get Gamma range")));
            EXPECT_EQ(Rig::Logs().back(),
                      "4 ExPropertyGetGammaRange: Get Gamma range is exited with status " +
                          std::to_string(c.status));
            const bool read = step.trigger == Trigger::Write && step.nth == 2;
            EXPECT_EQ(cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached, read);
        }
    }
}

TEST(Gamma, IsReadWhereItAppliesOrNothingElseDoes)
{
    float value = 77;
    for (td_lg_states state : {LG_OFF, LG_USER_LUT, LG_OTHER}) {
        Rig rig(Tone("Active", "GammaCorrection"));
        EXPECT_EQ(rig.Open().ExPropertyGetGamma(&value, &state), 0);
        EXPECT_EQ(value, 77);
        EXPECT_THAT(Rig::Of({"log", "read"}),
                    ElementsAre("log3 kv_td_excam:ExPropertyGetGamma: ### Gamma feature is "
                                "disabled (" +
                                std::to_string(state) + ") ###"));
    }
    sim::CameraSetup setup = Tone("Active", "GammaCorrection");
    setup.values.emplace_back("gammaCorrection", "2.5");
    Rig rig(setup);
    EXPECT_EQ(rig.Open().ExPropertyGetGamma(&value, nullptr), 0);
    EXPECT_EQ(value, 2.5F);
    EXPECT_TRUE(rig.Cam().propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached);
    td_lg_states none = LG_NONE;
    Rig::Clear();
    EXPECT_EQ(rig.Cam().ExPropertyGetGamma(nullptr, &none), 0);
    EXPECT_THAT(Rig::Of({"log", "read"}),
                ElementsAre("read gammaCorrection=2.5",
                            "log3 kv_td_excam:ExPropertyGetGamma: ### get Gamma value: 2.500000 "
                            "###"));
    // A range that can't be read is told of, and the value read all the same.
    Rig failing(setup);
    failing.Open();
    sim::AddFault(AccessThrows(Trigger::Read, "gammaCorrection", Kind::Property));
    value = 0;
    EXPECT_EQ(failing.Cam().ExPropertyGetGamma(&value, nullptr), 0);
    EXPECT_EQ(value, 2.5F);
    EXPECT_THAT(Rig::Logs("ExPropertyGetGamma"),
                ElementsAre("2 ExPropertyGetGamma: Can't get Gamma range",
                            "3 ExPropertyGetGamma: ### get Gamma value: 2.500000 ###"));
}

TEST(Gamma, SetLeavesTheCallersState)
{
    Rig rig;
    CExCam& cam = rig.Open();
    td_lg_states state = LG_OFF;
    EXPECT_EQ(cam.ExPropertySetGamma(2.5F, &state), 0);
    EXPECT_EQ(state, LG_OFF);
    EXPECT_EQ(ToneNow(), "Active GammaCorrection");
    EXPECT_EQ(Story(Rig::Of({"log", "cam", "read"})), R"(
log3 kv_td_excam:ExPropertySetGamma: ### Gamma feature is disabled ###
cam lutType=GammaCorrection
cam lutMode=Active
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Active"; Lut type to "GammaCorrection" (status 0) ###
cam gammaCorrection=2.5
log3 kv_td_excam:ExPropertySetGamma: ### set Gamma value: 2.500000 ###
)") << "and reads no range";
    Rig enabling; // fails to: only the log tells, and the value is written
    enabling.Open();
    sim::AddFault(AccessThrows(Trigger::Write, "lutMode"));
    EXPECT_EQ(enabling.Cam().ExPropertySetGamma(3, nullptr), 0);
    EXPECT_EQ(Rig::Feature("gammaCorrection"), "3");
    EXPECT_THROW(enabling.Cam().ExPropertySetGamma(4.01F, &state), GenICam::OutOfRangeException);
}

TEST(Gamma, MayBeSixHundredthsOutsideInDoublePrecision)
{
    Rig rig(Tone("Active", "GammaCorrection"));
    CExCam& cam = rig.Open();
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatMin = 1; // narrower than the camera's
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatMax = 2;
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached = true;
    for (const auto& [value, rc] :
         {std::pair(2.06F, 0), std::pair(std::nextafter(2.06F, 3.0F), -6), std::pair(0.94F, -6),
          std::pair(std::nextafter(0.94F, 1.0F), 0), std::pair(std::nanf(""), -6)}) {
        EXPECT_EQ(cam.ExPropertySetGamma(value, nullptr), rc) << value;
    }
    EXPECT_THAT(Rig::Of("cam"), ElementsAre("gammaCorrection=2.059999942779541",
                                            "gammaCorrection=0.940000057220459"));
    EXPECT_THAT(
        Rig::Of("log2"),
        ElementsAre("kv_td_excam:ExPropertySetGamma: Asked Gamma value 2.060000 is out of bounds "
                    "[1.000000..2.000000]",
                    "kv_td_excam:ExPropertySetGamma: Asked Gamma value 0.940000 is out of bounds "
                    "[1.000000..2.000000]",
                    testing::_));
    Rig camera(Tone("Active", "GammaCorrection"));
    EXPECT_THROW(camera.Open().ExPropertySetGamma(4.05F, nullptr), GenICam::OutOfRangeException)
        << "passed on as it is";
}

TEST(Gamma, ResultsOfRefusals)
{
    sim::CameraSetup setup = Lacking({"gammaCorrection"});
    setup.values = {{"lutMode", "Active"}, {"lutType", "GammaCorrection"}};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    td_lg_states none = LG_NONE;
    td_lg_states off = LG_OFF;
    EXPECT_EQ(cam.ExPropertySetGamma(1, &none), -1);
    EXPECT_EQ(cam.ExPropertyGetGamma(nullptr, &none), -2);
    EXPECT_EQ(cam.ExPropertySetGamma(1, nullptr), -5);
    EXPECT_EQ(cam.ExPropertySetGamma(1, &off), -2);
    EXPECT_THAT(Rig::Of("log2"),
                ElementsAre("kv_td_excam:ExPropertyGetGamma: Can't get Gamma enum parameter",
                            "kv_td_excam:ExPropertySetGamma: Can't get Gamma range",
                            "kv_td_excam:ExPropertySetGamma: Can't get Gamma enum parameter"));
    Rig::Clear();
    cam.nodeMap = nullptr;
    EXPECT_EQ(cam.ExPropertySetLUTMode(LG_OFF, nullptr), -1);
    EXPECT_EQ(cam.ExPropertySetLUTValue(0, 0), -1);
    EXPECT_EQ(cam.ExPropertySetLUTChannel(0, 2), -1);
    EXPECT_EQ(cam.ExPropertyGetGamma(nullptr, nullptr), -1);
    EXPECT_EQ(cam.ExPropertySetGamma(1, nullptr), -1);
    EXPECT_EQ(cam.ExPropertySetGamma(1, &off), -4);
    EXPECT_EQ(Story(Rig::Logs()), R"(
2 ExPropertySetLUTMode: can't get dev params to change LutGamma mode
2 ExPropertySetLUTValue: can't get dev params to set LUT value
2 ExPropertySetLUTChannel: can't get dev params to set LUT value
2 ExPropertyGetLUTMode: can't get dev params to get LutGamma mode
2 ExPropertyGetLUTMode: can't get dev params to get LutGamma mode
3 ExPropertySetGamma: ### Gamma feature is disabled ###
2 ExPropertySetLUTMode: can't get dev params to change LutGamma mode
2 ExPropertySetGamma: Can't enable Gamma feature
)");
}

TEST(Gamma, ExceptionsOfUnguardedAccessesPass)
{
    for (const char* feature :
         {"lutMode", "lutType", "LUTIndex", "LUTValue", "LUTSelector", "gammaCorrection"}) {
        Rig rig(SmallCamera(sim::Model::Color));
        CExCam& cam = rig.Open();
        sim::AddFault(AccessThrows(Trigger::Access, feature, Kind::Timeout));
        const auto all = [&] {
            td_lg_states none = LG_NONE;
            cam.ExPropertySetLUTChannel(0, 3);
            cam.ExPropertySetLUTValue(0, 0);
            cam.ExPropertyGetGamma(nullptr, &none);
            cam.ExPropertyGetGammaRange(nullptr, nullptr); // its first readings are not guarded
        };
        EXPECT_THROW(all(), GenICam::TimeoutException) << feature;
    }
}
