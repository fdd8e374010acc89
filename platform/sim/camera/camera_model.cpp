#include "sim/camera/camera_model.h"

#include "injection/record.h"
#include "sim/texts.h"

#include <algorithm>
#include <utility>

namespace sim
{

namespace
{

/** Set-ups come from scripts and files: what no camera could be is brought within reach. */
CameraSetup Sane(CameraSetup setup)
{
    constexpr std::uint32_t kLargestSensor = 65536;
    constexpr double kMostNoise = 100;
    setup.sensorWidth = std::clamp(setup.sensorWidth, 1U, kLargestSensor);
    setup.sensorHeight = std::clamp(setup.sensorHeight, 1U, kLargestSensor);
    setup.tickBits = std::clamp(setup.tickBits, 1U, 64U);
    setup.driftPpm = std::clamp(setup.driftPpm, -1e5, 1e5);
    setup.jitterUs = std::clamp(setup.jitterUs, 0.0, 1e9);
    setup.noise = setup.noise > 0 ? std::min(setup.noise, kMostNoise) : 0;
    return setup;
}

} // namespace

CameraModel::CameraModel(CameraSetup setup, const NetworkClock& clock,
                         std::shared_ptr<const LightImage> image)
    : setup_(Sane(std::move(setup))), clock_(clock), ticks_(setup_),
      features_(setup_, *this,
                {.streaming = [this] { return stream_.IsRunning(); },
                 .nowNs = [this] { return clock_.NowNs(); }}),
      lines_(features_.lines), stream_(*this, std::move(image))
{
    if (!setup_.attached) {
        presence_.Detach(std::numeric_limits<std::int64_t>::min());
    }
}

CameraModel::~CameraModel() = default;

GEV_DEVICE_INFO CameraModel::Info() const
{
    const char* ownName = setup_.model == Model::Color ? "Simulated-C" : "Simulated-M";
    GEV_DEVICE_INFO info{};
    CopyText(info.manufacturer, setup_.manufacturer);
    CopyText(info.model, setup_.modelName.empty() ? ownName : setup_.modelName);
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
    const std::int64_t nowNs = clock_.NowNs();
    stream_.Advance(nowNs);
    if (!presence_.At(nowNs)) {
        throw GenICam_3_0::TimeoutException("camera " + setup_.serial + " does not answer");
    }
}

void CameraModel::Strike(genapi::AccessKind kind, const char* feature)
{
    const bool write = kind == genapi::AccessKind::Write;
    sim::Record& record = sim::Record::Get();
    record.CountAccess(write);
    if (FaultTable::Get().Empty()) {
        return;
    }
    const auto due =
        FaultTable::Get().Due(write ? Trigger::Write : Trigger::Read, feature, setup_.serial);
    for (const Fault& fault : due) {
        record.Add("fault", std::string(write ? "write " : "read ") + feature);
        switch (fault.effect) {
        case Effect::Delay:
            clock_.SleepNs(fault.value);
            break;
        case Effect::Detach:
            Detach(clock_.NowNs(), fault.value);
            Enter(); // raises
            break;
        case Effect::Throw:
            RaiseFault(fault);
        default:
            break;
        }
    }
}

bool CameraModel::Recording() const
{
    return sim::Record::Get().On();
}

void CameraModel::Record(const char* kind, std::string text)
{
    sim::Record::Get().Add(kind, std::move(text));
}

} // namespace sim
