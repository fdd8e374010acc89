#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

TEST(Ranges, IntegerRangeIsReadOnce)
{
    Transcript story("range_of_integers", {"log", "read"});
    Rig rig;
    CExCam& cam = rig.Open();
    int min = 0;
    int max = 0;
    int inc = 0;
    story.state = [&] { return Words(min, max, inc); };
    sim::AddFault(AccessThrows(sim::Trigger::Read, "Width", sim::ExceptionKind::Timeout, 2));
    CALL(story, cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, &min, &max, &inc));
    CALL(story, cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, nullptr, nullptr, nullptr));
    Rig::SetFeature("OffsetX", "16"); // now Width.Max is 48
    cam.nodeMap = nullptr;
    CALL(story, cam.ExPropertyGetIntRange(WIDTH_PROPERTY_TYPE, &min, &max, &inc));
}

TEST(Ranges, FloatRangeIsReadOnceWithItsPreparations)
{
    Transcript story("range_of_floats", {"log", "cam", "read"});
    Rig rig(SmallCamera(sim::Model::Color));
    CExCam& cam = rig.Open();
    for (const PropertyType type :
         {GAIN_PROPERTY_TYPE, EXPOSURE_TIME_PROPERTY_TYPE, EXPOSURE_AUTO_MIN_PROPERTY_TYPE,
          EXPOSURE_AUTO_MAX_PROPERTY_TYPE, GAIN_AUTO_MIN_PROPERTY_TYPE, GAIN_AUTO_MAX_PROPERTY_TYPE,
          BALANCE_RATIO_RED_PROPERTY_TYPE, BALANCE_RATIO_BLUE_PROPERTY_TYPE}) {
        float min = 77;
        float max = 77;
        story.state = [&] { return Words(min, max); };
        CALL(story, cam.ExPropertyGetFloatRange(type, &min, &max));
        max = 77;
        CALL(story, cam.ExPropertyGetFloatRange(type, nullptr, &max));
    }
}

TEST(Ranges, BracketIsLeftOutInActiveModeAndClosedAfterAMissingFeature)
{
    Transcript story("range_brackets", {"log", "cam"});
    Rig rig(Lacking({"gainAutoMaxValue", "gainAutoSource"}));
    CExCam& cam = rig.Open();
    CALL(story, cam.ExPropertyGetFloatRange(GAIN_AUTO_MAX_PROPERTY_TYPE, nullptr, nullptr));
    CALL(story, cam.ExPropertyGetFloatRange(GAIN_AUTO_MAX_PROPERTY_TYPE, nullptr, nullptr));
    Rig::SetFeature("autoBrightnessMode", "Active");
    CALL(story, cam.ExPropertyGetFloatRange(GAIN_AUTO_MIN_PROPERTY_TYPE, nullptr, nullptr));
}
