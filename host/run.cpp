#include "run.h"

#include "cameras/cameras.h"
#include "cameras/chosen_camera.h"
#include "cameras/open_camera.h"
#include "cameras/replay.h"
#include "control/ctl_command.h"
#include "features/feature_commands.h"
#include "report/failure.h"
#include "session/grabbing.h"
#include "settings/check_command.h"

#include <cstdio>
#include <fmt/format.h>
#include <unistd.h>

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

/** Sets the camera of --replay up, if that is given. False: it can't be, and the reason has been
 *  printed. */
bool ReplaySetUp(Options* options)
{
    std::string error;
    if (options->replayFolder && !SetUpReplay(options, &error)) {
        Fail(ExitStatus::SetUp, error);
        return false;
    }
    return true;
}

/** Reads the configuration and sets the cameras up, for commands that don't grab. False: `*status`
 *  says with what to end. */
bool SetUpBeside(const Options& given, Config* config, ExitStatus* status)
{
    Options options = given;
    if (!ReplaySetUp(&options)) {
        *status = ExitStatus::SetUp;
        return false;
    }
    ConfigStore store(SourceOf(options));
    const ConfigStore::Result loaded = store.Reload();
    if (!loaded.usable) {
        *status = Fail(ExitStatus::Configuration, loaded.error);
        return false;
    }
    *config = store.Current();
    std::string error;
    if (!options.replayFolder &&
        !SetUpCameras(config->cameras, config->network,
                      FromConfigFolder(config->simulation.network, options.configPath), &error)) {
        *status = Fail(ExitStatus::SetUp, error);
        return false;
    }
    return true;
}

} // namespace

ExitStatus RunGrabbing(const Options& given)
{
    Options options = given;
    if (!ReplaySetUp(&options)) {
        return ExitStatus::SetUp;
    }
    ExitStatus status = ExitStatus::Done;
    bool leavesWritersBehind = false;
    {
        Grabbing grabbing(options, SourceOf(options));
        status = grabbing.Run();
        leavesWritersBehind = grabbing.LeavesWritersBehind();
    }
    if (leavesWritersBehind) {
        std::fflush(nullptr);
        _exit(static_cast<int>(status));
    }
    return status;
}

ExitStatus RunCtl(const Options& options)
{
    return RunControl(options, SourceOf(options));
}

ExitStatus RunCheck(const Options& options)
{
    return CheckConfiguration(options, SourceOf(options));
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
    if (!cameras.empty()) {
        std::fputs(CameraTable(cameras, config.camera).c_str(), stdout);
    }
    if (!config.cameras.network) {
        std::puts("Cameras on the network are not looked for (--cameras net, or all).");
    }
    const CameraChoice choice = Choose(cameras, config.camera);
    if (choice.status != ExitStatus::Done) {
        std::fflush(stdout);
        return Fail(choice.status, choice.whyNone);
    }
    const CameraRow& taken = cameras[choice.position];
    if (!taken.held.has_value() || *taken.held) {
        std::fflush(stdout);
        return Fail(
            ExitStatus::OpenFailed,
            fmt::format("the camera {} {}", taken.serial,
                        taken.held.has_value() ? "is held by another program" : "does not answer"));
    }
    return ExitStatus::Done;
}

ExitStatus RunFeatures(const Options& options)
{
    FeatureRequest request;
    Config config;
    ExitStatus status = ExitStatus::Done;
    if (!ReadFeatureRequest(options, &request, &status) ||
        !SetUpBeside(options, &config, &status)) {
        return status;
    }
    const ChosenCamera camera(config.camera);
    if (!camera.IsOpen()) {
        return Fail(camera.Status(), camera.WhyNot());
    }
    const GenApi::CNodeMapRef* const map = camera.NodeMap();
    if (map == nullptr) {
        return Fail(ExitStatus::OpenFailed, "the camera gives no description of its features");
    }
    return RunFeatureCommand(options, request, *map, FullName(camera.Info()));
}

} // namespace kvgrab
