/** The camera's look-up table and gamma, operation by operation. */
#include "tests/driver/exception_cases.h"
#include "tests/driver/told.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace KvTd;
using namespace rig;
using sim::NodeKind;
using sim::Trigger;
using testing::ElementsAre;
using testing::EndsWith;
using testing::IsEmpty;

namespace
{

/** Table and gamma in this state at power-up. */
sim::CameraSetup Tone(const char* mode, const char* type)
{
    return Having({{"lutMode", mode}, {"lutType", type}});
}

sim::CameraSetup Mistyped(const char* feature, NodeKind kind, const char* mode = "Off")
{
    sim::CameraSetup setup = Having({{"lutMode", mode}});
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
    const std::pair<sim::CameraSetup, td_lg_states> cases[] = {
        {Tone("Off", "GammaCorrection"), LG_OFF},
        {Tone("Active", "UserDefined"), LG_USER_LUT},
        {Tone("Active", "GammaCorrection"), LG_GAMMA},
        {Mistyped("lutType", NodeKind::Enumeration, "Active"), LG_OTHER},
        {Mistyped("lutMode", NodeKind::Enumeration), LG_OFF},
        {Lacking({"lutMode"}), LG_NONE},
        {Lacking({"lutType"}), LG_NONE},
        {Mistyped("lutMode", NodeKind::Integer), LG_NONE},
        {Mistyped("lutType", NodeKind::Float), LG_NONE},
    };
    for (const auto& [setup, state] : cases) {
        Rig rig(setup);
        EXPECT_EQ(rig.Open().ExPropertyGetLUTMode(), state);
        EXPECT_EQ(Rig::Logs().size(), state == LG_NONE ? 0U : 1U);
        Rig::Clear();
        EXPECT_EQ(rig.Cam().ExPropertySetLUTMode(LG_OTHER, nullptr), state == LG_NONE ? -2 : 0);
        EXPECT_EQ(Story(Rig::Of({"log", "cam"})), state == LG_NONE ? "\n" : R"(
cam lutMode=Off
log3 kv_td_excam:ExPropertySetLUTMode: ### set Lut mode to "Off"; Lut type to "" (status 0) ###
)");
    }
    Rig rig(Mistyped("lutMode", NodeKind::Enumeration));
    rig.Open();
    Rig::SetFeature("lutMode", "On");
    EXPECT_EQ(rig.Cam().ExPropertyGetLUTMode(), LG_OTHER);
}

TEST(LutMode, WidthIsThatOfTheCamera)
{
    const std::pair<sim::CameraSetup, int> cases[] = {
        {Having({{"lutSize", "Bpp8"}}), 8},
        {Having({{"lutSize", "Bpp10"}}), 10},
        {Having({{"lutSize", "Bpp12"}}), 12},
        {Mistyped("lutSize", NodeKind::Enumeration), 8}, // "Off"
        {Mistyped("lutSize", NodeKind::Integer), 77},
        {Lacking({"lutSize"}), 77},
    };
    for (const auto& [setup, expected] : cases) {
        Rig rig(setup);
        unsigned short bits = 77;
        EXPECT_EQ(rig.Open().ExPropertySetLUTMode(LG_USER_LUT, &bits), 0);
        EXPECT_EQ(bits, expected);
        EXPECT_EQ(rig.Cam().ExPropertySetLUTMode(LG_USER_LUT, nullptr), 0);
        EXPECT_EQ(Count(Rig::Of("read"), "lutSize"), bits == 77 ? 0U : 1U) << "for nobody";
    }
}

TEST(LutMode, FailureIsOnlyLogged)
{
    const std::tuple<Trigger, const char*, const char*, int> steps[] = {
        {Trigger::Write, "lutType", "Off GammaCorrection", 77},
        {Trigger::Read, "lutSize", "Off UserDefined", 77},
        {Trigger::Write, "lutMode", "Off UserDefined", 8}};
    for (const ExceptionCase& c : kExceptionCases) {
        for (const auto& [trigger, feature, after, known] : steps) {
            SCOPED_TRACE(std::string(c.name) + " at " + feature);
            Rig rig(Tone("Off", "GammaCorrection"));
            CExCam& cam = rig.Open();
            sim::AddFault(AccessThrows(trigger, feature, c.kind));
            unsigned short bits = 77;
            EXPECT_EQ(cam.ExPropertySetLUTMode(LG_USER_LUT, &bits), 0);
            EXPECT_EQ(bits, known);
            EXPECT_EQ(ToneNow(), after);
            EXPECT_THAT(Rig::Of("log1"),
                        ElementsAre("kv_td_excam:ExPropertySetLUTMode: " + c.Line("set LUT mode")));
            EXPECT_THAT(Rig::Logs().back(),
                        EndsWith("(status " + std::to_string(c.status) + ") ###"));
        }
    }
}

TEST(LutValue, NeedsIndexAndValue)
{
    for (const char* feature : {"LUTIndex", "LUTValue"}) {
        for (const auto& setup : {Lacking({feature}), Mistyped(feature, NodeKind::Enumeration)}) {
            Rig rig(setup);
            EXPECT_EQ(rig.Open().ExPropertySetLUTValue(1, 1), -2);
            EXPECT_THAT(Rig::Of({"cam", "log"}), IsEmpty());
        }
    }
    Rig rig;
    EXPECT_THROW(rig.Open().ExPropertySetLUTValue(0, -1), GenICam::OutOfRangeException);
    EXPECT_THROW(rig.Cam().ExPropertySetLUTValue(-1, 0), GenICam::OutOfRangeException);
    EXPECT_EQ(Take("cam"), "LUTIndex=0 ") << "the index goes first";
}

TEST(LutChannel, IsSelectedFromTwoChannelsOn)
{
    Rig rig(SmallCamera(sim::Model::Color));
    rig.Open();
    for (const auto& [channel, count] : {std::pair(1, 2), {0, 3}, {5, 3}, {-1, 3}, {0, 1}}) {
        EXPECT_EQ(rig.Cam().ExPropertySetLUTChannel(channel, count), 0);
    }
    EXPECT_THAT(Rig::Logs(), IsEmpty());
    EXPECT_EQ(Take("cam"), "LUTSelector=Green LUTSelector=Red LUTSelector=Blue LUTSelector=Blue ");
    Rig lacking(Lacking({"LUTSelector"}));
    EXPECT_EQ(lacking.Open().ExPropertySetLUTChannel(0, 2), -2);
    lacking.Cam().nodeMap = nullptr;
    EXPECT_EQ(lacking.Cam().ExPropertySetLUTChannel(2, 1), 0);
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("2 ExPropertySetLUTChannel: can't get LUTSelector parameter"));
}

