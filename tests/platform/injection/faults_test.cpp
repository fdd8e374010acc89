/** The script: every fault does what it says, where and as often as it says. */
#include "tests/platform/sim/sim_session.h"

#include <gmock/gmock.h>

#include <functional>
#include <stdexcept>

namespace
{

using GenICam::GenericException;
using sim::Effect;
using sim::ExceptionKind;
using sim::Trigger;

class Faults : public SimSession
{
protected:
    void SetUp() override { OpenCamera(); }
};

/** What an access raises. */
ExceptionKind Raised(const std::function<void()>& access)
{
    try {
        access();
    } catch (const GenICam::InvalidArgumentException&) {
        return ExceptionKind::InvalidArgument;
    } catch (const GenICam::PropertyException&) {
        return ExceptionKind::Property;
    } catch (const GenICam::LogicalErrorException&) {
        return ExceptionKind::LogicalError;
    } catch (const GenICam::OutOfRangeException&) {
        return ExceptionKind::OutOfRange;
    } catch (const GenICam::RuntimeException&) {
        return ExceptionKind::Runtime;
    } catch (const GenICam::AccessException&) {
        return ExceptionKind::Access;
    } catch (const GenICam::TimeoutException&) {
        return ExceptionKind::Timeout;
    } catch (const GenICam::DynamicCastException&) {
        return ExceptionKind::DynamicCast;
    } catch (const std::runtime_error&) {
        return ExceptionKind::Standard;
    } catch (...) {
        return ExceptionKind::Unknown;
    }
    throw std::logic_error("nothing was raised");
}

class FaultKinds : public Faults, public testing::WithParamInterface<ExceptionKind>
{
};

TEST_P(FaultKinds, AreRaisedAsAskedAndLeaveTheValue)
{
    sim::AddFault({.trigger = Trigger::Write,
                   .name = "Gain",
                   .camera = "S1",
                   .exception = GetParam(),
                   .text = "planned"});
    EXPECT_EQ(Raised([&] { Float("Gain")->SetValue(2); }), GetParam());
    EXPECT_EQ(Float("Gain")->GetValue(), 1); // reads are not concerned
    Float("Gain")->SetValue(2);              // once only
    EXPECT_EQ(Float("Gain")->GetValue(), 2);

    sim::AddFault({.trigger = Trigger::Read, .name = "Gain", .exception = GetParam()});
    double value = 0;
    EXPECT_LT(GevGetFeatureValue(handle, "Gain", 8, &value), 0); // a status, never an exception
}

INSTANTIATE_TEST_SUITE_P(All, FaultKinds,
                         testing::Values(ExceptionKind::InvalidArgument, ExceptionKind::Property,
                                         ExceptionKind::LogicalError, ExceptionKind::OutOfRange,
                                         ExceptionKind::Runtime, ExceptionKind::Access,
                                         ExceptionKind::Timeout, ExceptionKind::DynamicCast,
                                         ExceptionKind::Standard, ExceptionKind::Unknown));

TEST_F(Faults, StrikeAtTheNthMatchAndSoManyTimes)
{
    sim::AddFault({.trigger = Trigger::Access, .nth = 3, .times = 2, .text = "third"});
    const auto rate = Float("AcquisitionFrameRate");
    rate->GetValue();
    rate->SetValue(50);
    try {
        rate->GetMax(); // a range is read, too
        ADD_FAILURE();
    } catch (const GenICam::RuntimeException& e) {
        EXPECT_STREQ(e.GetDescription(), "third");
    }
    EXPECT_THROW(Integer("Width")->SetValue(128), GenICam::RuntimeException);
    Integer("Width")->SetValue(128);

    sim::AddFault({.trigger = Trigger::Read, .name = "Width", .camera = "another", .times = 0});
    EXPECT_EQ(Integer("Width")->GetValue(), 128);
    sim::AddFault({.trigger = Trigger::Read, .name = "Width", .times = 0});
    for (int i = 0; i < 5; ++i) {
        EXPECT_THROW(Integer("Width")->GetValue(), GenICam::RuntimeException);
    }
    sim::ClearFaults();
    EXPECT_EQ(Integer("Width")->GetValue(), 128);
}

TEST_F(Faults, WhatVerificationRefusesNeverReachesTheCamera)
{
    sim::AddFault({.trigger = Trigger::Write, .name = "Width"});
    EXPECT_THROW(Integer("Width")->SetValue(3), GenICam::OutOfRangeException);
    EXPECT_THROW(Integer("Width")->SetValue(128), GenICam::RuntimeException);
}

/** A camera call by name, with arguments that would succeed. */
struct NamedCall {
    const char* name;
    std::function<int(void*, GEV_DEVICE_INFO&)> call;
};

class FaultyCalls : public Faults, public testing::WithParamInterface<NamedCall>
{
};

TEST_P(FaultyCalls, FailWithTheStatusAskedForAndDoNothing)
{
    StartFor(2);
    if (std::string(GetParam().name) == "GevOpenCamera") {
        GevCloseCamera(&handle);
    }
    sim::AddFault({.trigger = Trigger::Call,
                   .name = GetParam().name,
                   .effect = Effect::Fail,
                   .value = -1234});
    EXPECT_EQ(GetParam().call(handle, device), -1234);
    EXPECT_NE(GetParam().call(handle, device), -1234);
}

template <class Pointer> int Status(const Pointer* pointer)
{
    return pointer == nullptr ? -1234 : 0;
}

INSTANTIATE_TEST_SUITE_P(
    All, FaultyCalls,
    testing::Values(
        NamedCall{"GevGetCameraList",
                  [](void*, GEV_DEVICE_INFO& d) {
                      int count = 0;
                      return GevGetCameraList(&d, 1, &count);
                  }},
        NamedCall{"GevOpenCamera",
                  [](void*, GEV_DEVICE_INFO& d) {
                      void* opened = nullptr;
                      return GevOpenCamera(&d, 2, &opened);
                  }},
        NamedCall{"GevCloseCamera", [](void* h, GEV_DEVICE_INFO&) { return GevCloseCamera(&h); }},
        NamedCall{"GevApiUninitialize",
                  [](void*, GEV_DEVICE_INFO&) { return GevApiUninitialize(); }},
        NamedCall{"GevGetCameraInfo",
                  [](void* h, GEV_DEVICE_INFO&) { return Status(GevGetCameraInfo(h)); }},
        NamedCall{"GevGetFeatureNodeMap",
                  [](void* h, GEV_DEVICE_INFO&) { return Status(GevGetFeatureNodeMap(h)); }},
        NamedCall{"GevGetCameraInterfaceOptions",
                  [](void* h, GEV_DEVICE_INFO&) {
                      GEV_CAMERA_OPTIONS options;
                      return GevGetCameraInterfaceOptions(h, &options);
                  }},
        NamedCall{"GevSetCameraInterfaceOptions",
                  [](void* h, GEV_DEVICE_INFO&) {
                      GEV_CAMERA_OPTIONS options{};
                      options.streamPacketSize = 1500;
                      return GevSetCameraInterfaceOptions(h, &options);
                  }},
        NamedCall{"GevGetFeatureValue",
                  [](void* h, GEV_DEVICE_INFO&) {
                      std::int64_t value = 0;
                      return GevGetFeatureValue(h, "Width", 8, &value);
                  }},
        NamedCall{"GevSetFeatureValue",
                  [](void* h, GEV_DEVICE_INFO&) {
                      const double value = 2;
                      return GevSetFeatureValue(h, "Gain", 8, &value);
                  }},
        NamedCall{
            "GevGetPayloadParameters",
            [](void* h, GEV_DEVICE_INFO&) { return GevGetPayloadParameters(h, nullptr, nullptr); }},
        NamedCall{"GevInitializeTransfer",
                  [](void* h, GEV_DEVICE_INFO& d) {
                      void* buffer = &d;
                      return GevInitializeTransfer(h, 1, 4, 1, &buffer);
                  }},
        NamedCall{"GevStartTransfer",
                  [](void* h, GEV_DEVICE_INFO&) { return GevStartTransfer(h, 1); }},
        NamedCall{"GevAbortTransfer",
                  [](void* h, GEV_DEVICE_INFO&) { return GevAbortTransfer(h); }},
        NamedCall{"GevFreeTransfer", [](void* h, GEV_DEVICE_INFO&) { return GevFreeTransfer(h); }},
        NamedCall{"GevWaitForNextFrame",
                  [](void* h, GEV_DEVICE_INFO&) {
                      _tag_GEVBUF_ENTRY* frame = nullptr;
                      return GevWaitForNextFrame(h, &frame, 1);
                  }},
        NamedCall{"GevReleaseFrame",
                  [](void* h, GEV_DEVICE_INFO&) {
                      _tag_GEVBUF_ENTRY entry{};
                      return GevReleaseFrame(h, &entry);
                  }},
        NamedCall{"GevGetTransferStatistics",
                  [](void*, GEV_DEVICE_INFO&) {
                      GEV_TRANSFER_STATISTICS counts;
                      return GevGetTransferStatistics(&counts);
                  }}),
    [](const auto& instance) { return instance.param.name; });

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
    const auto take = [&] {
        _tag_GEVBUF_ENTRY* frame = Next();
        const _tag_GEVBUF_ENTRY copy = frame == nullptr ? _tag_GEVBUF_ENTRY{} : *frame;
        GevReleaseFrame(handle, frame);
        return copy;
    };
    EXPECT_EQ(take().frameId, 1U);
    const _tag_GEVBUF_ENTRY incomplete = take();
    EXPECT_EQ(incomplete.frameId, 3U);
    EXPECT_EQ(status, kGevIncomplete);
    EXPECT_EQ(incomplete.receivedBytes, 64U * 64 / 2);
    const std::int64_t beforeNs = clock->NowNs();
    EXPECT_EQ(take().frameId, 4U);
    EXPECT_EQ(status, kGevOk);
    EXPECT_EQ(clock->NowNs() - beforeNs, 35 * kMs);
    EXPECT_EQ(take().frameId, 5U); // overtaken by nobody
    EXPECT_EQ(take().frameId, 6U);
    EXPECT_EQ(take().address, nullptr);
    EXPECT_EQ(status, kGevOk);
    EXPECT_EQ(take().frameId, 0U); // success without a frame
    EXPECT_EQ(status, kGevOk);
    const _tag_GEVBUF_ENTRY stamped = take();
    EXPECT_EQ(stamped.timestamp, 0x500000007U);
    EXPECT_EQ(stamped.timestampHigh, 5U);
    const _tag_GEVBUF_ENTRY zero = take();
    EXPECT_EQ(zero.timestamp, 0U);
    EXPECT_EQ(zero.timestampLow, static_cast<std::uint32_t>(kStartNs + 90 * kMs));
    for (std::uint64_t i = 10; i < 13; ++i) { // for good
        EXPECT_EQ(take().timestamp, 1'001'000'000'000 + i * 10 * kMs);
    }
    GEV_TRANSFER_STATISTICS counts{};
    GevGetTransferStatistics(&counts);
    EXPECT_EQ(counts.framesLost, 1U);
    EXPECT_EQ(counts.framesIncomplete, 1U);
    EXPECT_EQ(counts.framesReceived, 10U);
    EXPECT_EQ(counts.underruns, 0U);
}

