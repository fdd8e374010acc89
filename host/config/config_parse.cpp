// The tables of the host's own work, and the reading of the whole text.

#include "config/config_tables.h"

#include <filesystem>

namespace kvgrab
{

namespace
{

void ReadSession(TableReader& in, SessionConfig* out)
{
    if (const auto frames =
            in.Integer("frames", 0, 0xFFFFFFFF, "frames from 1 to 4294967295, 0 for no limit")) {
        out->frames = static_cast<std::uint32_t>(*frames);
    }
    out->retry = in.Flag("retry").value_or(out->retry);
    out->retryIntervalS = in.Number("retry_interval_s", {0.1, 3600, "seconds from 0.1 to 3600"})
                              .value_or(out->retryIntervalS);
}

void ReadExport(TableReader& in, ExportConfig* out)
{
    constexpr Choice kFormats[] = {{"none", 0}, {"png", 1}, {"raw", 2}};
    constexpr Choice kOnError[] = {{"continue", 0}, {"stop", 1}};
    if (const auto format = in.OneOf("format", kFormats)) {
        out->format = kFormats[*format].name;
    }
    out->directory = in.Text("directory", "a folder").value_or(out->directory);
    if (out->directory.empty()) {
        in.Refuse("directory", "is empty; expected a folder");
    }
    if (const auto queue = in.Integer("queue", 1, 1024, "frames from 1 to 1024")) {
        out->queue = static_cast<std::uint32_t>(*queue);
    }
    if (const auto writers = in.Integer("writers", 1, 64, "threads from 1 to 64")) {
        out->writers = static_cast<std::uint32_t>(*writers);
    }
    if (const auto level = in.Integer("png_compression", 0, 9, "0 (none, fast) to 9 (small)")) {
        out->pngCompression = static_cast<int>(*level);
    }
    out->everyFrame = in.Flag("every_frame").value_or(out->everyFrame);
    out->overwrite = in.Flag("overwrite").value_or(out->overwrite);
    out->stopOnError = in.OneOf("on_error", kOnError).value_or(0) == 1;
}

void ReadMemory(TableReader& in, MemoryConfig* out)
{
    out->name = in.Text("name", "a name like \"/kvgrab\"").value_or(out->name);
    if (!NormalizeMemoryName(&out->name)) {
        in.Refuse("name", "is no name of a shared memory; expected 1 to 199 characters without "
                          "further slashes, like \"/kvgrab\"");
    }
}

void ReadSimulation(TableReader& in, SimulationConfig* out)
{
    out->network = in.Text("network", "the path of a description file").value_or(out->network);
}

void ReadCameras(TableReader& in, CamerasConfig* out)
{
    std::vector<Choice> backends;
    for (const BackendName& row : kBackendNames) {
        backends.push_back({row.name, static_cast<int>(backends.size())});
    }
    if (const auto backend = in.OneOf("backends", backends)) {
        out->simulated = kBackendNames[*backend].simulated;
        out->network = kBackendNames[*backend].network;
    }
    out->interface = in.Text("interface", "the name or the address of a network interface")
                         .value_or(out->interface);
    if (!out->interface.empty() && !out->network) {
        in.Warn("interface", "has no effect without cameras.backends = \"net\" or \"all\"");
    }
}

void ReadLog(TableReader& in, LogConfig* out)
{
    std::vector<Choice> levels;
    for (const LevelName& level : kLevelNames) {
        levels.push_back({level.name, level.level});
    }
    out->file = in.Text("file", "the path of the log file").value_or(out->file);
    out->level = in.OneOf("level", levels).value_or(out->level);
}

template <typename Record>
void ReadTable(TableReader& root, ReadContext& context, const char* name,
               void (*read)(TableReader&, Record*), Record* out)
{
    const toml::table* table = root.Table(name);
    if (table == nullptr) {
        return;
    }
    TableReader in(context, *table, name);
    read(in, out);
    in.Finish();
}

/** What is in order in each table, and yet doesn't go together. */
void WarnOfConflicts(TableReader& root, ReadContext& context, const Config& config)
{
    if (config.gain.mode == KvTd::kSweepAuto && config.exposure.mode == KvTd::kSweepManual) {
        TableReader(context, *root.Table("gain"), "gain")
            .Warn("mode",
                  "is \"automatic\" while exposure.mode is \"manual\": switching the exposure to "
                  "manual also stops the automatic gain of cameras that have one switch for both; "
                  "leave exposure.mode out, or set both to \"automatic\"");
    }
    if (!config.simulation.network.empty() && !config.cameras.simulated) {
        TableReader(context, *root.Table("simulation"), "simulation")
            .Warn("network", "has no effect while cameras.backends leaves the simulated ones out");
    }
    constexpr float kNoCurve = 1;
    if (!config.lut.values.empty() && config.gamma.value != KvTd::kGammaUnset &&
        config.gamma.value != kNoCurve) {
        TableReader(context, *root.Table("gamma"), "gamma")
            .Warn("value", "stands beside a look-up table: the camera has one tone curve, and the "
                           "table waits or is replaced; configure one of the two");
    }
}

ParsedConfig ReadAll(const toml::table& text, ReadContext& context)
{
    ParsedConfig parsed;
    Config& out = parsed.config;
    TableReader root(context, text, "");
    ReadTable(root, context, "camera", ReadCamera, &out.camera);
    ReadTable(root, context, "cameras", ReadCameras, &out.cameras);
    ReadTable(root, context, "stream", ReadStream, &out.stream);
    ReadTable(root, context, "image", ReadImage, &out.image);
    ReadTable(root, context, "region", ReadRegion, &out.region);
    ReadTable(root, context, "timing", ReadTiming, &out.timing);
    ReadTable(root, context, "exposure", ReadExposure, &out.exposure);
    ReadTable(root, context, "gain", ReadGain, &out.gain);
    ReadTable(root, context, "auto", ReadAuto, &out.automatic);
    ReadTable(root, context, "white_balance", ReadWhiteBalance, &out.whiteBalance);
    ReadTable(root, context, "lut", ReadLut, &out.lut);
    ReadTable(root, context, "gamma", ReadGamma, &out.gamma);
    ReadIoBox(root, context, &out.iobox);
    ReadTable(root, context, "session", ReadSession, &out.session);
    ReadTable(root, context, "export", ReadExport, &out.exporting);
    ReadTable(root, context, "memory", ReadMemory, &out.memory);
    ReadTable(root, context, "simulation", ReadSimulation, &out.simulation);
    ReadTable(root, context, "log", ReadLog, &out.log);
    root.Finish();
    WarnOfConflicts(root, context, out);
    parsed.warnings = std::move(context.warnings);
    return parsed;
}

} // namespace

std::string ConfigError::Message() const
{
    if (line == 0) {
        return name + ": " + text;
    }
    return name + ":" + std::to_string(line) + ":" + std::to_string(column) + ": " + text;
}

bool NormalizeMemoryName(std::string* name)
{
    constexpr std::size_t kLongest = 200;
    if (!name->starts_with('/')) {
        name->insert(name->begin(), '/');
    }
    return name->size() >= 2 && name->size() <= kLongest &&
           name->find('/', 1) == std::string::npos && *name != "/." && *name != "/..";
}

std::string FromConfigFolder(const std::string& path, std::string_view configName)
{
    if (path.empty()) {
        return path;
    }
    return (std::filesystem::path(configName).parent_path() / path).string();
}

std::variant<ParsedConfig, ConfigError> ParseConfig(std::string_view text, std::string_view name,
                                                    const FileReader& read)
{
    ReadContext context{std::string(name), read, {}};
    try {
        return ReadAll(toml::parse(text, name), context);
    } catch (const ConfigError& error) {
        return error;
    } catch (const toml::parse_error& error) {
        const toml::source_position& where = error.source().begin;
        return ConfigError{context.name, where.line, where.column,
                           "not valid TOML: " + std::string(error.description())};
    }
}

} // namespace kvgrab
