#include "cameras/replay.h"

#include "base/pixel_format.h"
#include "cameras/open_camera.h"
#include "gev_backend_choice.h"
#include "sim_control.h"

#include <exception>
#include <fmt/format.h>
#include <string_view>

namespace kvgrab
{

namespace
{

constexpr const char* kSerial = "REPLAY";

/** The names that choose a pixel format in a configuration, by the formats' own codes. */
constexpr base::Named<std::uint32_t> kFormats[] = {{"mono8", base::kMono8},
                                                   {"mono12p", base::kMono12Packed},
                                                   {"mono12", base::kMono12},
                                                   {"yuv422", base::kYuv422Packed},
                                                   {"bayer8", base::kBayerRg8}};

} // namespace

bool SetUpReplay(Options* options, std::string* error)
{
    gevplat::BackendChoice backends;
    backends.simulated = true;
    backends.network = false;
    if (!gevplat::ChooseBackends(backends, error)) {
        return false;
    }
    sim::CameraSetup setup;
    setup.serial = kSerial;
    setup.replay = *options->replayFolder;
    setup.replayFast = options->replayFast;
    setup.replayLoop = options->replayLoop;
    try {
        sim::AddCamera(setup);
    } catch (const std::exception& failure) {
        *error = failure.what();
        return false;
    }
    sim::ReplayState state;
    sim::GetReplay(kSerial, &state);
    for (const auto& [name, code] : kFormats) {
        if (code == state.pixelFormat) {
            options->format = name;
        }
    }
    return true;
}

std::string SerialOfReplay()
{
    const std::string serial = OpenSimulatedSerial();
    sim::ReplayState state;
    return !serial.empty() && sim::GetReplay(serial, &state) ? serial : std::string();
}

ReplayEnd EndOfReplay(const std::string& serial)
{
    sim::ReplayState state;
    if (serial.empty() || !sim::GetReplay(serial, &state)) {
        return {};
    }
    return {state.over, std::move(state.failure)};
}

std::string ReplayLine(const std::string& serial)
{
    sim::ReplayState state;
    sim::GetReplay(serial, &state);
    return fmt::format("the camera plays a recording back: {} pictures, {} frames lost between "
                       "them, {} that were not exported",
                       state.frames, state.lost, state.notExported);
}

} // namespace kvgrab
