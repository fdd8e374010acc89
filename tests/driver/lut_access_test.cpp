/** The camera's look-up table and gamma, operation by operation. */
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace KvTd;
using namespace rig;
using sim::ExceptionKind;
using sim::NodeKind;
using sim::Trigger;

namespace
{

/** Table and gamma in this state at power-up. */
sim::CameraSetup Tone(const char* mode, const char* type)
{
    return Having({{"lutMode", mode}, {"lutType", type}});
}

/** A feature mistyped as an enumeration has the entries "Off" and "On" only. */
sim::CameraSetup Mistyped(const char* feature, NodeKind kind, const char* mode = "Off")
{
    sim::CameraSetup setup = Having({{"lutMode", mode}});
    setup.mistyped = {{feature, kind}};
    return setup;
}

sim::CameraSetup ReadOnly(const char* feature)
{
    sim::CameraSetup setup = SmallCamera(sim::Model::Color);
    setup.readOnly = {feature};
    return setup;
}

using Access = std::tuple<Trigger, const char*, std::uint64_t>; ///< of a feature, the n-th

} // namespace

TEST(LutMode, FollowsFromModeAndType)
{
    Transcript story("lut_modes", {"log", "cam"});
    const std::pair<const char*, sim::CameraSetup> cases[] = {
        {"off", Tone("Off", "GammaCorrection")},
        {"table", Tone("Active", "UserDefined")},
        {"gamma", Tone("Active", "GammaCorrection")},
        {"active, other type", Mistyped("lutType", NodeKind::Enumeration, "Active")},
        {"mode without Active", Mistyped("lutMode", NodeKind::Enumeration)},
        {"no mode", Lacking({"lutMode"})},
        {"no type", Lacking({"lutType"})},
        {"mode is a number", Mistyped("lutMode", NodeKind::Integer)},
        {"type is a number", Mistyped("lutType", NodeKind::Float)},
    };
    for (const auto& [what, setup] : cases) {
        Rig rig(setup);
        CExCam& cam = rig.Open();
        story.Line(what);
        CALL(story, cam.ExPropertyGetLUTMode());
        CALL(story, cam.ExPropertySetLUTMode(LG_OTHER, nullptr));
    }
    Rig rig(Mistyped("lutMode", NodeKind::Enumeration));
    rig.Open();
    Rig::SetFeature("lutMode", "On");
    EXPECT_EQ(rig.Cam().ExPropertyGetLUTMode(), LG_OTHER);
}

TEST(LutMode, WidthIsThatOfTheCamera)
{
    Transcript story("lut_widths", {"read", "log"});
    for (const auto& setup :
         {Having({{"lutSize", "Bpp8"}}), Having({{"lutSize", "Bpp10"}}),
          Having({{"lutSize", "Bpp12"}}), Mistyped("lutSize", NodeKind::Enumeration), // "Off"
          Mistyped("lutSize", NodeKind::Integer), Lacking({"lutSize"})}) {
        Rig rig(setup);
        CExCam& cam = rig.Open();
        unsigned short bits = 77;
        story.state = [&] { return Words(bits); };
        CALL(story, cam.ExPropertySetLUTMode(LG_USER_LUT, &bits));
        CALL(story, cam.ExPropertySetLUTMode(LG_USER_LUT, nullptr)); // nobody wants to know
    }
}

TEST(LutMode, FailureIsOnlyLogged)
{
    Transcript story("lut_mode_failures", {"log"});
    for (const auto& [trigger, feature] : {std::pair(Trigger::Write, "lutType"),
                                           {Trigger::Read, "lutSize"},
                                           {Trigger::Write, "lutMode"}}) {
        Rig rig(Tone("Off", "GammaCorrection"));
        CExCam& cam = rig.Open();
        sim::AddFault(AccessThrows(trigger, feature, ExceptionKind::Timeout));
        unsigned short bits = 77;
        story.state = [&] { return Words(bits, Rig::Feature("lutMode"), Rig::Feature("lutType")); };
        CALL(story, cam.ExPropertySetLUTMode(LG_USER_LUT, &bits));
    }
}

