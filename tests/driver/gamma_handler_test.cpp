/** The gamma exponent, and who switches table and gamma off. */
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr const char* kFollowLut = "3 Disabling LUT/Gamma control follow LUT configuration...";
constexpr const char* kSkipped = "3   Gamma config is skipped";
constexpr const char* kUnsupported = "2   Gamma is not supported for this device";
const std::string kOff = "lutMode=Off";

struct GammaCase {
    float asked;
    int lutResult;
    const char* mode;
    const char* type;
    int result;
    Texts writes;
    Texts lines; ///< after the entry line and that of the range
    float kept = 7;
};

} // namespace

TEST(GammaHandler, DecidesByValueStateAndTable)
{
    const std::string toGamma = "lutType=GammaCorrection";
    const std::string back = "lutType=UserDefined";
    const auto bounds = [](float asked) {
        return "2   asked Gamma val " + std::to_string(asked) +
               " is out of bounds [0.10,4.00], skipped";
    };
    const auto now = [](float value) { return "3   new Gamma val is " + std::to_string(value); };
    const char* const user = "UserDefined";
    const char* const gamma = "GammaCorrection";
    const Texts already = {"3   Gamma control is already turned off"};
    const Texts identity = {"3 Disabling LUT/Gamma control follow Gamma configuration"};
    for (const GammaCase& c : std::initializer_list<GammaCase>{
             // Not configured, within 0.001 of -1
             {-1, 0, "Active", gamma, 0, {}, {kSkipped}},
             {-1, 2, "Active", gamma, 0, {}, {kSkipped}},
             {-1, 1, "Active", user, 1, {kOff}, {kSkipped, kFollowLut}},
             {-0.9991F, 0, "Off", user, 0, {}, {kSkipped}},
             {-1.0009F, 0, "Off", user, 0, {}, {kSkipped}},
             {-0.9989F, 0, "Off", user, -2, {toGamma, back}, {bounds(-0.9989F)}},
             {-1.0011F, 0, "Active", gamma, -2, {}, {bounds(-1.0011F)}},
             // Out of bounds
             {4.02F, 0, "Active", gamma, -2, {}, {bounds(4.02F)}},
             {4.02F, 1, "Active", gamma, 2, {kOff}, {bounds(4.02F), kFollowLut}},
             {0.0899F, 0, "Active", gamma, -2, {}, {bounds(0.0899F)}},
             // An exponent
             {2.5F, 0, "Active", gamma, 4, {"gammaCorrection=2.5"}, {now(2.5F)}, 2.5F},
             {2.5F,
              1,
              "Active",
              user,
              4,
              {toGamma, back, toGamma, "lutMode=Active", "gammaCorrection=2.5"},
              {now(2.5F)},
              2.5F},
             // No correction, within 0.001 of 1
             {1.0009F, 0, "Active", gamma, 3, {kOff}, identity},
             {0.9991F, 1, "Active", gamma, 3, {kOff}, identity},
             {1, 1, "Active", user, 0, {toGamma, back}, already},
             {1.0005F, 0, "Off", gamma, 0, {}, already},
         }) {
        SCOPED_TRACE(testing::Message() << c.asked << " " << c.lutResult << " " << c.mode);
        Rig rig(Having({{"lutMode", c.mode}, {"lutType", c.type}}));
        rig.Open();
        rig.proc.gammaValue = 7;
        rig.host.gamma = c.asked;
        EXPECT_EQ(rig.proc.ProcParametrizeCamGamma(&rig.Cam(), false, c.lutResult, nullptr),
                  c.result);
        EXPECT_EQ(Rig::Of("cam"), c.writes);
        Texts lines = {"3 Gamma settings handler entry val: Gamma " + std::to_string(c.asked)};
        if (c.lines.front() != kSkipped) {
            lines.emplace_back("3   cur Gamma val is 7.000000 (min 0.100000, max 4.000000)");
        }
        lines.insert(lines.end(), c.lines.begin(), c.lines.end());
        for (std::string& line : lines) {
            line.insert(2, "ProcParametrizeCamGamma: ");
        }
        EXPECT_EQ(Rig::Logs("ProcParametrizeCamGamma"), lines);
        EXPECT_EQ(rig.proc.gammaValue, c.kept);
    }
}

TEST(GammaHandler, ToleranceIsAHundredthInDoublePrecision)
{
    Rig rig(Having({{"lutMode", "Active"}, {"lutType", "GammaCorrection"}}));
    CExCam& cam = rig.Open();
    PropertyEntry& row = cam.propEntries[GAMMA_PROPERTY_TYPE];
    row.floatMin = 1; // narrower than the camera's, which would refuse what lies outside
    row.floatMax = 2;
    row.floatRangeCached = true;
    for (const auto& [value, result] :
         {std::pair(2.01F, 4), std::pair(std::nextafter(2.01F, 3.0F), -2), std::pair(0.99F, 4),
          std::pair(std::nextafter(0.99F, 0.0F), -2), std::pair(std::nanf(""), -2)}) {
        rig.host.gamma = value;
        EXPECT_EQ(rig.proc.ProcParametrizeCamGamma(&cam, false, 0, nullptr), result) << value;
    }
    row.floatMax = 4;
    rig.host.gamma = 4.01F; // a little more than the double 4.01
    EXPECT_EQ(rig.proc.ProcParametrizeCamGamma(&cam, false, 0, nullptr), -2);
    rig.host.gamma = 4.009F;
    EXPECT_THROW(rig.proc.ProcParametrizeCamGamma(&cam, false, 0, nullptr),
                 GenICam::OutOfRangeException)
        << "the camera's own limit is narrower";
}

TEST(GammaHandler, FailedSetGivesFour)
{
    sim::CameraSetup setup = Lacking({"gammaCorrection"});
    setup.values = {{"lutMode", "Active"}};
    Rig rig(setup);
    CExCam& cam = rig.Open();
    rig.host.gamma = 2;
    rig.proc.gammaValue = 7;
    const auto apply = [&](int lutResult) {
        Rig::Clear();
        return rig.proc.ProcParametrizeCamGamma(&cam, false, lutResult, nullptr);
    };
    EXPECT_EQ(apply(0), -1);
    EXPECT_EQ(Rig::Logs().back(), std::string(kUnsupported).insert(2, "ProcParametrizeCamGamma: "));
    EXPECT_EQ(apply(1), 1);
    EXPECT_EQ(Rig::Feature("lutMode"), "Off");
    EXPECT_THAT(Rig::Logs("ProcParametrizeCamGamma").back(), testing::EndsWith(kFollowLut + 2));
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatMax = 4;
    cam.propEntries[GAMMA_PROPERTY_TYPE].floatRangeCached = true; // the feature is missing by now
    EXPECT_EQ(apply(0), 4);
    EXPECT_EQ(Count(Rig::Logs(), "new Gamma val"), 0U);
    EXPECT_EQ(rig.proc.gammaValue, 7);
}
