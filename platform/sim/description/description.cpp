#include "sim/description/description.h"

#include "sim/description/description_faults.h"
#include "sim/description/feature_probe.h"
#include "sim/description/read_text.h"

#include "base/printable.h"
#include "base/toml_reader.h"
#include "genapi/value_text.h"
#include "sim/replay/replay_setup.h"

#include <fmt/format.h>

#include <filesystem>
#include <limits>
#include <memory>
#include <optional>
#include <stdexcept>

namespace sim
{

namespace
{

using base::Put;
using base::TableReader;

constexpr base::Named<Model> kModels[] = {{"mono", Model::Mono}, {"color", Model::Color}};
constexpr base::Named<Picture> kPictures[] = {{"pattern", Picture::Pattern},
                                              {"plain", Picture::Plain}};
constexpr base::Named<NodeKind> kNodeKinds[] = {{"integer", NodeKind::Integer},
                                                {"float", NodeKind::Float},
                                                {"enumeration", NodeKind::Enumeration},
                                                {"boolean", NodeKind::Boolean}};
constexpr std::string_view kFeature = "the name of a feature of this model";

constexpr std::size_t kTextMost = kGevTextSize - 1;
constexpr std::size_t kPathMost = 4096;
constexpr double kMostSeconds = 1e9;
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();

/** A list of names that the camera has to know. */
template <class Knows>
void ReadNames(TableReader& reader, std::string_view key, std::string_view expected, Knows knows,
               std::vector<std::string>* names)
{
    for (const toml::node* node : reader.Array(key, "an array of texts")) {
        const auto* text = node->as_string();
        if (text == nullptr || !knows(text->get())) {
            reader.RefuseValue(key, *node, expected);
        }
        names->push_back(text->get());
    }
}

/** A value at power-up as text, as a feature takes it. */
std::string ValueText(const TableReader& reader, std::string_view key, const toml::node& node)
{
    if (const auto* text = node.as_string()) {
        return text->get();
    }
    if (const auto* number = node.as_integer()) {
        return genapi::ToText(number->get());
    }
    if (const auto* number = node.as_floating_point()) {
        return genapi::ToText(number->get());
    }
    if (const auto* flag = node.as_boolean()) {
        return genapi::ToText(flag->get());
    }
    reader.RefuseValue(key, node, "a text, a number, true or false");
}

/** The values as a table, or as an array of pairs in which a feature may occur more than once. */
void ReadValues(TableReader& reader, CameraSetup* setup)
{
    constexpr std::string_view kExpected = "a table of features and values: { Gain = 2.0 }, or an "
                                           "array of pairs: [[\"Gain\", 2.0]]";
    FeatureProbe probe(setup->model, setup->sensorWidth, setup->sensorHeight);
    const auto take = [&](const std::string& name, const toml::node& named,
                          const toml::node& node) {
        if (!probe.HasFeature(name)) {
            reader.RefuseAt(named, fmt::format("camera.values has {}; expected {}",
                                               base::Quoted(name), kFeature));
        }
        const std::string key = fmt::format("values.{}", name);
        const std::string text = ValueText(reader, key, node);
        if (!probe.Takes(name, text)) {
            reader.RefuseValue(key, node, "a value of this feature");
        }
        setup->values.emplace_back(name, text);
    };
    const toml::node* values = reader.Find("values");
    if (values == nullptr || !values->is_array()) {
        for (const auto& [name, node] : reader.Entries("values", kExpected)) {
            take(name, *node, *node);
        }
        return;
    }
    for (const toml::node& element : *values->as_array()) {
        const toml::array* pair = element.as_array();
        if (pair == nullptr || pair->size() != 2 || !(*pair)[0].is_string()) {
            reader.RefuseValue("values", element, "pairs such as [\"Gain\", 2.0]");
        }
        take((*pair)[0].as_string()->get(), (*pair)[0], (*pair)[1]);
    }
}

void ReadFeatureLists(TableReader& reader, CameraSetup* setup)
{
    constexpr std::string_view kEntry = "an entry of this model such as \"ChunkSelector.Gain\"";
    FeatureProbe probe(setup->model, setup->sensorWidth, setup->sensorHeight);
    const auto hasFeature = [&](std::string_view name) { return probe.HasFeature(name); };
    const auto hasEntry = [&](std::string_view name) { return probe.HasEntry(name); };
    ReadNames(reader, "missing", kFeature, hasFeature, &setup->missing);
    ReadNames(reader, "read_only", kFeature, hasFeature, &setup->readOnly);
    ReadNames(reader, "not_available", kFeature, hasFeature, &setup->notAvailable);
    ReadNames(reader, "not_implemented_entries", kEntry, hasEntry, &setup->notImplementedEntries);
    ReadNames(reader, "missing_entries", kEntry, hasEntry, &setup->missingEntries);

    for (const auto& [name, node] :
         reader.Entries("mistyped", "a table of features and kinds: { Gain = \"integer\" }")) {
        if (!probe.HasFeature(name)) {
            reader.RefuseAt(*node, fmt::format("camera.mistyped has {}; expected {}",
                                               base::Quoted(name), kFeature));
        }
        setup->mistyped.emplace_back(
            name, reader.Chosen<NodeKind>(fmt::format("mistyped.{}", name), *node, kNodeKinds));
    }
    for (const toml::node* node : reader.Array("refused_formats", "an array of pixel formats")) {
        std::optional<std::uint32_t> format;
        if (node->is_string() || node->is_integer()) {
            format = probe.Format(ValueText(reader, "refused_formats", *node));
        }
        if (!format) {
            reader.RefuseValue("refused_formats", *node,
                               "a pixel format of this model by its name or code");
        }
        setup->refusedFormats.push_back(*format);
    }
    ReadValues(reader, setup);
}

/** Reads the scene in front of a camera; null without one. Its path, which is relative to the
 *  file, becomes relative to the current folder. */
std::shared_ptr<const LightImage> ReadScene(TableReader& reader, const std::string& file,
                                            CameraSetup* setup)
{
    const toml::node* node = reader.Find("scene");
    if (node == nullptr) {
        return nullptr;
    }
    Put(ReadText(reader, "scene", 1, kPathMost), &setup->scene);
    setup->scene = (std::filesystem::path(file).parent_path() / setup->scene).string();
    try {
        return LightImage::Load(setup->scene);
    } catch (const std::runtime_error& failure) {
        reader.RefuseValue("scene", *node, fmt::format("a PNG file ({})", failure.what()));
    }
}

/** Reads the recording that a camera plays back; null without one. Its path, which is relative to
 *  the file, becomes relative to the current folder. */
std::shared_ptr<const Recording> ReadReplay(TableReader& reader, const std::string& file,
                                            CameraSetup* setup)
{
    const toml::node* node = reader.Find("replay");
    Put(reader.Flag("replay_fast"), &setup->replayFast);
    Put(reader.Flag("replay_loop"), &setup->replayLoop);
    if (node == nullptr) {
        reader.Needs("replay_fast", "replay", "it says how a recording is played back");
        reader.Needs("replay_loop", "replay", "it says how a recording is played back");
        return nullptr;
    }
    for (const std::string_view key : {"model",
                                       "sensor_width",
                                       "sensor_height",
                                       "picture",
                                       "scene",
                                       "noise",
                                       "seed",
                                       "tick_offset",
                                       "tick_bits",
                                       "drift_ppm",
                                       "jitter_us",
                                       "lock_regulated",
                                       "trigger_line",
                                       "trigger_hz",
                                       "trigger_pulse_us",
                                       "trigger_times_s",
                                       "link_mbytes_per_second",
                                       "line_readout_us",
                                       "highest_frame_rate",
                                       "refused_formats"}) {
        reader.Forbid(key, "the camera plays a recording back");
    }
    Put(ReadText(reader, "replay", 1, kPathMost), &setup->replay);
    setup->replay = (std::filesystem::path(file).parent_path() / setup->replay).string();
    try {
        std::shared_ptr<const Recording> recording = Recording::Load(setup->replay);
        *setup = ReplaySetup(std::move(*setup), *recording);
        return recording;
    } catch (const std::runtime_error& failure) {
        reader.RefuseValue("replay", *node,
                           fmt::format("the folder of an export ({})", failure.what()));
    }
}

CameraSetup ReadCamera(TableReader& reader, const std::string& file,
                       std::shared_ptr<const LightImage>* scene,
                       std::shared_ptr<const Recording>* recording)
{
    CameraSetup setup;
    *recording = ReadReplay(reader, file, &setup);
    Put(reader.OneOf<Model>("model", kModels), &setup.model);
    Put(ReadText(reader, "manufacturer", 0, kTextMost), &setup.manufacturer);
    Put(ReadText(reader, "model_name", 0, kTextMost), &setup.modelName);
    Put(ReadText(reader, "serial", 1, kTextMost), &setup.serial);
    Put(ReadText(reader, "version", 0, kTextMost), &setup.version);
    Put(reader.Flag("attached"), &setup.attached);
    Put(reader.Integer("sensor_width", 16, 65536), &setup.sensorWidth);
    Put(reader.Integer("sensor_height", 16, 65536), &setup.sensorHeight);
    Put(reader.OneOf<Picture>("picture", kPictures), &setup.picture);
    *scene = ReadScene(reader, file, &setup);
    Put(reader.Number("noise", {0, 100}), &setup.noise);
    Put(reader.Integer("seed", 0, kMost), &setup.seed);
    Put(reader.Integer("tick_frequency", 0, 1'000'000'000'000), &setup.tickFrequency);
    Put(reader.Integer("tick_offset", kLeast, kMost), &setup.tickOffset);
    Put(reader.Integer("tick_bits", 1, 64), &setup.tickBits);
    Put(reader.Number("drift_ppm", {-1e5, 1e5}), &setup.driftPpm);
    Put(reader.Number("jitter_us", {0, 1e9}), &setup.jitterUs);
    Put(reader.Flag("lock_regulated"), &setup.lockRegulated);
    Put(reader.Integer("trigger_line", 1, 2), &setup.triggerLine);
    Put(reader.Number("trigger_hz", {0, 1e5}), &setup.triggerHz);
    Put(reader.Number("trigger_pulse_us", {1, 1e9}), &setup.triggerPulseUs);
    for (const toml::node* node : reader.Array("trigger_times_s", "an array of seconds")) {
        const auto seconds = node->value<double>();
        if (!seconds || !(*seconds >= 0 && *seconds <= kMostSeconds)) {
            reader.RefuseValue("trigger_times_s", *node,
                               "seconds after power-up, from 0 to 1000000000");
        }
        setup.triggerTimesS.push_back(*seconds);
    }
    Put(reader.Number("link_mbytes_per_second", {0, 1e6}), &setup.linkMBytesPerSecond);
    Put(reader.Number("line_readout_us", {0, 1000}), &setup.lineReadoutUs);
    Put(reader.Number("highest_frame_rate", {1, 1e5}), &setup.highestFrameRate);
    Put(reader.Number("temperature_c", {-100, 200}), &setup.temperatureC);
    ReadFeatureLists(reader, &setup);
    reader.Finish();
    return setup;
}

NetworkDescription ReadNetwork(std::string_view text, const std::string& name)
{
    NetworkDescription network;
    base::TomlContext context{name};
    const toml::table file = base::ParseToml(text, context);
    TableReader root(context, file);
    auto cameras = root.Tables("camera");
    auto faults = root.Tables("fault");
    root.Finish();
    for (TableReader& reader : cameras) {
        std::shared_ptr<const LightImage> scene;
        std::shared_ptr<const Recording> recording;
        CameraSetup setup = ReadCamera(reader, name, &scene, &recording);
        for (const CameraSetup& other : network.cameras) {
            if (other.serial == setup.serial) {
                reader.Refuse("serial", fmt::format("is {}, which another camera has already; "
                                                    "expected one of its own",
                                                    base::Quoted(setup.serial)));
            }
        }
        network.cameras.push_back(std::move(setup));
        network.scenes.push_back(std::move(scene));
        network.recordings.push_back(std::move(recording));
    }
    if (!faults.empty()) {
        FaultReader faultReader(network.cameras);
        for (TableReader& reader : faults) {
            network.faults.push_back(faultReader.Read(reader));
        }
    }
    return network;
}

} // namespace

bool ParseNetwork(std::string_view text, const std::string& name, NetworkDescription* network,
                  std::string* error)
{
    try {
        *network = ReadNetwork(text, name);
        return true;
    } catch (const base::TextError& refusal) {
        *error = refusal.Message();
    }
    return false;
}

} // namespace sim
