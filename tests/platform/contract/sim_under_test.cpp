#include "tests/platform/contract/camera_under_test.h"

#include "sim_control.h"

namespace
{

/** In virtual time: a wait costs nothing. */
class SimUnderTest : public CameraUnderTest
{
public:
    SimUnderTest()
    {
        sim::Reset();
        sim::SetClock(std::make_shared<sim::ManualClock>(1'000'000'000));
        sim::CameraSetup setup;
        setup.serial = "T1";
        sim::AddCamera(setup);
    }
    ~SimUnderTest() override { sim::Reset(); }
    std::string Serial() const override { return "T1"; }
    void SetAttached(bool attached) override { sim::SetAttached("T1", attached); }
};

} // namespace

std::unique_ptr<CameraUnderTest> MakeCameraUnderTest()
{
    return std::make_unique<SimUnderTest>();
}
