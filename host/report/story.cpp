#include "report/story.h"

#include <fmt/format.h>

namespace kvgrab
{

std::string StartLine(std::string_view configPath, const Config& config)
{
    const ExportConfig& pictures = config.exporting;
    return fmt::format("kvgrab {} starts, configuration: {}, pictures: {}", KVGRAB_VERSION,
                       configPath.empty() ? "no file" : configPath,
                       pictures.format == "none" ? "none"
                       : pictures.format == "-"
                           ? fmt::format("{} on standard output", pictures.streamFormat)
                           : fmt::format("{} in {}", pictures.format, pictures.directory));
}

std::string EndLine(ExitStatus status, std::string_view sentence)
{
    return fmt::format("kvgrab ends with status {}: {}", static_cast<int>(status), sentence);
}

std::string LeftUnwritten(std::string_view why, std::uint64_t pictures, bool cutOff)
{
    return fmt::format("{}; {} pictures were not written within export.drain_s{}",
                       why.substr(0, why.size() - (why.ends_with('.') ? 1 : 0)), pictures,
                       cutOff ? ", and standard output ends within one of them" : "");
}

std::string WhyNoPicture(const PictureOutcome& outcome)
{
    const PictureCounts& pictures = outcome.pictures;
    if (!pictures.wanted || pictures.exported != 0) {
        return {};
    }
    if (!outcome.trouble.empty()) {
        return fmt::format("no picture was written: {}", outcome.trouble);
    }
    if (outcome.asked) {
        return "a signal ended kvgrab before a picture was written";
    }
    return "no picture was written: the first frame of a session only starts the clock and is "
           "never exported, so a picture takes two frames at least";
}

} // namespace kvgrab