TEST(GammaRange, IsReadOnce)
{
    Rig rig(Tone("Off", "GammaCorrection")); // the type is right, though not in force
    EXPECT_EQ(rig.Open().ExPropertyGetGammaRange(nullptr, nullptr), 0);
    EXPECT_EQ(Count(Rig::Logs(), "disabled"), 0U);
    EXPECT_EQ(Take("cam"), "");
    rig.Cam().nodeMap = nullptr;
    float min = 0;
    float max = 0;
    EXPECT_EQ(rig.Cam().ExPropertyGetGammaRange(&min, nullptr), 0);
    EXPECT_EQ(rig.Cam().ExPropertyGetGammaRange(nullptr, &max), 0);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
    EXPECT_EQ(min, 0.1F);
    EXPECT_EQ(max, 4);
}

TEST(GammaRange, WithoutControl)
{
    Rig rig(Lacking({"lutType"}));
    EXPECT_EQ(rig.Open().ExPropertyGetGammaRange(nullptr, nullptr), 1);
    EXPECT_THAT(Rig::Logs(), IsEmpty());
    Rig none(Lacking({"gammaCorrection"}));
    EXPECT_EQ(none.Open().ExPropertyGetGammaRange(nullptr, nullptr), -2);
    EXPECT_EQ(Take("cam"), "lutType=GammaCorrection lutType=UserDefined ");
}

TEST(GammaRange, OnlyAPropertyExceptionRestoresTheType)
{
    struct Step {
        Trigger trigger;
        const char* feature;
        std::uint64_t nth;
        bool switched;
        bool read;
    };
    for (const ExceptionCase& c : kExceptionCases) {
        for (const Step& step : {Step{Trigger::Read, "lutType", 2, false, false},
                                 Step{Trigger::Write, "lutType", 1, false, false},
                                 Step{Trigger::Read, "gammaCorrection", 1, true, false},
                                 Step{Trigger::Read, "gammaCorrection", 2, true, false},
                                 Step{Trigger::Write, "lutType", 2, true, true}}) {
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
            EXPECT_EQ(cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached, step.read);
        }
    }
}

