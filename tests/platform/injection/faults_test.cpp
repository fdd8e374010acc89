/** Every effect of faults, and when and how often faults take effect. */
#include "tests/platform/raised.h"
#include "tests/platform/sim/sim_session.h"

#include <functional>
#include <gmock/gmock.h>

namespace
{

using sim::Effect;
using sim::ExceptionKind;
using sim::Trigger;
using testing::ElementsAre;

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

TEST_F(Faults, TakeEffectAtTheNthMatchAndSoManyTimes)
{
    sim::AddFault({.trigger = Trigger::Access, .nth = 3, .times = 2, .text = "third"});
    const auto rate = Float("AcquisitionFrameRate");
    const auto width = Integer("Width");
    rate->GetValue();
    rate->SetValue(50);
    EXPECT_EQ(Raised([&] { rate->GetMax(); }), "Runtime third"); // a range is read, too
    EXPECT_EQ(Raised([&] { width->SetValue(128); }), "Runtime third");
    width->SetValue(128);

    sim::AddFault({.trigger = Trigger::Read, .name = "Width", .camera = "another", .times = 0});
    EXPECT_EQ(width->GetValue(), 128);
    sim::AddFault({.trigger = Trigger::Read, .name = "Width", .times = 0});
    for (int i = 0; i < 5; ++i) {
        EXPECT_THROW(width->GetValue(), GenICam::RuntimeException);
    }
    sim::ClearFaults();
    EXPECT_EQ(width->GetValue(), 128);
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

TEST_F(Faults, FramesAreLostCutDelayedAndStripped)
{
    const auto onFrame = [](std::uint64_t nth, Effect effect, std::int64_t value = 0) {
        sim::AddFault({.trigger = Trigger::Frame, .nth = nth, .effect = effect, .value = value});
    };
    onFrame(2, Effect::Lose);
    onFrame(3, Effect::Incomplete);
    onFrame(4, Effect::Delay, 25 * kMs);
    onFrame(7, Effect::NullImage);
    onFrame(8, Effect::NullFrame);
    onFrame(9, Effect::Timestamp, 0x500000007);
    onFrame(10, Effect::ZeroTimestamp);
    onFrame(11, Effect::JumpTicks, 1'000'000'000'000);
    StartFor(4);
    std::vector<_tag_GEVBUF_ENTRY> taken;
    std::vector<std::int64_t> timesNs;
    for (int i = 0; i < 12; ++i) {
        _tag_GEVBUF_ENTRY* frame = Next();
        EXPECT_EQ(status, i == 1 ? kGevIncomplete : kGevOk) << i;
        timesNs.push_back(clock->NowNs());
        taken.push_back(frame == nullptr ? _tag_GEVBUF_ENTRY{} : *frame);
        GevReleaseFrame(handle, frame);
    }
    std::vector<std::uint32_t> ids;
    for (const _tag_GEVBUF_ENTRY& frame : taken) {
        ids.push_back(frame.frameId);
    }
    EXPECT_THAT(ids, ElementsAre(1, 3, 4, 5, 6, 7, 0, 9, 10, 11, 12, 13)); // none overtakes
    EXPECT_EQ(taken[1].receivedBytes, 64U * 64 / 2);
    EXPECT_EQ(timesNs[2] - timesNs[1], 35 * kMs);
    EXPECT_EQ(taken[5].address, nullptr);
    EXPECT_EQ(taken[7].timestamp, 0x500000007U);
    EXPECT_EQ(taken[7].timestampHigh, 5U);
    EXPECT_EQ(taken[8].timestamp, 0U);
    EXPECT_EQ(taken[8].timestampLow, static_cast<std::uint32_t>(kStartNs + 90 * kMs));
    for (std::size_t i = 9; i < taken.size(); ++i) { // for good
        EXPECT_EQ(taken[i].timestamp, 1'001'000'000'000 + (i + 1) * 10 * kMs);
    }
    const GEV_TRANSFER_STATISTICS counts = Statistics();
    EXPECT_EQ(counts.framesLost, 1U);
    EXPECT_EQ(counts.framesIncomplete, 1U);
    EXPECT_EQ(counts.framesReceived, 10U);
    EXPECT_EQ(counts.underruns, 0U);
}

TEST_F(Faults, ACameraLeavesAndReturns)
{
    const auto leaves = [](Trigger trigger, std::uint64_t nth, std::int64_t forNs) {
        sim::AddFault({.trigger = trigger, .nth = nth, .effect = Effect::Detach, .value = forNs});
    };
    const auto width = Integer("Width");
    leaves(Trigger::Access, 1, 20 * kMs);
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    clock->AdvanceNs(20 * kMs);
    EXPECT_EQ(width->GetValue(), 64);

    leaves(Trigger::Call, 1, 20 * kMs);
    EXPECT_EQ(GevGetPayloadParameters(handle, nullptr, nullptr), kGevTimeout);
    clock->AdvanceNs(20 * kMs);
    EXPECT_EQ(GevGetPayloadParameters(handle, nullptr, nullptr), kGevOk);

    leaves(Trigger::Frame, 3, 500 * kMs);
    StartFor(2);
    GrabFrames(2);
    EXPECT_EQ(Next(400), nullptr);
    EXPECT_EQ(Take().frameId, 4U); // nothing was exposed meanwhile
    GevFreeTransfer(handle);

    leaves(Trigger::Time, static_cast<std::uint64_t>(30 * kMs), 0);
    EXPECT_NE(GevGetCameraInfo(handle), nullptr);
    clock->AdvanceNs(30 * kMs);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    clock->AdvanceNs(3'600'000 * kMs); // for good
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    sim::SetAttached("S1", true);
    EXPECT_EQ(width->GetValue(), 64);
}

TEST_F(Faults, ADroppedFrameGivesItsBufferBack)
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

TEST_F(Faults, SlowAccessesAndCallsTakeTheirTime)
{
    const auto takes = [](Trigger trigger, const char* name, std::int64_t ns) {
        sim::AddFault({.trigger = trigger, .name = name, .effect = Effect::Delay, .value = ns});
    };
    takes(Trigger::Read, "Gain", 70 * kMs);
    takes(Trigger::Call, "GevGetCameraInfo", 5 * kMs);
    EXPECT_EQ(Float("Gain")->GetValue(), 1);
    EXPECT_EQ(clock->NowNs(), kStartNs + 70 * kMs);
    EXPECT_NE(GevGetCameraInfo(handle), nullptr);
    EXPECT_EQ(clock->NowNs(), kStartNs + 75 * kMs);
}

} // namespace