TEST(LutEntries, NeedIndexValueAndSelector)
{
    Transcript story("lut_entries", {"log", "cam"});
    for (const char* feature : {"LUTIndex", "LUTValue", "LUTSelector"}) {
        for (const auto& [how, setup] : {std::pair("lacking", Lacking({feature})),
                                         {"mistyped", Mistyped(feature, NodeKind::Float)},
                                         {"read only", ReadOnly(feature)}}) {
            Rig rig(setup);
            CExCam& cam = rig.Open();
            story.Line(Words(how, feature));
            CALL(story, cam.ExPropertySetLUTValue(1, 1));
            CALL(story, cam.ExPropertySetLUTChannel(0, 2));
        }
    }
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    story.Line("all there");
    CALL(story, cam.ExPropertySetLUTValue(0, -1));
    CALL(story, cam.ExPropertySetLUTValue(-1, 0));
    CALL(story, cam.ExPropertySetLUTChannel(0, 3));
    CALL(story, cam.ExPropertySetLUTChannel(1, 2));
    CALL(story, cam.ExPropertySetLUTChannel(5, 3));
    CALL(story, cam.ExPropertySetLUTChannel(-1, 3));
    CALL(story, cam.ExPropertySetLUTChannel(0, 1));
}

TEST(GammaRange, IsReadOnce)
{
    Transcript story("gamma_range", {"log", "cam", "read"});
    Rig rig(Tone("Off", "GammaCorrection")); // the type is right, though not in force
    CExCam& cam = rig.Open();
    float min = 0;
    float max = 0;
    story.state = [&] { return Words(min, max); };
    CALL(story, cam.ExPropertyGetGammaRange(nullptr, nullptr));
    cam.nodeMap = nullptr;
    CALL(story, cam.ExPropertyGetGammaRange(&min, nullptr));
    CALL(story, cam.ExPropertyGetGammaRange(nullptr, &max));
}

TEST(GammaRange, OnlyAPropertyExceptionRestoresTheType)
{
    Transcript story("gamma_range_failures", {"log", "cam", "fault"});
    for (const ExceptionKind kind : {ExceptionKind::Property, ExceptionKind::Timeout}) {
        for (const auto& [trigger, feature, nth] : std::initializer_list<Access>{
                 {Trigger::Read, "lutType", 2},
                 {Trigger::Write, "lutType", 1},
                 {Trigger::Read, "gammaCorrection", 1},
                 {Trigger::Read, "gammaCorrection", 2},
                 {Trigger::Write, "lutType", 2},
             }) {
            Rig rig;
            CExCam& cam = rig.Open();
            sim::AddFault(AccessThrows(trigger, feature, kind, nth));
            story.state = [&] {
                return Words(Rig::Feature("lutMode"), Rig::Feature("lutType"),
                             "range known:", cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached);
            };
            CALL(story, cam.ExPropertyGetGammaRange(nullptr, nullptr));
        }
    }
}

TEST(Gamma, IsReadWhereItAppliesOrNothingElseDoes)
{
    Transcript story("gamma_reading", {"log", "read"});
    sim::CameraSetup setup = Tone("Active", "GammaCorrection");
    setup.values.emplace_back("gammaCorrection", "2.5");
    Rig rig(setup);
    CExCam& cam = rig.Open();
    float value = 77;
    td_lg_states state = LG_OFF;
    story.state = [&] { return Words(value, state); };
    for (const td_lg_states known : {LG_OFF, LG_USER_LUT, LG_OTHER, LG_NONE}) {
        state = known;
        CALL(story, cam.ExPropertyGetGamma(&value, &state));
    }
    sim::AddFault(AccessThrows(Trigger::Read, "gammaCorrection", ExceptionKind::Property));
    value = 77;
    CALL(story, cam.ExPropertyGetGamma(&value, nullptr)); // though the range can't be read
    CALL(story, cam.ExPropertyGetGamma(nullptr, nullptr));
    CALL(story, cam.ExPropertyGetGamma(nullptr, nullptr));
    sim::AddFault(AccessThrows(Trigger::Read, "gammaCorrection", ExceptionKind::Timeout));
    CALL(story, cam.ExPropertyGetGamma(nullptr, nullptr));
}