TEST(Gamma, IsReadWhereItAppliesOrNothingElseDoes)
{
    sim::CameraSetup setup = Tone("Active", "GammaCorrection");
    setup.values.emplace_back("gammaCorrection", "2.5");
    Rig rig(setup);
    CExCam& cam = rig.Open();
    float value = 77;
    for (td_lg_states state : {LG_OFF, LG_USER_LUT, LG_OTHER, LG_NONE}) {
        EXPECT_EQ(cam.ExPropertyGetGamma(state == LG_NONE ? nullptr : &value, &state), 0);
        EXPECT_EQ(value, 77);
    }
    // A range that can't be read is told of, and the value read all the same.
    sim::AddFault(AccessThrows(Trigger::Read, "gammaCorrection", Kind::Property));
    EXPECT_EQ(cam.ExPropertyGetGamma(&value, nullptr), 0);
    EXPECT_EQ(value, 2.5F);
    EXPECT_EQ(Story(Rig::Logs("ExPropertyGetGamma")), R"(
3 ExPropertyGetGamma: ### Gamma feature is disabled (1) ###
3 ExPropertyGetGamma: ### Gamma feature is disabled (2) ###
3 ExPropertyGetGamma: ### Gamma feature is disabled (4) ###
3 ExPropertyGetGamma: ### get Gamma value: 2.500000 ###
2 ExPropertyGetGamma: Can't get Gamma range
3 ExPropertyGetGamma: ### get Gamma value: 2.500000 ###
)");
    EXPECT_EQ(cam.ExPropertyGetGamma(nullptr, nullptr), 0);
    EXPECT_TRUE(cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached);
}

TEST(Gamma, SetLeavesTheCallersState)
{
    Rig rig;
    CExCam& cam = rig.Open();
    sim::AddFault(AccessThrows(Trigger::Write, "lutMode", Kind::Runtime, 2));
    td_lg_states state = LG_OFF;
    EXPECT_EQ(cam.ExPropertySetGamma(2.5F, &state), 0);
    EXPECT_EQ(state, LG_OFF);
    EXPECT_EQ(ToneNow(), "Active GammaCorrection");
    EXPECT_EQ(cam.ExPropertySetGamma(3, &state), 0) << "the mode can't be set, as the log tells";
    EXPECT_EQ(Rig::Feature("gammaCorrection"), "3");
    EXPECT_THROW(cam.ExPropertySetGamma(4.01F, &state), GenICam::OutOfRangeException);
    EXPECT_EQ(Count(Rig::Of("read"), "gammaCorrection"), 0U) << "no range is asked";
}

TEST(Gamma, MayBeSixHundredthsOutsideInDoublePrecision)
{
    Rig rig(Tone("Active", "GammaCorrection"));
    CExCam& cam = rig.Open();
    PropertyEntry& row = cam.propEntries[GAMMA_PROPERTY_TYPE];
    std::tie(row.floatMin, row.floatMax) = std::pair(1.0F, 2.0F); // narrower than the camera's
    row.floatRangeCached = true;
    for (const auto& [value, rc] :
         {std::pair(2.06F, 0), std::pair(std::nextafter(2.06F, 3.0F), -6), std::pair(0.94F, -6),
          std::pair(std::nextafter(0.94F, 1.0F), 0), std::pair(std::nanf(""), -6)}) {
        EXPECT_EQ(cam.ExPropertySetGamma(value, nullptr), rc) << value;
    }
    EXPECT_EQ(Rig::Of("cam").size(), 2U);
    EXPECT_EQ(Rig::Of("log2").front(), "kv_td_excam:ExPropertySetGamma: Asked Gamma value 2.060000 "
                                       "is out of bounds [1.000000..2.000000]");
}

