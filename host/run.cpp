#include "run.h"

#include "cameras/camera_features.h"
#include "cameras/cameras.h"
#include "cameras/chosen_camera.h"
#include "report/failure.h"
#include "session/grabbing.h"

#include <cstdio>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** The configuration file with what the command line says on top of it. */
ConfigSource SourceOf(const Options& options)
{
    return FileSource(options.configPath,
                      [options](Config* config) { ApplyOverrides(options, config); });
}

/** Reads the configuration and sets the cameras up, for commands that don't grab. False: `*status`
 *  says with what to end. */
bool SetUpBeside(const Options& options, Config* config, ExitStatus* status)
{
    ConfigStore store(SourceOf(options));
    const ConfigStore::Result loaded = store.Reload();
    if (!loaded.usable) {
        *status = Fail(ExitStatus::Configuration, loaded.error);
        return false;
    }
    *config = store.Current();
    std::string error;
    if (!SetUpCameras(config->cameras, config->network,
                      FromConfigFolder(config->simulation.network, options.configPath), &error)) {
        *status = Fail(ExitStatus::SetUp, error);
        return false;
    }
    return true;
}

} // namespace

ExitStatus RunGrabbing(const Options& options)
{
    return Grabbing(options, SourceOf(options)).Run();
}

ExitStatus RunList(const Options& options)
{
    Config config;
    ExitStatus status = ExitStatus::Done;
    if (!SetUpBeside(options, &config, &status)) {
        return status;
    }
    std::string error;
    std::vector<CameraRow> cameras;
    if (!ListCameras(&cameras, &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    std::fputs(cameras.empty() ? "There is no camera.\n" : CameraTable(cameras).c_str(), stdout);
    if (!config.cameras.network) {
        std::puts("Cameras on the network are not looked for (--cameras net, or all).");
    }
    return ExitStatus::Done;
}

ExitStatus RunFeatures(const Options& options)
{
    Config config;
    ExitStatus status = ExitStatus::Done;
    if (!SetUpBeside(options, &config, &status)) {
        return status;
    }
    const ChosenCamera camera(config.camera);
    if (!camera.IsOpen()) {
        return Fail(ExitStatus::OpenFailed, camera.WhyNot());
    }
    const GenApi::CNodeMapRef* const map = camera.NodeMap();
    if (map == nullptr) {
        return Fail(ExitStatus::OpenFailed, "the camera gives no description of its features");
    }
    const GEV_DEVICE_INFO& info = camera.Info();
    const std::string shown = Shown(fmt::format("{}, {}, serial {}, version {}", info.manufacturer,
                                                info.model, info.serial, info.version));
    std::puts(shown.c_str());
    std::fputs(FeatureTable(ReadFeatures(*map)).c_str(), stdout);
    return ExitStatus::Done;
}

} // namespace kvgrab
