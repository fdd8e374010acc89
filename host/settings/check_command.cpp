#include "settings/check_command.h"

#include "base/printable.h"
#include "cameras/cameras.h"
#include "cameras/chosen_camera.h"
#include "cameras/open_camera.h"
#include "report/failure.h"
#include "settings/feature_reader.h"
#include "settings/settings_report.h"

#include <cstdio>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

/** Without a camera: what would be requested, and that nobody was asked. */
ExitStatus CheckAlone(const ChosenCamera& camera, const std::vector<PlannedSetting>& planned,
                      bool strict)
{
    std::vector<JudgedSetting> settings;
    for (const PlannedSetting& setting : planned) {
        settings.push_back({setting, {}});
    }
    std::fputs(SettingsTable(settings).c_str(), stdout);
    const bool absent = camera.Status() != ExitStatus::OpenFailed;
    if (!absent || strict) {
        return Fail(camera.Status(), camera.WhyNot());
    }
    std::puts(fmt::format("The configuration can be used, but it was compared with no camera: {}.",
                          base::Printable(camera.WhyNot()))
                  .c_str());
    return ExitStatus::Done;
}

} // namespace

ExitStatus CheckConfiguration(const Options& options, ConfigSource source)
{
    ConfigStore store(std::move(source));
    const ConfigStore::Result loaded = store.Reload();
    if (!loaded.usable) {
        return Fail(ExitStatus::Configuration, loaded.error);
    }
    for (const std::string& warning : loaded.warnings) {
        std::fputs(fmt::format("warning: {}\n", base::Printable(warning)).c_str(), stderr);
    }
    const Config& config = store.Current();
    std::string error;
    if (!SetUpCameras(config.cameras, config.network,
                      FromConfigFolder(config.simulation.network, options.configPath), &error)) {
        return Fail(ExitStatus::SetUp, error);
    }
    const std::vector<PlannedSetting> planned = PlannedSettings(config);
    const ChosenCamera camera(config.camera);
    if (!camera.IsOpen()) {
        return CheckAlone(camera, planned, options.strict);
    }
    const GenApi::CNodeMapRef* const map = camera.NodeMap();
    if (map == nullptr) {
        return Fail(ExitStatus::OpenFailed, "the camera gives no description of its features");
    }
    std::puts(FullName(camera.Info()).c_str());
    FeatureReader reader(*map, false);
    const std::vector<JudgedSetting> settings = JudgeSettings(
        planned,
        [&reader](const FeatureRef& feature, Look look) { return reader.Read(feature, look); },
        Moment::Before);
    std::fputs(SettingsTable(settings).c_str(), stdout);
    std::fflush(stdout);
    if (reader.CameraIsSilent()) {
        return Fail(ExitStatus::OpenFailed, "the camera does not answer");
    }
    const std::size_t refused = CountNotTaken(settings);
    if (refused != 0) {
        return Fail(
            ExitStatus::CameraRefused,
            fmt::format("the camera would not take {} of {} settings", refused, settings.size()));
    }
    const std::size_t unknown = CountUnknown(settings);
    std::puts(unknown == 0 ? "The camera takes this configuration."
                           : fmt::format("The camera takes this configuration, except perhaps for "
                                         "what can't be known before it is set: {} of {} settings.",
                                         unknown, settings.size())
                                 .c_str());
    return ExitStatus::Done;
}

} // namespace kvgrab