TEST(Gamma, ResultsOfRefusals)
{
    sim::CameraSetup setup = Tone("Active", "GammaCorrection");
    setup.missing = {"gammaCorrection"};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    td_lg_states none = LG_NONE;
    td_lg_states off = LG_OFF;
    td_lg_states gamma = LG_GAMMA;
    EXPECT_THAT(
        (std::vector{cam.ExPropertySetGamma(1, &none), cam.ExPropertyGetGamma(nullptr, &none),
                     cam.ExPropertySetGamma(1, nullptr), cam.ExPropertySetGamma(1, &off)}),
        ElementsAre(-1, -2, -5, -2));
    PropertyEntry& row = cam.propEntries[GAMMA_PROPERTY_TYPE];
    std::tie(cam.nodeMap, row.floatMax) = std::pair(nullptr, 4.0F);
    EXPECT_THAT(
        (std::vector{cam.ExPropertySetLUTMode(LG_OFF, nullptr), cam.ExPropertySetLUTValue(0, 0),
                     cam.ExPropertySetLUTChannel(0, 2),
                     cam.ExPropertyGetGammaRange(nullptr, nullptr),
                     cam.ExPropertyGetGamma(nullptr, nullptr), cam.ExPropertySetGamma(1, nullptr),
                     cam.ExPropertySetGamma(1, &off), cam.ExPropertyGetGamma(nullptr, &none)}),
        ElementsAre(-1, -1, -1, 1, -1, -1, -4, -1));
    row.floatRangeCached = true;
    EXPECT_EQ(cam.ExPropertySetGamma(1, &gamma), -1);
    Texts logs = Rig::Logs();
    std::erase_if(logs, [](const auto& log) { return !log.starts_with("2 "); });
    EXPECT_EQ(Story(logs), R"(
2 ExPropertyGetGamma: Can't get Gamma enum parameter
2 ExPropertySetGamma: Can't get Gamma range
2 ExPropertySetGamma: Can't get Gamma enum parameter
2 ExPropertySetLUTMode: can't get dev params to change LutGamma mode
2 ExPropertySetLUTValue: can't get dev params to set LUT value
2 ExPropertySetLUTChannel: can't get dev params to set LUT value
2 ExPropertyGetLUTMode: can't get dev params to get LutGamma mode
2 ExPropertyGetLUTMode: can't get dev params to get LutGamma mode
2 ExPropertyGetLUTMode: can't get dev params to get LutGamma mode
2 ExPropertySetLUTMode: can't get dev params to change LutGamma mode
2 ExPropertySetGamma: Can't enable Gamma feature
2 ExPropertyGetGamma: Can't get Gamma enum parameter
2 ExPropertySetGamma: Can't get Gamma enum parameter
)");
}

TEST(Gamma, WritesAreVerifiedAndUnguardedExceptionsPass)
{
    const auto readOnly = [](const char* feature) {
        sim::CameraSetup setup = SmallCamera(sim::Model::Color);
        setup.readOnly = {feature};
        return setup;
    };
    for (const char* feature : {"LUTIndex", "LUTValue", "LUTSelector", "gammaCorrection"}) {
        Rig rig(readOnly(feature));
        CExCam& cam = rig.Open();
        const auto all = [&] {
            cam.ExPropertySetLUTChannel(0, 3);
            cam.ExPropertySetLUTValue(0, 0);
            cam.ExPropertySetGamma(2, nullptr);
        };
        EXPECT_THROW(all(), GenICam::AccessException) << feature;
    }
    td_lg_states none = LG_NONE;
    for (const std::string feature : {"lutMode", "lutType"}) {
        Rig rig(readOnly(feature.c_str()));
        EXPECT_EQ(rig.Open().ExPropertySetLUTMode(LG_GAMMA, nullptr), 0);
        EXPECT_THAT(Rig::Logs().back(), EndsWith("(status -17) ###"));
        EXPECT_EQ(rig.Cam().ExPropertyGetGammaRange(nullptr, nullptr),
                  feature == "lutMode" ? 0 : -17);
        sim::AddFault(AccessThrows(Trigger::Read, feature.c_str(), Kind::Timeout));
        EXPECT_THROW(rig.Cam().ExPropertyGetLUTMode(), GenICam::TimeoutException);
    }
    Rig rig;
    sim::AddFault(AccessThrows(Trigger::Read, "gammaCorrection", Kind::Timeout));
    EXPECT_THROW(rig.Open().ExPropertyGetGamma(nullptr, &none), GenICam::TimeoutException);
}
