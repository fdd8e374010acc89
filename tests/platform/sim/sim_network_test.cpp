/** Which cameras are on the simulated network, and which features they lack. */
#include "tests/platform/sim/sim_session.h"

namespace
{

using SimNetwork = SimSession;

TEST_F(SimNetwork, TextsAreCutASerialIsUniqueAndAnAbsentCameraIsNotListed)
{
    setup.manufacturer = std::string(200, 'm');
    setup.serial = std::string(64, 's');
    setup.attached = false;
    ASSERT_TRUE(sim::AddCamera(setup));
    EXPECT_FALSE(sim::AddCamera(setup));
    EXPECT_FALSE(FindDevice(setup.serial));
    sim::SetAttached(setup.serial, true);
    EXPECT_TRUE(FindDevice(setup.serial));
    EXPECT_EQ(device.manufacturer, std::string(64, 'm'));
    EXPECT_EQ(device.mode, 0U);
    sim::SetAttached(setup.serial, false);
    EXPECT_EQ(GevOpenCamera(&device, 2, &handle), kGevNotFound);
}

TEST_F(SimNetwork, ResetLeavesAnOpenCameraHarmless)
{
    OpenCamera();
    EXPECT_STREQ(device.manufacturer, "DALSA (simulated)");
    StartFor(2);
    const auto width = Integer("Width");
    sim::Reset();
    EXPECT_FALSE(FindDevice("S1"));
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
}

} // namespace
