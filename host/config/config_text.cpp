#include "config/config_text.h"

#include "base/printable.h"
#include "config/config_tables.h"
#include "features/value_text.h"

#include <fmt/format.h>
#include <nlohmann/json.hpp>

#include <filesystem>
#include <memory>
#include <sstream>

namespace kvgrab
{

namespace
{

using nlohmann::json;

/** Collects the keys of one table that differ from "not configured". */
class TableWriter
{
public:
    template <class Value, class Unset> void Number(const char* key, Value value, Unset unset)
    {
        if (value == static_cast<Value>(unset)) {
            return;
        }
        if constexpr (std::is_same_v<Value, float>) {
            // The shortest decimal of the float, which the double nearest to it may not have.
            table_.insert(key, std::stod(fmt::format("{}", value)));
        } else {
            table_.insert(key, static_cast<std::int64_t>(value));
        }
    }
    void Text(const char* key, const std::string& value) { table_.insert(key, value); }
    void Flag(const char* key, bool value) { table_.insert(key, value); }
    void Real(const char* key, double value) { table_.insert(key, value); }
    void Mode(const char* key, std::uint32_t mode)
    {
        if (mode != KvTd::kSweepUnset) {
            Text(key, mode == KvTd::kSweepAuto ? "automatic" : "manual");
        }
    }
    template <class Value> void Name(const char* key, Value value, base::Names<Value> names)
    {
        for (const auto& row : names) {
            if (row.value == value) {
                Text(key, std::string(row.name));
                return;
            }
        }
    }
    template <class Values> void Array(const char* key, const Values& values)
    {
        toml::array array;
        for (const auto value : values) {
            array.push_back(static_cast<std::int64_t>(value));
        }
        table_.insert(key, std::move(array));
    }
    toml::table Take() { return std::move(table_); }

private:
    toml::table table_;
};

void PutCamera(const Config& config, TableWriter* out)
{
    std::vector<int> positions;
    for (int i = 0; i < 32; ++i) {
        if ((config.camera.positionMask >> static_cast<unsigned>(i) & 1U) != 0) {
            positions.push_back(i);
        }
    }
    out->Text("model", config.camera.model);
    out->Text("serial", config.camera.serial);
    out->Array("positions", positions);
}

void PutStream(const Config& config, TableWriter* out)
{
    out->Number("packet_size", config.stream.packetSize, 0);
    out->Number("buffers", config.stream.buffers, 0);
    out->Number("packet_delay_us", config.stream.packetDelayUs, -1);
}

void PutImage(const Config& config, TableWriter* out)
{
    out->Name<std::uint32_t>("format", config.image.format, kFormatNames);
    if (config.image.rotate != KvTd::kRotateUnset) {
        out->Number("rotate", config.image.rotate == KvTd::kRotateTurned ? 180 : 0, -1);
    }
}

void PutRegion(const Config& config, TableWriter* out)
{
    out->Number("offset_x", config.region.offsetX, KvTd::kIntUnset);
    out->Number("offset_y", config.region.offsetY, KvTd::kIntUnset);
    out->Number("width", config.region.width, KvTd::kIntUnset);
    out->Number("height", config.region.height, KvTd::kIntUnset);
}

void PutTiming(const Config& config, TableWriter* out)
{
    out->Number("fps", config.timing.fps, KvTd::kFpsUnset);
    out->Number("drift_ns_per_s", config.timing.driftNsPerS, 0);
}

void PutExposure(const Config& config, TableWriter* out)
{
    out->Mode("mode", config.exposure.mode);
    out->Number("time_us", config.exposure.timeUs, KvTd::kExposureUnset);
    out->Number("auto_min_us", config.exposure.autoMinUs, KvTd::kExposureUnset);
    out->Number("auto_max_us", config.exposure.autoMaxUs, KvTd::kExposureUnset);
}

void PutGain(const Config& config, TableWriter* out)
{
    out->Mode("mode", config.gain.mode);
    out->Number("db", config.gain.db, KvTd::kGainUnset);
    out->Number("auto_min_db", config.gain.autoMinDb, KvTd::kGainUnset);
    out->Number("auto_max_db", config.gain.autoMaxDb, KvTd::kGainUnset);
}

void PutAuto(const Config& config, TableWriter* out)
{
    if (config.automatic.profile == 1) {
        out->Flag("brightness_control", true);
    }
    out->Number("brightness", config.automatic.brightness, KvTd::kExposureUnset);
}

void PutWhiteBalance(const Config& config, TableWriter* out)
{
    out->Number("red", config.whiteBalance.red, KvTd::kIntUnset);
    out->Number("blue", config.whiteBalance.blue, KvTd::kIntUnset);
}

void PutLut(const Config& config, TableWriter* out)
{
    if (config.lut.mode == KvTd::kSweepUnset) {
        return;
    }
    out->Text("mode", config.lut.values.empty() ? "off" : "table");
    if (!config.lut.values.empty()) {
        out->Number("bits", config.lut.bits, 0);
        out->Array("values", config.lut.values);
    }
}

void PutGamma(const Config& config, TableWriter* out)
{
    out->Number("value", config.gamma.value, KvTd::kGammaUnset);
}

void PutSession(const Config& config, TableWriter* out)
{
    out->Number("frames", config.session.frames, 0);
    out->Flag("retry", config.session.retry);
    out->Real("retry_interval_s", config.session.retryIntervalS);
    if (config.session.noFramesS) {
        out->Real("no_frames_s", *config.session.noFramesS);
    }
}

void PutExport(const Config& config, TableWriter* out)
{
    const ExportConfig& exporting = config.exporting;
    out->Text("format", exporting.format);
    out->Text("stream_format", exporting.streamFormat);
    out->Text("directory", exporting.directory);
    out->Number("queue", exporting.queue, 0);
    out->Number("writers", exporting.writers, 0);
    out->Number("png_compression", exporting.pngCompression, -1);
    out->Flag("every_frame", exporting.everyFrame);
    out->Flag("overwrite", exporting.overwrite);
    out->Text("on_error", exporting.stopOnError ? "stop" : "continue");
    out->Real("drain_s", exporting.drainS);
}

void PutCameras(const Config& config, TableWriter* out)
{
    const CamerasConfig& cameras = config.cameras;
    out->Text("backends", !cameras.network ? "sim" : cameras.simulated ? "all" : "net");
    if (cameras.network) {
        out->Text("interface", cameras.interface);
    }
}

void PutOthers(const Config& config, toml::table* root)
{
    const auto put = [root](const char* name, const auto& fill) {
        TableWriter writer;
        fill(&writer);
        root->insert(name, writer.Take());
    };
    put("memory", [&](TableWriter* out) { out->Text("name", config.memory.name); });
    put("simulation", [&](TableWriter* out) { out->Text("network", config.simulation.network); });
    put("network", [&](TableWriter* out) {
        out->Number("patience_ms", config.network.patienceMs, 0);
        out->Name<bool>("receiver", config.network.ownReceiver, kReceiverNames);
        out->Number("receive_priority", config.network.receivePriority, 0);
        out->Number("receive_cpu", config.network.receiveCpu, 0);
    });
    put("log", [&](TableWriter* out) {
        out->Text("file", config.log.file);
        out->Name<int>("level", config.log.level, kLevelNames);
    });
    put("control", [&](TableWriter* out) { out->Text("socket", config.control.socket); });
}

toml::array IoBoxTables(const Config& config)
{
    toml::array tables;
    for (const IoSetConfig& set : config.iobox) {
        TableWriter out;
        for (const KvTd::KvCfgIoPinMapRow& row : KvTd::KvCfgIoPinMapT) {
            if (static_cast<int>(row.pin) == set.pin) {
                out.Text("pin", std::string(row.name));
                break;
            }
        }
        out.Name<int>("mode", set.mode, kIoModes);
        out.Name<int>("source", set.source, kIoSources);
        out.Flag("invert", set.invert != 0);
        const bool strobe = set.source == kSourceStrobe || set.source == kSourceStrobe2;
        const char* const first = strobe ? "delay_us" : set.mode == 2 ? "timeout_us" : "bits";
        out.Number(first, set.parameters[0], KvTd::kIoboxParamUnset);
        out.Number(strobe ? "width_us" : "command", set.parameters[1], KvTd::kIoboxParamUnset);
        tables.push_back(out.Take());
    }
    return tables;
}

toml::table TablesOf(const Config& config)
{
    constexpr struct {
        const char* name;
        void (*put)(const Config&, TableWriter*);
    } kTables[] = {
        {"camera", PutCamera},     {"cameras", PutCameras},
        {"stream", PutStream},     {"image", PutImage},
        {"region", PutRegion},     {"timing", PutTiming},
        {"exposure", PutExposure}, {"gain", PutGain},
        {"auto", PutAuto},         {"white_balance", PutWhiteBalance},
        {"lut", PutLut},           {"gamma", PutGamma},
        {"session", PutSession},   {"export", PutExport},
    };
    toml::table root;
    for (const auto& table : kTables) {
        TableWriter out;
        table.put(config, &out);
        toml::table keys = out.Take();
        if (!keys.empty()) {
            root.insert(table.name, std::move(keys));
        }
    }
    PutOthers(config, &root);
    if (!config.iobox.empty()) {
        root.insert("iobox", IoBoxTables(config));
    }
    return root;
}

/** The features have a table of their own at the end, since their order counts. */
std::string TextOf(const toml::table& tables, const std::vector<FeatureSetting>& features)
{
    std::ostringstream text;
    text << tables << "\n";
    if (!features.empty()) {
        text << "\n[features]\n";
    }
    for (const FeatureSetting& setting : features) {
        text << TomlString(setting.name.Text()).value_or("\"\"") << " = "
             << TomlString(setting.value).value_or("\"\"") << "\n";
    }
    return text.str();
}

/** A value of JSON as a node; null if there is none like it. Arrays may hold objects, which hold
 *  single values. */
std::unique_ptr<toml::node> NodeOf(const json& value, int depth)
{
    if (value.is_boolean()) {
        return std::make_unique<toml::value<bool>>(value.get<bool>());
    }
    if (value.is_number_integer() &&
        (!value.is_number_unsigned() || value.get<std::uint64_t>() <= INT64_MAX)) {
        return std::make_unique<toml::value<std::int64_t>>(value.get<std::int64_t>());
    }
    if (value.is_number()) {
        return std::make_unique<toml::value<double>>(value.get<double>());
    }
    if (value.is_string()) {
        return std::make_unique<toml::value<std::string>>(value.get<std::string>());
    }
    if (value.is_null() || depth == 0) {
        return nullptr;
    }
    if (value.is_array()) {
        auto array = std::make_unique<toml::array>();
        for (const json& each : value) {
            const auto node = NodeOf(each, depth - 1);
            if (node == nullptr) {
                return nullptr;
            }
            node->visit([&array](const auto& concrete) { array->push_back(concrete); });
        }
        return array;
    }
    auto table = std::make_unique<toml::table>();
    for (const auto& entry : value.items()) {
        const auto node = NodeOf(entry.value(), depth - 1);
        if (node == nullptr) {
            return nullptr;
        }
        node->visit([&](const auto& concrete) { table->insert_or_assign(entry.key(), concrete); });
    }
    return table;
}

/** Puts a value in its place. False: `*error` says why it has none. */
bool PutValue(const std::string& key, const json& value, toml::table* root, std::string* error)
{
    constexpr int kDepth = 3;
    const std::size_t dot = key.find('.');
    const std::string tableName = key.substr(0, dot);
    const bool whole = dot == std::string::npos;
    const std::string shown = base::Quoted(key);
    if (whole && key != "iobox") {
        *error = fmt::format("{} names no key; expected a name such as exposure.time_us", shown);
        return false;
    }
    if (tableName == "features") {
        *error = fmt::format("{} belongs to the features that a session begins with", shown);
        return false;
    }
    toml::table* table = root;
    if (!whole) {
        root->insert(tableName, toml::table()); // unless it is there
        table = root->get_as<toml::table>(tableName);
    }
    if (table == nullptr) {
        *error = fmt::format("{} names no single key: iobox is changed as a whole", shown);
        return false;
    }
    const std::string name = whole ? key : key.substr(dot + 1);
    if (value.is_null()) {
        table->erase(name);
        return true;
    }
    const auto node = NodeOf(value, kDepth);
    if (node == nullptr) {
        *error = fmt::format("{} has a value that no key has", shown);
        return false;
    }
    node->visit([&](const auto& concrete) { table->insert_or_assign(name, concrete); });
    return true;
}

} // namespace

std::string ConfigText(const Config& config)
{
    return TextOf(TablesOf(config), config.features);
}

bool ChangeConfig(const Config& config, const json& values, ChangedConfig* changed,
                  std::string* error)
{
    toml::table tables = TablesOf(config);
    for (const auto& entry : values.items()) {
        if (!PutValue(entry.key(), entry.value(), &tables, error)) {
            return false;
        }
    }
    // Places in this text would puzzle people, who never see it.
    auto outcome = ParseConfig(TextOf(tables, config.features), "control",
                               [](const std::string&, std::string*, std::string* why) {
                                   *why = "the control socket reads no files; send lut.values";
                                   return false;
                               });
    if (const auto* refused = std::get_if<ConfigError>(&outcome)) {
        *error = refused->text;
        return false;
    }
    auto& parsed = std::get<ParsedConfig>(outcome);
    changed->config = std::move(parsed.config);
    for (const std::string& warning : parsed.warnings) {
        const std::size_t place = warning.find(": ");
        changed->warnings.push_back(warning.substr(place == std::string::npos ? 0 : place + 2));
    }
    changed->changes = Compare(config, changed->config);
    return true;
}

} // namespace kvgrab
