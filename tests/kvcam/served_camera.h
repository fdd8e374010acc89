/** A simulated camera behind its registers, without a network. */
#pragma once

#include "tools/kvcam/features/features.h"

#include <array>
#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <string>
#include <vector>

namespace test
{

/** Time passes when a test says so; frames go nowhere. */
struct ServedCamera : kvcam::Acquisition {
    explicit ServedCamera(const sim::CameraSetup& setup)
        : time(std::make_shared<sim::ManualClock>(1'000'000'000)), camera(setup, SetClock()),
          features(camera, *this)
    {
        std::array<void*, 1> buffers = {frame.data()};
        camera.Frames().Initialize(frame.size(), 1, buffers.data());
    }

    kvcam::Status Start(std::uint32_t = kForEver) override
    {
        camera.Frames().Start(0xFFFF'FFFF);
        return kvcam::Status::Done;
    }
    kvcam::Status Stop() override
    {
        camera.Frames().Abort();
        return kvcam::Status::Done;
    }
    bool IsRunning() const override { return false; }
    void SetTarget(const kvcam::StreamTarget&) override {}
    void SendTestPacket() override {}
    void Resend(const kvcam::ResendRange&) override {}

    std::array<std::uint8_t, 16> frame{};
    std::shared_ptr<sim::ManualClock> time;
    sim::NetworkClock clock;
    sim::CameraModel camera;
    kvcam::Features features;

private:
    const sim::NetworkClock& SetClock()
    {
        clock.Set(time);
        return clock;
    }
};

/** Set-ups whose features differ. */
inline std::vector<sim::CameraSetup> Setups()
{
    const sim::CameraSetup mono{.picture = sim::Picture::Plain, .tickFrequency = 125'000'000};
    sim::CameraSetup color = mono;
    color.model = sim::Model::Color;
    color.lockRegulated = true;
    sim::CameraSetup odd = mono;
    odd.missing = {"GainSelector", "HeightMax", "ChunkEnable"};
    odd.mistyped = {{"OffsetX", sim::NodeKind::Float},
                    {"LUTSelector", sim::NodeKind::Boolean},
                    {"lutMode", sim::NodeKind::Integer},
                    {"ReverseX", sim::NodeKind::Enumeration}};
    odd.ranges = {{"Height", 1000, 10, 7}, {"ExposureTime", 50, 0.5, 1}, {"LUTIndex", -3, 9000, 1}};
    odd.readOnly = {"Gain", "UserSetSave"};
    odd.notAvailable = {"gammaCorrection", "TriggerDelay"};
    odd.notImplementedEntries = {"PixelFormat.Mono12", "LineSelector.Line4"};
    odd.missingEntries = {"ExposureAuto.Continuous"};
    odd.refusedFormats = {0x010C'0006};
    return {mono, color, odd};
}

/** Writes of values, as do_access.h has them; the node refuses a few of them. */
inline std::vector<std::string> Attempts(GenApi::INode& node)
{
    std::vector<std::string> attempts;
    if (auto* const integer = node.AsInteger()) {
        const auto& number = static_cast<genapi::IntegerNode&>(*integer);
        for (const std::int64_t value :
             {number.Min(), number.Max(), number.Min() + number.Inc(),
              number.Min() + number.Inc() * ((number.Max() - number.Min()) / number.Inc() / 2),
              number.Max() / 3, number.Min() - 1}) {
            attempts.push_back(fmt::format("={}", value));
        }
    } else if (auto* const real = node.AsFloat()) {
        const auto& number = static_cast<genapi::FloatNode&>(*real);
        for (const double value : {number.Min(), number.Max(), (number.Min() + number.Max()) / 3,
                                   number.Max() * 1.0000001, number.Max() + 1}) {
            attempts.push_back(fmt::format("={}", value));
        }
    } else if (auto* const enumeration = node.AsEnumeration()) {
        for (std::size_t i = 0; i < enumeration->GetEntryCount(); ++i) {
            attempts.push_back(fmt::format("={}", enumeration->GetEntry(i)->GetSymbolic()));
        }
        attempts.emplace_back("=nothing");
    } else if (node.AsString() != nullptr) {
        attempts = {"=me", "=", "=0123456789abcdef", "=0123456789abcdefg"};
    } else {
        attempts = {"=true", "=false"};
    }

    return attempts;
}

} // namespace test
