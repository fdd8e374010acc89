#include "session/config_reload.h"

#include <fmt/format.h>
#include <string>
#include <vector>

namespace kvgrab
{

void ConfigReload::ReportWarnings(const ConfigStore::Result& result)
{
    for (const std::string& warning : result.warnings) {
        parts_.log.Line(2, warning);
    }
    if (!result.changes.restart.empty()) {
        parts_.log.Line(2, fmt::format("changed, but kept as it was until kvgrab starts again: {}",
                                       Listed(result.changes.restart)));
    }
}

ReloadResult ConfigReload::Reload()
{
    if (parts_.config.Path().empty()) {
        const int level = parts_.log.HasFile() ? 3 : 2; // HUP also means that a log file is rotated
        parts_.log.Line(level, "asked to read the configuration again, but kvgrab was started "
                               "without a configuration file (--config)");
        return ReloadResult::Nothing;
    }
    const ConfigStore::Result result = parts_.config.Reload();
    if (!result.usable) {
        parts_.log.Line(1, fmt::format("the old configuration stays, the new one can't be used: {}",
                                       result.error));
        return ReloadResult::Refused;
    }
    parts_.log.SetLevel(parts_.config.Current().log.level);
    parts_.log.Line(3, "the configuration file was read again");
    ReportWarnings(result);
    ForgetTableIfChanged(result.changes);
    if (!result.changes.newSession.empty()) {
        parts_.log.Line(3, fmt::format("a new device session is needed, because these changed: {}",
                                       Listed(result.changes.newSession)));
        return ReloadResult::NewSession;
    }
    if (OutputLinesNeedACheck()) {
        parts_.log.Line(3, "a new device session is needed, to check the camera's output lines "
                           "before they are set");
        return ReloadResult::NewSession;
    }
    return ReloadResult::Applied;
}

bool ConfigReload::Poll(std::int64_t nowNs)
{
    const auto news = parts_.config.Poll(nowNs);
    if (!news) {
        return false;
    }
    if (!news->usable) {
        parts_.log.Line(
            2, fmt::format("the configuration file changed, but the old configuration stays: {}",
                           news->error));
        return false;
    }
    if (!news->adopted) {
        std::vector<std::string> waiting = news->changes.reload;
        waiting.insert(waiting.end(), news->changes.newSession.begin(),
                       news->changes.newSession.end());
        waiting.insert(waiting.end(), news->changes.restart.begin(), news->changes.restart.end());
        parts_.log.Line(2, fmt::format("the configuration file changed, but some changes are only "
                                       "applied on the signal HUP: {}",
                                       Listed(waiting)));
        return false;
    }
    ReportWarnings(*news);
    ForgetTableIfChanged(news->changes);
    if (OutputLinesNeedACheck()) {
        parts_.signals.Raise(KvTd::kSignalReconfigure); // Reconfigure then asks for a new session
        return false;
    }
    parts_.log.Line(3, fmt::format("the configuration file changed, applying: {}",
                                   Listed(news->changes.dynamic)));
    return true;
}

void ConfigReload::ForgetTableIfChanged(const ConfigChanges& changes)
{
    for (const std::string& table : changes.dynamic) {
        if (table == "lut" || table == "gamma") {
            parts_.dynamicLut.Forget();
        }
    }
}

bool ConfigReload::OutputLinesNeedACheck() const
{
    return !outputLinesChecked_ && DrivesOutputLines(parts_.config.Current());
}

} // namespace kvgrab
