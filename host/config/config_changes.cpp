#include "config/config_changes.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

namespace kvgrab
{

bool ConfigChanges::Any() const
{
    return !dynamic.empty() || !reload.empty() || !newSession.empty() || !restart.empty();
}

bool ConfigChanges::OnlyDynamic() const
{
    return !dynamic.empty() && reload.empty() && newSession.empty() && restart.empty();
}

ConfigChanges Compare(const Config& before, const Config& after)
{
    ConfigChanges changes;
    const auto note = [](std::vector<std::string>& list, const char* name, bool differs) {
        if (differs) {
            list.emplace_back(name);
        }
    };
    note(changes.dynamic, "exposure", before.exposure != after.exposure);
    note(changes.dynamic, "gain", before.gain != after.gain);
    note(changes.dynamic, "auto", before.automatic != after.automatic);
    note(changes.dynamic, "white_balance", before.whiteBalance != after.whiteBalance);
    note(changes.dynamic, "lut", before.lut != after.lut);
    note(changes.dynamic, "gamma", before.gamma != after.gamma);
    note(changes.dynamic, "iobox", before.iobox != after.iobox);

    // The driver itself compares the region and ends its session when it has to.
    note(changes.reload, "region", before.region != after.region);
    note(changes.reload, "timing", before.timing != after.timing);
    note(changes.reload, "image.rotate", before.image.rotate != after.image.rotate);
    note(changes.reload, "session.retry",
         before.session.retry != after.session.retry ||
             before.session.retryIntervalS != after.session.retryIntervalS);
    note(changes.reload, "session.no_frames_s",
         before.session.noFramesS != after.session.noFramesS);
    note(changes.reload, "log.level", before.log.level != after.log.level);

    note(changes.newSession, "camera", before.camera != after.camera);
    note(changes.newSession, "stream", before.stream != after.stream);
    note(changes.newSession, "image.format", before.image.format != after.image.format);
    note(changes.newSession, "features", before.features != after.features);
    note(changes.newSession, "session.frames", before.session.frames != after.session.frames);

    note(changes.restart, "export", before.exporting != after.exporting);
    note(changes.restart, "memory", before.memory != after.memory);
    note(changes.restart, "cameras", before.cameras != after.cameras);
    note(changes.restart, "simulation", before.simulation != after.simulation);
    note(changes.restart, "log.file", before.log.file != after.log.file);
    note(changes.restart, "control", before.control != after.control);
    return changes;
}

std::string Listed(const std::vector<std::string>& names)
{
    return fmt::format("{}", fmt::join(names, ", "));
}

} // namespace kvgrab
