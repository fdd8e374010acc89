#include "sim/camera/camera_model.h"

#include "core/interruption.h"
#include "injection/node_faults.h"
#include "sim/texts.h"

#include <algorithm>
#include <fmt/format.h>
#include <utility>

namespace sim
{

namespace
{

/** Set-ups come from programs and files, so values that no camera could have are clamped. */
CameraSetup Clamped(CameraSetup setup)
{
    constexpr std::uint32_t kLargestSensor = 65536;
    constexpr double kMostNoise = 100;
    setup.sensorWidth = std::clamp(setup.sensorWidth, 1U, kLargestSensor);
    setup.sensorHeight = std::clamp(setup.sensorHeight, 1U, kLargestSensor);
    setup.tickBits = std::clamp(setup.tickBits, 1U, 64U);
    setup.driftPpm = std::clamp(setup.driftPpm, -1e5, 1e5);
    setup.jitterUs = std::clamp(setup.jitterUs, 0.0, 1e9);
    if (setup.modelName.empty()) {
        setup.modelName = setup.model == Model::Color ? "Simulated-C" : "Simulated-M";
    }
    setup.triggerLine = std::clamp(setup.triggerLine, 1, 2);
    setup.triggerHz = setup.triggerHz >= 1e-3 ? std::min(setup.triggerHz, 1e5) : 0;
    setup.triggerPulseUs = std::clamp(setup.triggerPulseUs, 1.0, 1e9);
    std::erase_if(setup.triggerTimesS, [](double s) { return !(s >= 0 && s <= 1e9); });
    setup.lineReadoutUs = std::clamp(setup.lineReadoutUs, 0.0, 1000.0);
    setup.highestFrameRate = std::clamp(setup.highestFrameRate, 1.0, 1e5);
    setup.noise = setup.noise > 0 ? std::min(setup.noise, kMostNoise) : 0;
    return setup;
}

} // namespace

CameraModel::CameraModel(CameraSetup setup, const NetworkClock& clock,
                         std::shared_ptr<const LightImage> image,
                         std::shared_ptr<const Recording> recording)
    : setup_(Clamped(std::move(setup))), clock_(clock), ticks_(setup_),
      features_(setup_, *this,
                {.streaming = [this] { return stream_.IsRunning(); },
                 .nowNs = [this] { return clock_.NowNs(); }}),
      lines_(features_.lines), stream_(*this, std::move(image), std::move(recording))
{
    if (!setup_.attached) {
        presence_.Detach(std::numeric_limits<std::int64_t>::min());
    }
}

CameraModel::~CameraModel() = default;

GEV_DEVICE_INFO CameraModel::Info() const
{
    GEV_DEVICE_INFO info{};
    CopyText(info.manufacturer, setup_.manufacturer);
    CopyText(info.model, setup_.modelName);
    CopyText(info.serial, setup_.serial);
    CopyText(info.version, setup_.version);
    CopyText(info.backend, "sim");
    CopyText(info.address, setup_.serial);
    return info;
}

void CameraModel::Detach(std::int64_t fromNs, std::int64_t forNs)
{
    presence_.Detach(fromNs, forNs <= 0 ? Presence::kNever : fromNs + forNs);
}

void CameraModel::SetAttached(bool attached)
{
    if (attached) {
        presence_.Attach(clock_.NowNs());
    } else {
        presence_.Detach(clock_.NowNs());
    }
}

void CameraModel::ForgetScripted()
{
    const genapi::AccessScope scope(*this);
    const std::int64_t nowNs = clock_.NowNs();
    presence_.ForgetFuture(nowNs);
    ticks_.ForgetFuture(nowNs);
}

void CameraModel::Enter()
{
    if (gevplat::Interruption::IsOn()) {
        throw GenICam_3_0::TimeoutException(
            fmt::format("the access to camera {} was interrupted", setup_.serial));
    }
    const std::int64_t nowNs = clock_.NowNs();
    stream_.Advance(nowNs);
    if (!presence_.At(nowNs)) {
        throw GenICam_3_0::TimeoutException(
            fmt::format("camera {} does not answer", setup_.serial));
    }
}

void CameraModel::InjectFaults(injection::AccessKind kind, const char* feature)
{
    injection::InjectFaults(kind, feature, setup_.serial.c_str(), *this);
}

void CameraModel::DetachCamera(const char* /*serial*/, std::int64_t forNs)
{
    Detach(clock_.NowNs(), forNs);
    Enter(); // raises
}

} // namespace sim
