#include "gev_backend_choice.h"
#include "tests/net/loopback_camera.h"
#include "tests/platform/contract/camera_under_test.h"

namespace
{

class NetUnderTest : public CameraUnderTest
{
public:
    std::string Serial() const override { return "T1"; }
    void SetAttached(bool attached) override
    {
        PlatformLog log;
        if (attached) {
            camera_.Continue();
            EXPECT_TRUE(log.WaitFor("network camera T1 answers again"));
        } else {
            camera_.Freeze();
            EXPECT_TRUE(log.WaitFor("network camera T1 does not answer"));
        }
    }

    bool AsksTheHost() const override { return OwnReceiver(); }

private:
    LoopbackCamera camera_{"T1"};
};

} // namespace

std::unique_ptr<CameraUnderTest> MakeCameraUnderTest()
{
    UseNetworkCameras(400); // well below the heartbeat time-out, after which it would be lost
    return std::make_unique<NetUnderTest>();
}
