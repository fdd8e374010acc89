/** The camera calls on the cameras of any backend: order, handles, arguments, raw features. */
#include "gev_host.h"
#include "tests/platform/contract/camera_under_test.h"

#include <cstring>
#include <gmock/gmock.h>

namespace
{

using Calls = Contract;

TEST_F(Calls, WrongOrderGivesAStatus)
{
    _tag_GEVBUF_ENTRY* frame = nullptr;
    EXPECT_EQ(GevStartTransfer(handle, kForEver), kGevNotReady);
    EXPECT_EQ(GevWaitForNextFrame(handle, &frame, 60'000), kGevNotReady); // at once
    EXPECT_EQ(GevAbortTransfer(handle), kGevNotReady);
    EXPECT_EQ(GevFreeTransfer(handle), kGevNotReady);

    ASSERT_EQ(Initialize(2), kGevOk);
    EXPECT_EQ(Next(50), nullptr);
    EXPECT_EQ(status, kGevTimeout);
    EXPECT_EQ(GevStartTransfer(handle, 0), kGevInvalidArgument);
    ASSERT_EQ(Initialize(3), kGevOk); // anew, as long as it wasn't started
    ASSERT_EQ(GevStartTransfer(handle, kForEver), kGevOk);
    EXPECT_EQ(GevStartTransfer(handle, kForEver), kGevBusy);
    const std::uint32_t mono8 = 0x01080001; // the geometry is fixed while frames flow
    EXPECT_EQ(GevSetFeatureValue(handle, "PixelFormat", 4, &mono8), kGevAccessDenied);
    GrabFrames(4);
    EXPECT_EQ(GevInitializeTransfer(handle, 1, memory[0].size(), 3, buffers.data()), kGevBusy);
    EXPECT_EQ(GevFreeTransfer(handle), kGevOk); // stops as well
    EXPECT_EQ(GevFreeTransfer(handle), kGevNotReady);
}

TEST_F(Calls, ArgumentsThatMakeNoSenseAreRefused)
{
    std::uint8_t byte = 0;
    void* none[] = {&byte, nullptr};
    const int refused[] = {GevInitializeTransfer(handle, 1, 1, 2, none),
                           GevInitializeTransfer(handle, 1, 1, 0, none),
                           GevInitializeTransfer(handle, 1, 0, 1, none),
                           GevInitializeTransfer(handle, 7, 1, 1, none),
                           GevInitializeTransfer(handle, 1, 1, 1, nullptr),
                           GevWaitForNextFrame(handle, nullptr, 0),
                           GevReleaseFrame(handle, nullptr),
                           GevGetCameraInterfaceOptions(handle, nullptr),
                           GevGetFeatureValue(handle, nullptr, 4, &byte),
                           GevGetFeatureValue(handle, "Width", 3, &byte),
                           GevOpenCamera(nullptr, 2, &handle),
                           GevGetCameraList(nullptr, 8, nullptr),
                           GevGetTransferStatistics(nullptr)};
    EXPECT_THAT(refused, testing::Each(kGevInvalidArgument));
    EXPECT_EQ(GevCloseCamera(nullptr), kGevInvalidHandle);
}

TEST_F(Calls, StaleHandlesAreNeverFollowed)
{
    void* stale = handle;
    ASSERT_EQ(GevCloseCamera(&handle), kGevOk);
    EXPECT_EQ(handle, nullptr);
    ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
    _tag_GEVBUF_ENTRY* frame = nullptr;
    std::uint8_t byte = 0;
    for (void* bad : {stale, static_cast<void*>(nullptr), static_cast<void*>(&byte)}) {
        EXPECT_EQ(GevGetCameraInfo(bad), nullptr);
        EXPECT_EQ(GevGetFeatureNodeMap(bad), nullptr);
        EXPECT_EQ(GevWaitForNextFrame(bad, &frame, 60'000), kGevInvalidHandle);
        EXPECT_EQ(GevStartTransfer(bad, 1), kGevInvalidHandle);
        EXPECT_EQ(GevCloseCamera(&bad), kGevInvalidHandle);
    }
    EXPECT_NE(GevGetCameraInfo(handle), nullptr);
}

TEST_F(Calls, OneClientHasControlAndSettingsOutliveIt)
{
    void* second = &device;
    EXPECT_EQ(GevOpenCamera(&device, 2, &second), kGevAccessDenied);
    EXPECT_EQ(second, nullptr);
    int held = -1;
    EXPECT_EQ(GevIsCameraHeld(&device, &held), kGevOk);
    EXPECT_EQ(held, 1);
    EXPECT_EQ(GevApiUninitialize(), kGevOk); // closes what is open
    EXPECT_EQ(GevIsCameraHeld(&device, &held), kGevOk);
    EXPECT_EQ(held, 0);
    ASSERT_EQ(GevOpenCamera(&device, 2, &handle), kGevOk);
    map = GevGetFeatureNodeMap(handle);
    EXPECT_EQ(Integer("Width")->GetValue(), 64);

    int count = -1;
    EXPECT_EQ(GevGetCameraList(&device, 0, &count), kGevOk); // the list keeps to its size
    EXPECT_EQ(count, 0);
    GEV_DEVICE_INFO unknown = device;
    std::memset(unknown.backend, 'x', sizeof unknown.backend); // and no end
    EXPECT_EQ(GevOpenCamera(&unknown, 2, &second), kGevNoBackend);
    unknown = device;
    std::memset(unknown.address, 'x', sizeof unknown.address);
    EXPECT_EQ(GevOpenCamera(&unknown, 2, &second), kGevNotFound);
}

TEST_F(Calls, OptionsAreKeptOrRefusedWhole)
{
    GEV_CAMERA_OPTIONS options{};
    ASSERT_EQ(GevGetCameraInterfaceOptions(handle, &options), kGevOk);
    options.streamPacketSize = 1400;
    options.heartbeatTimeoutMs = 5000;
    ASSERT_EQ(GevSetCameraInterfaceOptions(handle, &options), kGevOk);
    options.streamPacketSize = 0;
    options.heartbeatTimeoutMs = 1;
    EXPECT_EQ(GevSetCameraInterfaceOptions(handle, &options), kGevBadValue);
    ASSERT_EQ(GevGetCameraInterfaceOptions(handle, &options), kGevOk);
    EXPECT_EQ(options.streamPacketSize, 1400U);
    EXPECT_EQ(options.heartbeatTimeoutMs, 5000U);
}

TEST_F(Calls, FeaturesAsRawBytes)
{
    std::uint64_t wide = 0;
    std::uint32_t narrow = 0x01100005; // Mono12
    EXPECT_EQ(GevGetFeatureValue(handle, "GevTimestampTickFrequency", 8, &wide), kGevOk);
    EXPECT_GT(wide, 0U);
    ASSERT_EQ(GevSetFeatureValue(handle, "PixelFormat", 4, &narrow), kGevOk);
    EXPECT_EQ(GevGetFeatureValue(handle, "PixelFormat", 8, &wide), kGevOk);
    EXPECT_EQ(wide, 0x01100005U);
    std::uint64_t payload = 0;
    std::uint32_t format = 0;
    EXPECT_EQ(GevGetPayloadParameters(handle, &payload, &format), kGevOk);
    EXPECT_EQ(payload, 64U * 64 * 2);
    EXPECT_EQ(format, 0x01100005U);
    EXPECT_EQ(GetPixelSizeInBytes(format), 2);
    EXPECT_EQ(GetPixelSizeInBytes(0x010C0006), 2) << "12 bits";

    float rate = 50;
    EXPECT_EQ(GevSetFeatureValue(handle, "AcquisitionFrameRate", 4, &rate), kGevOk);
    double read = 0;
    EXPECT_EQ(GevGetFeatureValue(handle, "AcquisitionFrameRate", 8, &read), kGevOk);
    EXPECT_EQ(read, 50);

    narrow = 17;
    EXPECT_EQ(GevSetFeatureValue(handle, "PixelFormat", 4, &narrow), kGevBadValue);
    EXPECT_EQ(GevSetFeatureValue(handle, "Width", 4, &narrow), kGevBadValue);
    EXPECT_EQ(GevSetFeatureValue(handle, "WidthMax", 4, &narrow), kGevAccessDenied);
    EXPECT_EQ(GevSetFeatureValue(handle, "NoSuchFeature", 4, &narrow), kGevNotFound);
    for (const char* noNumber : {"DeviceUserID", "UserSetSave"}) {
        EXPECT_EQ(GevGetFeatureValue(handle, noNumber, 8, &wide), kGevBadValue);
        EXPECT_EQ(GevSetFeatureValue(handle, noNumber, 8, &wide), kGevBadValue);
    }
}

TEST_F(Calls, ADetachedCameraAnswersNobodyUntilItIsBack)
{
    const auto width = Integer("Width");
    StartFor(3);
    GrabFrames(1);

    camera->SetAttached(false);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    EXPECT_THROW(width->SetValue(64), GenICam::TimeoutException);
    std::uint64_t payload = 0;
    EXPECT_EQ(GevGetPayloadParameters(handle, &payload, nullptr), kGevTimeout);
    EXPECT_EQ(GevGetFeatureValue(handle, "Width", 8, &payload), kGevTimeout);
    for (_tag_GEVBUF_ENTRY* frame : {Next(100), Next(100), Next(100)}) {
        GevReleaseFrame(handle, frame); // had arrived before, if it is one
    }
    EXPECT_EQ(Next(100), nullptr);
    EXPECT_EQ(status, kGevTimeout);
    EXPECT_FALSE(FindDevice(camera->Serial()));

    camera->SetAttached(true);
    EXPECT_NE(GevGetCameraInfo(handle), nullptr);
    EXPECT_EQ(width->GetValue(), 64);
    GrabFrames(10);
}

TEST_F(Calls, InterruptedCamerasAreStoppedAndClosedAndDoNothingElse)
{
    const GEV_DEVICE_INFO own = device;
    StartFor(3);
    GrabFrames(1);
    EXPECT_EQ(GevInterruptCameras(1), kGevOk);
    EXPECT_EQ(Next(), nullptr);
    EXPECT_EQ(status, kGevTimeout);
    EXPECT_THROW(Integer("Width")->GetValue(), GenICam::TimeoutException);
    EXPECT_FALSE(FindDevice(camera->Serial()));
    EXPECT_EQ(GevAbortTransfer(handle), kGevOk);
    EXPECT_EQ(GevFreeTransfer(handle), kGevOk);
    EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
    EXPECT_EQ(GevOpenCamera(&own, 2, &handle), kGevTimeout);
    EXPECT_EQ(GevInterruptCameras(0), kGevOk);
    int held = -1;
    EXPECT_EQ(GevIsCameraHeld(&own, &held), kGevOk);
    EXPECT_EQ(held, 0);
    Open(camera->Serial());
    StartFor(3);
    GrabFrames(3);
}

} // namespace
