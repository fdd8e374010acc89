#include "features/feature_commands.h"

#include "base/own_files.h"
#include "base/printable.h"
#include "config/config_store.h"
#include "features/camera_features.h"
#include "features/feature_access.h"
#include "features/feature_file.h"
#include "features/feature_load.h"
#include "report/failure.h"

#include <cstdio>
#include <exception>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

void Print(const std::string& line)
{
    std::fputs(fmt::format("{}\n", base::Printable(line)).c_str(), stdout);
}

/** The status of an outcome that isn't Done; its reason is printed, after what was printed before.
 */
ExitStatus Failed(const Outcome& outcome)
{
    std::fflush(stdout);
    return Fail(outcome.kind == Outcome::Kind::CameraFailed ? ExitStatus::GrabbingFailed
                                                            : ExitStatus::CameraRefused,
                outcome.text);
}

/** A line for each feature, empty for one that can't be read, so that a script finds each value on
 *  the line where it expects it. */
ExitStatus Get(const FeatureAccess& access, const std::vector<FeatureName>& names)
{
    ExitStatus status = ExitStatus::Done;
    for (const FeatureName& name : names) {
        const Outcome outcome = access.Get(name);
        Print(outcome.Ok() ? outcome.text : "");
        if (!outcome.Ok()) {
            status = Failed(outcome);
        }
        if (outcome.kind == Outcome::Kind::CameraFailed) {
            return status;
        }
    }
    return status;
}

ExitStatus GetTable(const FeatureAccess& access, const std::vector<FeatureName>& names)
{
    ExitStatus status = ExitStatus::Done;
    std::vector<FeatureRow> rows;
    for (const FeatureName& name : names) {
        FeatureRow row;
        const Outcome outcome = access.Describe(name, &row);
        if (outcome.Ok()) {
            rows.push_back(row);
        } else {
            status = Failed(outcome);
        }
        if (outcome.kind == Outcome::Kind::CameraFailed) {
            break;
        }
    }
    if (!rows.empty()) {
        std::fputs(FeatureTable(rows).c_str(), stdout);
    }
    return status;
}

/** Ends with the first value that is refused: those after it may depend on it. */
ExitStatus Set(const FeatureAccess& access, const std::vector<FeatureSetting>& settings)
{
    for (const FeatureSetting& setting : settings) {
        const Outcome outcome = access.Set(setting.name, setting.value);
        if (!outcome.Ok()) {
            return Failed(outcome);
        }
        Print(fmt::format("{} = {}", setting.name.Text(), outcome.text));
    }
    return ExitStatus::Done;
}

ExitStatus Load(const FeatureAccess& access, const std::vector<FeatureSetting>& settings)
{
    const LoadResult result = LoadFeatures(access, settings);
    for (const std::string& rounded : result.rounded) {
        Print(rounded);
    }
    std::fflush(stdout);
    for (const std::string& failed : result.failed) {
        std::fputs(fmt::format("kvgrab: {}.\n", base::Printable(failed)).c_str(), stderr);
    }
    Print(fmt::format("{} values set, {} unchanged, {} not set", result.set, result.unchanged,
                      result.failed.size()));
    return result.cameraFailed      ? ExitStatus::GrabbingFailed
           : !result.failed.empty() ? ExitStatus::CameraRefused
                                    : ExitStatus::Done;
}

ExitStatus Save(const GenApi::CNodeMapRef& map, const std::string& camera, const std::string& path)
{
    FeatureFile file;
    try {
        file = WriteFeatureFile(map, camera);
    } catch (const std::exception& e) {
        return Fail(ExitStatus::GrabbingFailed,
                    fmt::format("the features can't be saved: {}", base::Printable(e.what())));
    }
    for (const std::string& leftOut : file.leftOut) {
        std::fputs(fmt::format("kvgrab: not saved: {}.\n", base::Printable(leftOut)).c_str(),
                   stderr);
    }
    std::string error;
    if (!base::ReplaceFile(path, file.text, &error)) {
        return Fail(ExitStatus::SetUp, fmt::format("can't write {}: {}", path, error));
    }
    Print(fmt::format("{} values saved in {}", file.values, path));
    return ExitStatus::Done;
}

/** --load, then --save; without either, the table. */
ExitStatus Features(const Options& options, const FeatureRequest& request,
                    const GenApi::CNodeMapRef& map, const std::string& camera)
{
    if (options.loadFile.empty() && options.saveFile.empty()) {
        Print(camera);
        std::fputs(FeatureTable(ReadFeatures(map)).c_str(), stdout);
        return ExitStatus::Done;
    }
    ExitStatus status = ExitStatus::Done;
    if (!options.loadFile.empty()) {
        status = Load(FeatureAccess(map), request.settings);
    }
    if (status != ExitStatus::GrabbingFailed && !options.saveFile.empty()) {
        const ExitStatus saved = Save(map, camera, options.saveFile);
        status = saved == ExitStatus::Done ? status : saved;
    }
    return status;
}

bool ReadLoadFile(const std::string& path, FeatureRequest* request, ExitStatus* status)
{
    std::string text;
    std::string error;
    if (!FileSource(path, {}).read(path, &text, &error)) {
        *status = Fail(ExitStatus::Configuration, fmt::format("can't read {}: {}", path, error));
        return false;
    }
    try {
        request->settings = ParseFeatureFile(text, path);
    } catch (const base::TextError& refused) {
        *status = Fail(ExitStatus::Configuration, refused.Message());
        return false;
    }
    return true;
}

} // namespace

bool ReadFeatureRequest(const Options& options, FeatureRequest* request, ExitStatus* status)
{
    for (const std::string& argument : options.arguments) {
        const std::string shown = base::Quoted(argument);
        if (options.command == Options::Command::Set) {
            const auto setting = ParseSetting(argument);
            if (!setting) {
                *status = Fail(ExitStatus::Usage,
                               fmt::format("{} is no setting; expected FEATURE=VALUE, such as "
                                           "Width=640 or Gain[DigitalAll]=2",
                                           shown));
                return false;
            }
            request->settings.push_back(*setting);
            continue;
        }
        const auto name = ParseFeatureName(argument);
        const bool isCommand = options.command == Options::Command::Execute;
        if (!name || (isCommand && !name->selected.empty())) {
            *status = Fail(ExitStatus::Usage,
                           fmt::format("{} names no feature; expected {}", shown,
                                       isCommand ? "the name of a command, such as TriggerSoftware"
                                                 : "a name such as Width or Gain[DigitalAll]"));
            return false;
        }
        request->names.push_back(*name);
    }
    if (options.command == Options::Command::Execute && request->names.size() != 1) {
        *status = Fail(ExitStatus::Usage, "only one command can be executed at a time");
        return false;
    }
    return options.loadFile.empty() || ReadLoadFile(options.loadFile, request, status);
}

ExitStatus RunFeatureCommand(const Options& options, const FeatureRequest& request,
                             const GenApi::CNodeMapRef& map, const std::string& camera)
{
    const FeatureAccess access(map);
    switch (options.command) {
    case Options::Command::Get:
        return options.table ? GetTable(access, request.names) : Get(access, request.names);
    case Options::Command::Set:
        return Set(access, request.settings);
    case Options::Command::Execute: {
        const Outcome outcome = access.Execute(request.names.front().feature);
        return outcome.Ok() ? ExitStatus::Done : Failed(outcome);
    }
    default:
        return Features(options, request, map, camera);
    }
}

} // namespace kvgrab