TEST_F(Faults, ACameraLeavesAndReturns)
{
    const auto width = Integer("Width");
    sim::AddFault({.trigger = Trigger::Access, .effect = Effect::Detach, .value = 20 * kMs});
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    clock->AdvanceNs(20 * kMs);
    EXPECT_EQ(width->GetValue(), 64);

    sim::AddFault({.trigger = Trigger::Call,
                   .name = "GevGetPayloadParameters",
                   .effect = Effect::Detach,
                   .value = 20 * kMs});
    EXPECT_EQ(GevGetPayloadParameters(handle, nullptr, nullptr), kGevTimeout);
    clock->AdvanceNs(20 * kMs);
    EXPECT_EQ(GevGetPayloadParameters(handle, nullptr, nullptr), kGevOk);

    sim::AddFault(
        {.trigger = Trigger::Frame, .nth = 3, .effect = Effect::Detach, .value = 500 * kMs});
    StartFor(2);
    for (int i = 0; i < 2; ++i) {
        GevReleaseFrame(handle, Next());
    }
    EXPECT_EQ(Next(400), nullptr);
    const auto* frame = Next(200);
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->frameId, 4U); // nothing was exposed meanwhile
    GevFreeTransfer(handle);

    sim::AddFault({.trigger = Trigger::Time,
                   .nth = static_cast<std::uint64_t>(30 * kMs),
                   .effect = Effect::Detach});
    EXPECT_NE(GevGetCameraInfo(handle), nullptr);
    clock->AdvanceNs(30 * kMs);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    clock->AdvanceNs(3'600'000 * kMs); // for good
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    sim::SetAttached("S1", true);
    EXPECT_EQ(width->GetValue(), 64);
}

TEST_F(Faults, AFrameLostUnderWayGivesItsBufferBack)
{
    StartFor(1);
    EXPECT_EQ(Next(1), nullptr); // its buffer is being filled
    sim::SetAttached("S1", false);
    EXPECT_EQ(Next(20), nullptr);
    sim::SetAttached("S1", true);
    EXPECT_NE(Next(), nullptr);
}

TEST_F(Faults, SlowAccessesAndCallsTakeTheirTime)
{
    sim::AddFault(
        {.trigger = Trigger::Read, .name = "Gain", .effect = Effect::Delay, .value = 70 * kMs});
    sim::AddFault({.trigger = Trigger::Call,
                   .name = "GevGetCameraInfo",
                   .effect = Effect::Delay,
                   .value = 5 * kMs});
    const std::int64_t beforeNs = clock->NowNs();
    EXPECT_EQ(Float("Gain")->GetValue(), 1);
    EXPECT_EQ(clock->NowNs(), beforeNs + 70 * kMs);
    EXPECT_NE(GevGetCameraInfo(handle), nullptr);
    EXPECT_EQ(clock->NowNs(), beforeNs + 75 * kMs);
}

} // namespace
