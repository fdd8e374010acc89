/** NaN values wherever a range is checked. */
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <limits>

using namespace KvTd;
using namespace rig;

TEST(NotANumber, IsOutOfEveryRange)
{
    constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
    Rig rig;
    CExCam& cam = rig.Open();
    EXPECT_EQ(cam.ExSetAutoExpoVal(kNan), -5);
    EXPECT_EQ(cam.ExPropertySetAutoRangeGain(kNan, 12), -5);
    EXPECT_EQ(cam.ExPropertySetAutoRangeGain(0, kNan), -5) << "the lower one has to be below it";
    EXPECT_EQ(cam.ExPropertySetAutoRangeExpo(kNan, 1000), -5);
    EXPECT_EQ(cam.ExPropertySetAutoRangeExpo(100, kNan), -5);
    td_lg_states state = LG_GAMMA;
    EXPECT_EQ(cam.ExPropertySetGamma(kNan, &state), -6);
    rig.host.gamma = kNan;
    EXPECT_EQ(rig.proc.ProcParametrizeCamGamma(&cam, false, 0, nullptr), -2);
    for (const char* feature : {"autoBrightnessTarget", "gainAutoM", "exposureAutoM", "gammaC"}) {
        EXPECT_EQ(Count(Rig::Of("cam"), feature), 0U) << feature;
    }
}
