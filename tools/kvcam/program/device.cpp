#include "tools/kvcam/program/device.h"

#include "tools/kvcam/big_endian.h"
#include "tools/kvcam/features/acquisition_registers.h"

#include <array>
#include <utility>

namespace kvcam
{

namespace
{

Identity IdentityOf(const DeviceParts& parts, const DeviceOptions& options)
{
    const sim::CameraSetup& setup = parts.model.Setup();
    return {.address = options.address,
            .mask = options.interface.mask,
            .maker = setup.manufacturer,
            .model = setup.modelName,
            .version = setup.version,
            .serial = setup.serial,
            .descriptionBytes = parts.descriptionBytes,
            .tickFrequency = setup.tickFrequency,
            .resends = options.resends,
            .extendedIds = options.extendedIds,
            .streamPort = parts.streamPort};
}

TickCounting TicksOf(sim::CameraModel& model)
{
    const auto now = [&model] {
        const genapi::AccessScope scope(model);
        return model.Ticks().At(model.Time().NowNs());
    };
    const auto reset = [&model] {
        const genapi::AccessScope scope(model);
        const std::int64_t nowNs = model.Time().NowNs();
        model.Ticks().Jump(nowNs, -static_cast<std::int64_t>(model.Ticks().At(nowNs)));
    };
    return {now, reset};
}

/** The registers of the acquisition have none of the camera's nodes behind them. */
void PowerUp(Memory& values)
{
    std::array<std::uint8_t, 4> bytes{};
    PutBigEndian(kContinuous, bytes);
    values.Write(kAcquisitionMode, bytes);
    PutBigEndian(1, bytes);
    values.Write(kAcquisitionFrameCount, bytes);
}

/** The features' values at power-up are the user set Default. A camera without user sets keeps its
 *  settings. */
void PowerUp(sim::CameraModel& model)
{
    const genapi::AccessScope scope(model);
    genapi::Feature* const selector = model.Features().Shown("UserSetSelector");
    auto* const load = dynamic_cast<genapi::CommandNode*>(model.Features().Shown("UserSetLoad"));
    if (selector == nullptr || load == nullptr || !selector->SetText("Default")) {
        return;
    }
    try {
        load->Execute(false);
    } catch (const GenICam_3_0::GenericException&) { // a fault hit it: the settings stay
    }
}

} // namespace

Device::Device(const DeviceParts& parts, const DeviceOptions& options, CommandFaults faults)
    : sockets_(options.address, options.interface),
      bootstrap_(IdentityOf(parts, options), TicksOf(parts.model), parts.acquisition),
      desk_({.bootstrap = bootstrap_,
             .parts = {{kDescriptionBase, &parts.description}, {kFeatureBase, &parts.values}},
             .acquisition = parts.acquisition,
             .isPresent = [&model = parts.model] { return model.IsPresent(); },
             .powerUp =
                 [&model = parts.model, &values = parts.values] {
                     PowerUp(model);
                     PowerUp(values);
                 }},
            std::move(faults), parts.model.Time().NowNs()),
      server_(sockets_, desk_, [&model = parts.model] { return model.Time().NowNs(); })
{
}

} // namespace kvcam
