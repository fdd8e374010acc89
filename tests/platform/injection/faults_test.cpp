/** Every effect of faults, and when and how often faults take effect. */
#include "tests/platform/raised.h"
#include "tests/platform/sim/sim_session.h"

#include <functional>
#include <gtest/gtest.h>

namespace
{

using sim::Effect;
using sim::ExceptionKind;
using sim::Trigger;

class Faults : public SimSession
{
protected:
    void SetUp() override { OpenCamera(); }
};

TEST_F(Faults, ExceptionsAreRaisedAsAskedAndLeaveTheValue)
{
    const char* const kKinds[] = {"InvalidArgument planned", "Property planned",
                                  "LogicalError planned",    "OutOfRange planned",
                                  "Runtime planned",         "Access planned",
                                  "Timeout planned",         "DynamicCast planned",
                                  "Standard planned",        "Unknown"};
    const auto gain = Float("Gain");
    for (const char* const& kind : kKinds) {
        const auto exception = static_cast<ExceptionKind>(&kind - kKinds);
        gain->SetValue(1);
        sim::AddFault({.trigger = Trigger::Write,
                       .name = "Gain",
                       .camera = "S1",
                       .exception = exception,
                       .text = "planned"});
        EXPECT_EQ(Raised([&] { gain->SetValue(9); }).substr(0, 10), "OutOfRange"); // stays here
        EXPECT_EQ(Raised([&] { gain->SetValue(2); }), kind);
        EXPECT_EQ(gain->GetValue(), 1); // reads are not concerned
        gain->SetValue(2);              // once only
        EXPECT_EQ(gain->GetValue(), 2);
        sim::AddFault({.trigger = Trigger::Read, .name = "Gain", .exception = exception});
        double value = 0;
        EXPECT_LT(GevGetFeatureValue(handle, "Gain", 8, &value), 0); // a status, no exception
    }
}

TEST_F(Faults, CallsFailWithTheStatusAskedForAndDoNothing)
{
    const auto statusOf = [](const void* pointer) { return pointer == nullptr ? -1234 : kGevOk; };
    int count = 0;
    GEV_CAMERA_OPTIONS options{};
    double gain = 2;
    GEV_TRANSFER_STATISTICS counts{};
    std::uint8_t image[64 * 64];
    void* buffer = image;
    _tag_GEVBUF_ENTRY* frame = nullptr;
    // In an order in which each of them succeeds once, and only once it was done.
    const std::pair<const char*, std::function<int()>> kCalls[] = {
        {"GevGetCameraList", [&] { return GevGetCameraList(&device, 1, &count); }},
        {"GevGetCameraInfo", [&] { return statusOf(GevGetCameraInfo(handle)); }},
        {"GevGetFeatureNodeMap", [&] { return statusOf(GevGetFeatureNodeMap(handle)); }},
        {"GevGetCameraInterfaceOptions",
         [&] { return GevGetCameraInterfaceOptions(handle, &options); }},
        {"GevSetCameraInterfaceOptions",
         [&] { return GevSetCameraInterfaceOptions(handle, &options); }},
        {"GevGetFeatureValue", [&] { return GevGetFeatureValue(handle, "Gain", 8, &gain); }},
        {"GevSetFeatureValue", [&] { return GevSetFeatureValue(handle, "Gain", 8, &gain); }},
        {"GevGetPayloadParameters",
         [&] { return GevGetPayloadParameters(handle, nullptr, nullptr); }},
        {"GevInitializeTransfer",
         [&] { return GevInitializeTransfer(handle, 1, sizeof image, 1, &buffer); }},
        {"GevStartTransfer", [&] { return GevStartTransfer(handle, 1); }},
        {"GevGetTransferStatistics", [&] { return GevGetTransferStatistics(&counts); }},
        {"GevWaitForNextFrame", [&] { return GevWaitForNextFrame(handle, &frame, 100); }},
        {"GevReleaseFrame", [&] { return GevReleaseFrame(handle, frame); }},
        {"GevAbortTransfer", [&] { return GevAbortTransfer(handle); }},
        {"GevFreeTransfer", [&] { return GevFreeTransfer(handle); }},
        {"GevCloseCamera", [&] { return GevCloseCamera(&handle); }},
        {"GevOpenCamera", [&] { return GevOpenCamera(&device, 2, &handle); }},
        {"GevApiUninitialize", [&] { return GevApiUninitialize(); }},
    };
    for (const auto& [name, call] : kCalls) {
        sim::AddFault(
            {.trigger = Trigger::Call, .name = name, .effect = Effect::Fail, .value = -1234});
        EXPECT_EQ(call(), -1234) << name;
        EXPECT_EQ(call(), kGevOk) << name;
    }
}

TEST_F(Faults, AFrameLostUnderWayGivesItsBufferBack)
{
    StartFor(1);
    EXPECT_EQ(Next(1), nullptr); // its buffer is being filled
    GevAbortTransfer(handle);
    GevStartTransfer(handle, kForEver);
    EXPECT_EQ(Next(1), nullptr);
    sim::SetAttached("S1", false);
    EXPECT_EQ(Next(20), nullptr); // lost on its way
    sim::SetAttached("S1", true);
    GrabFrames(1);
}

} // namespace
