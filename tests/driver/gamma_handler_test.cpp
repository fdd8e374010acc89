/** The gamma exponent, and which handler switches look-up table and gamma off. */
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <tuple>

using namespace KvTd;
using namespace rig;

namespace
{

/** A camera whose table or gamma control is in this state. */
class GammaRig : public Rig
{
public:
    explicit GammaRig(const char* mode, const char* type, std::vector<std::string> missing = {})
        : Rig(With(mode, type, std::move(missing)))
    {
        Open();
        proc.gammaValue = 7;
    }
    static sim::CameraSetup With(const char* mode, const char* type,
                                 std::vector<std::string> missing)
    {
        sim::CameraSetup setup = Having({{"lutMode", mode}, {"lutType", type}});
        setup.missing = std::move(missing);
        return setup;
    }
    int Apply(float asked, int lutResult = 0)
    {
        host.gamma = asked;
        return proc.ProcParametrizeCamGamma(&Cam(), false, lutResult, nullptr);
    }
    /** Narrower than the camera's, which would refuse what lies outside. */
    void Know(float min, float max)
    {
        PropertyEntry& row = Cam().propEntries[GAMMA_PROPERTY_TYPE];
        std::tie(row.floatMin, row.floatMax) = std::pair(min, max);
        row.floatRangeCached = true;
    }
};

} // namespace

TEST(GammaHandler, DecidesByValueStateAndTable)
{
    Transcript story("gamma_handler", {"cam", "log2", "log3"});
    const char* const user = "UserDefined";
    const char* const gamma = "GammaCorrection";
    struct Case {
        float asked;
        int lutResult;
        const char* mode;
        const char* type;
    };
    for (const Case& c : std::initializer_list<Case>{
             // Not configured, within 0.001 of -1
             {-1, 0, "Active", gamma},
             {-1, 2, "Active", gamma},
             {-1, 1, "Active", user},
             {-0.9991F, 0, "Off", user},
             {-1.0009F, 0, "Off", user},
             {-0.9989F, 0, "Off", user},
             {-1.0011F, 0, "Active", gamma},
             // Out of bounds
             {4.02F, 0, "Active", gamma},
             {4.02F, 1, "Active", gamma},
             {0.0899F, 0, "Active", gamma},
             // An exponent
             {2.5F, 0, "Active", gamma},
             {2.5F, 1, "Active", user},
             // No correction, within 0.001 of 1
             {1.0009F, 0, "Active", gamma},
             {0.9991F, 1, "Active", gamma},
             {1, 1, "Active", user},
             {1.0005F, 0, "Off", gamma},
         }) {
        GammaRig rig(c.mode, c.type);
        story.state = [&] { return Words("kept", rig.proc.gammaValue); };
        story.Call(Words(c.asked, "table", c.lutResult, c.mode, c.type),
                   [&] { return rig.Apply(c.asked, c.lutResult); });
    }
}

TEST(GammaHandler, ToleranceIsAHundredthInDoublePrecision)
{
    Transcript story("gamma_handler_tolerance", {"cam", "log2"});
    GammaRig rig("Active", "GammaCorrection");
    rig.Know(1, 2);
    for (const float value :
         {2.01F, std::nextafter(2.01F, 3.0F), 0.99F, std::nextafter(0.99F, 0.0F), std::nanf("")}) {
        CALL(story, rig.Apply(value));
    }
    rig.Know(1, 4);
    CALL(story, rig.Apply(4.01F));  // a little more than the double 4.01
    CALL(story, rig.Apply(4.009F)); // the camera's own limit is narrower
}

TEST(GammaHandler, FailedSetGivesFour)
{
    Transcript story("gamma_handler_failures", {"cam", "log2", "log3"});
    GammaRig rig("Active", "UserDefined", {"gammaCorrection"});
    story.state = [&] { return Words("kept", rig.proc.gammaValue); };
    CALL(story, rig.Apply(2, 0));
    CALL(story, rig.Apply(2, 1));
    rig.Know(0, 4); // the feature is missing by now
    CALL(story, rig.Apply(2, 0));
}