TEST(Gamma, SetLeavesTheCallersState)
{
    Transcript story("gamma_setting", {"log", "cam", "read"});
    Rig rig;
    CExCam& cam = rig.Open();
    sim::AddFault(AccessThrows(Trigger::Write, "lutMode", ExceptionKind::Runtime, 2));
    td_lg_states off = LG_OFF;
    story.state = [&] { return Words("state", off); };
    CALL(story, cam.ExPropertySetGamma(2.5F, &off));
    CALL(story, cam.ExPropertySetGamma(3, &off)); // the mode can't be set, as the log says so
    CALL(story, cam.ExPropertySetGamma(4.01F, &off));
}

TEST(Gamma, MayBeSixHundredthsOutsideInDoublePrecision)
{
    Rig rig(Tone("Active", "GammaCorrection"));
    CExCam& cam = rig.Open();
    PropertyEntry& row = cam.propEntries[GAMMA_PROPERTY_TYPE];
    std::tie(row.floatMin, row.floatMax) = std::pair(1.0F, 2.0F); // narrower than the camera's
    row.floatRangeCached = true;
    Transcript story("gamma_tolerance", {"cam", "log2"});
    for (const float value :
         {2.06F, std::nextafter(2.06F, 3.0F), 0.94F, std::nextafter(0.94F, 1.0F), std::nanf("")}) {
        CALL(story, cam.ExPropertySetGamma(value, nullptr));
    }
}

TEST(Gamma, ResultsOfRefusals)
{
    Transcript story("gamma_refusals", {"log", "cam"});
    td_lg_states none = LG_NONE;
    td_lg_states off = LG_OFF;
    td_lg_states gamma = LG_GAMMA;
    sim::CameraSetup setup = Tone("Active", "GammaCorrection");
    setup.missing = {"gammaCorrection"};
    for (const auto& [what, camera] : {std::pair("no gamma", setup),
                                       {"no type", Lacking({"lutType"})},
                                       {"read-only gamma", ReadOnly("gammaCorrection")},
                                       {"read-only type", ReadOnly("lutType")},
                                       {"read-only mode", ReadOnly("lutMode")}}) {
        Rig rig(camera);
        CExCam& cam = rig.Open();
        story.Line(what);
        CALL(story, cam.ExPropertySetGamma(1, &none));
        CALL(story, cam.ExPropertyGetGamma(nullptr, &none));
        CALL(story, cam.ExPropertySetGamma(1, nullptr));
        CALL(story, cam.ExPropertySetGamma(1, &off));
        CALL(story, cam.ExPropertyGetGammaRange(nullptr, nullptr));
        CALL(story, cam.ExPropertySetLUTMode(LG_GAMMA, nullptr));
    }
    Rig rig;
    CExCam& cam = rig.Open();
    sim::AddFault(AccessThrows(Trigger::Read, "lutType", ExceptionKind::Timeout));
    CALL(story, cam.ExPropertyGetLUTMode());
    story.Line("no node map");
    cam.nodeMap = nullptr;
    CALL(story, cam.ExPropertySetLUTMode(LG_OFF, nullptr));
    CALL(story, cam.ExPropertySetLUTValue(0, 0));
    CALL(story, cam.ExPropertySetLUTChannel(0, 2));
    CALL(story, cam.ExPropertySetLUTChannel(2, 1));
    CALL(story, cam.ExPropertyGetGammaRange(nullptr, nullptr));
    CALL(story, cam.ExPropertyGetGamma(nullptr, nullptr));
    CALL(story, cam.ExPropertySetGamma(1, nullptr));
    CALL(story, cam.ExPropertySetGamma(1, &off));
    CALL(story, cam.ExPropertyGetGamma(nullptr, &none));
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatMax = 4;
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached = true;
    CALL(story, cam.ExPropertySetGamma(1, &gamma));
}
