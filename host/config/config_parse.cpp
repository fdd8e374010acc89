// The tables of what the host itself does, and the reading of a whole text.

#include "config/config_tables.h"
#include "config/overruled_features.h"

#include <filesystem>

namespace kvgrab
{

namespace
{

void ReadSession(TableReader& in, SessionConfig* out)
{
    Put(in.Integer("frames", 0, 0xFFFFFFFF, "frames from 1 to 4294967295, 0 for no limit"),
        &out->frames);
    Put(in.Flag("retry"), &out->retry);
    Put(in.Number("retry_interval_s", {0.1, 3600, "seconds from 0.1 to 3600"}),
        &out->retryIntervalS);
    if (const auto seconds =
            in.Number("no_frames_s", {0, 86400, "seconds from 0 (no limit) to 86400"})) {
        out->noFramesS = *seconds;
    }
}

void ReadExport(TableReader& in, ExportConfig* out)
{
    constexpr base::Named<std::string_view> kFormats[] = {
        {"none", "none"}, {"png", "png"}, {"raw", "raw"}, {"-", "-"}};
    constexpr base::Named<std::string_view> kStreamFormats[] = {
        {"raw", "raw"}, {"pnm", "pnm"}, {"y4m", "y4m"}};
    constexpr base::Named<bool> kStopOnError[] = {{"continue", false}, {"stop", true}};
    Put(in.OneOf<std::string_view>("format", kFormats), &out->format);
    Put(in.OneOf<std::string_view>("stream_format", kStreamFormats), &out->streamFormat);
    Put(in.Text("directory", "a folder"), &out->directory);
    if (out->directory.empty()) {
        in.Refuse("directory", "is empty; expected a folder");
    }
    Put(in.Integer("queue", 1, 1024, "frames from 1 to 1024"), &out->queue);
    Put(in.Integer("writers", 1, 64, "threads from 1 to 64"), &out->writers);
    Put(in.Integer("png_compression", 0, 9, "0 (none, fast) to 9 (small)"), &out->pngCompression);
    Put(in.Flag("every_frame"), &out->everyFrame);
    Put(in.Flag("overwrite"), &out->overwrite);
    Put(in.OneOf<bool>("on_error", kStopOnError), &out->stopOnError);
    Put(in.Number("drain_s", {0, 3600, "seconds from 0 to 3600"}), &out->drainS);
}

void ReadMemory(TableReader& in, MemoryConfig* out)
{
    Put(in.Text("name", "a name such as \"/kvgrab\""), &out->name);
    if (!NormalizeMemoryName(&out->name)) {
        in.Refuse("name", "is no name of a shared memory; expected 1 to 199 characters without "
                          "further slashes, such as \"/kvgrab\"");
    }
}

void ReadSimulation(TableReader& in, SimulationConfig* out)
{
    Put(in.Text("network", "the path of a description file"), &out->network);
}

void ReadCameras(TableReader& in, CamerasConfig* out)
{
    if (const auto backends = in.OneOf<Backends>("backends", kBackendNames)) {
        out->simulated = backends->simulated;
        out->network = backends->network;
    }
    Put(in.Text("interface", "the name or the address of a network interface"), &out->interface);
    if (!out->interface.empty() && !out->network) {
        in.Warn("interface", "has no effect without cameras.backends = \"net\" or \"all\"");
    }
}

void ReadNetwork(TableReader& in, NetworkConfig* out)
{
    Put(in.Integer("patience_ms", 100, 60'000, "milliseconds from 100 to 60000"), &out->patienceMs);
    Put(in.OneOf<bool>("receiver", kReceiverNames), &out->ownReceiver);
    Put(in.Integer("receive_priority", 0, 99, "0, or a real-time priority from 1 to 99"),
        &out->receivePriority);
    Put(in.Integer("receive_cpu", -1, 1023, "-1, or the number of a CPU up to 1023"),
        &out->receiveCpu);
}

void ReadLog(TableReader& in, LogConfig* out)
{
    Put(in.Text("file", "the path of the log file"), &out->file);
    Put(in.OneOf<int>("level", kLevelNames), &out->level);
}

void ReadControl(TableReader& in, ControlConfig* out)
{
    Put(in.Text("socket", "\"auto\", \"none\" or the path of the socket"), &out->socket);
}

/** Reads a table if it is there. */
template <class Read> void ReadTable(TableReader& root, const char* name, const Read& read)
{
    if (std::optional<TableReader> in = root.Table(name)) {
        read(*in);
        in->Finish();
    }
}
template <class Record>
void ReadTable(TableReader& root, const char* name, void (*read)(TableReader&, Record*),
               Record* out)
{
    ReadTable(root, name, [read, out](TableReader& in) { read(in, out); });
}

/** Warns of settings that are valid each by itself but conflict. */
void WarnOfConflicts(TableReader& root, const Config& config)
{
    if (config.gain.mode == KvTd::kSweepAuto && config.exposure.mode == KvTd::kSweepManual) {
        root.Table("gain")->Warn(
            "mode",
            "is \"automatic\" while exposure.mode is \"manual\": switching the exposure to "
            "manual also stops the automatic gain of cameras that have one switch for both; "
            "leave exposure.mode out, or set both to \"automatic\"");
    }
    if (!config.simulation.network.empty() && !config.cameras.simulated) {
        root.Table("simulation")
            ->Warn("network", "has no effect while cameras.backends leaves the simulated ones out");
    }
    constexpr float kNoCurve = 1;
    if (!config.lut.values.empty() && config.gamma.value != KvTd::kGammaUnset &&
        config.gamma.value != kNoCurve) {
        root.Table("gamma")->Warn(
            "value", "is set together with a look-up table: the camera has one tone curve, and the "
                     "table waits or is replaced; configure one of the two");
    }
}

ParsedConfig ReadAll(std::string_view text, base::TomlContext& context, const FileReader& read)
{
    const toml::table tables = base::ParseToml(text, context);
    ParsedConfig parsed;
    Config& out = parsed.config;
    TableReader root(context, tables);
    ReadTable(root, "camera", ReadCamera, &out.camera);
    ReadTable(root, "cameras", ReadCameras, &out.cameras);
    ReadTable(root, "stream", ReadStream, &out.stream);
    ReadTable(root, "image", ReadImage, &out.image);
    ReadTable(root, "region", ReadRegion, &out.region);
    ReadTable(root, "timing", ReadTiming, &out.timing);
    ReadTable(root, "exposure", ReadExposure, &out.exposure);
    ReadTable(root, "gain", ReadGain, &out.gain);
    ReadTable(root, "auto", ReadAuto, &out.automatic);
    ReadTable(root, "white_balance", ReadWhiteBalance, &out.whiteBalance);
    ReadTable(root, "lut", [&](TableReader& in) { ReadLut(in, context.name, read, &out.lut); });
    ReadTable(root, "gamma", ReadGamma, &out.gamma);
    ReadIoBox(root, &out.iobox);
    ReadTable(root, "session", ReadSession, &out.session);
    ReadTable(root, "export", ReadExport, &out.exporting);
    ReadTable(root, "memory", ReadMemory, &out.memory);
    ReadTable(root, "simulation", ReadSimulation, &out.simulation);
    ReadTable(root, "network", ReadNetwork, &out.network);
    ReadTable(root, "log", ReadLog, &out.log);
    ReadTable(root, "control", ReadControl, &out.control);
    out.features = ReadFeatureSettings(root, context.name);
    root.Finish();
    WarnOfConflicts(root, out);
    for (std::string& warning : FeaturesOverruled(out)) {
        context.warnings.push_back(std::move(warning));
    }
    parsed.warnings = std::move(context.warnings);
    return parsed;
}

} // namespace

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
    base::TomlContext context{std::string(name)};
    try {
        return ReadAll(text, context, read);
    } catch (const ConfigError& error) {
        return error;
    }
}

} // namespace kvgrab
