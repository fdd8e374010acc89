#include "tests/platform/contract/camera_under_test.h"

#include "tests/net/loopback_camera.h"

#include <chrono>
#include <thread>

namespace
{

/** The promise: within half a second everybody knows that a camera is gone, or back. What is
 *  looked at afterwards must be so without another wait. */
constexpr std::chrono::milliseconds kNoticed(500);

class NetUnderTest : public CameraUnderTest
{
public:
    std::string Serial() const override { return "T1"; }
    void SetAttached(bool attached) override
    {
        if (attached) {
            camera_.Continue();
        } else {
            camera_.Freeze();
        }
        std::this_thread::sleep_for(kNoticed);
    }

private:
    LoopbackCamera camera_{"T1"};
};

} // namespace

std::unique_ptr<CameraUnderTest> MakeCameraUnderTest()
{
    UseNetworkCameras();
    return std::make_unique<NetUnderTest>();
}
