#include "sim/description/description.h"

#include "sim/description/description_faults.h"
#include "sim/description/description_reader.h"
#include "sim/description/feature_probe.h"

#include "genapi/value_text.h"

#include <algorithm>
#include <filesystem>
#include <memory>
#include <optional>
#include <stdexcept>

namespace sim
{

namespace
{

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
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
std::string Quoted(std::string_view text)
{
    return Shown(toml::value<std::string>{std::string(text)});
}

/** A list of names, each of which the camera has to know. */
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

/** A value at power-up as the text that a feature reads. */
std::string ValueText(const TableReader& reader, const toml::node& node)
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
    reader.RefuseValue("a value", node, "a text, a number, true or false");
}

/** The values as a table, or as an array of pairs in which a feature may stand more than once. */
void ReadValues(TableReader& reader, CameraSetup* setup)
{
    constexpr std::string_view kExpected = "a table of features and values: { Gain = 2.0 }, or an "
                                           "array of pairs: [[\"Gain\", 2.0]]";
    FeatureProbe probe(setup->model, setup->sensorWidth, setup->sensorHeight);
    const auto take = [&](const std::string& name, const toml::node& named,
                          const toml::node& node) {
        if (!probe.HasFeature(name)) {
            TableReader::RefuseAt(named, "values has " + Quoted(name) + "; expected " +
                                             std::string(kFeature));
        }
        const std::string text = ValueText(reader, node);
        if (!probe.Takes(name, text)) {
            reader.RefuseValue(name, node, "a value of this feature");
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
            reader.RefuseValue("a pair of values", element, "such as [\"Gain\", 2.0]");
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
            reader.RefuseAt(*node,
                            "mistyped has " + Quoted(name) + "; expected " + std::string(kFeature));
        }
        setup->mistyped.emplace_back(name,
                                     reader.Chosen(name, *node, base::Names<NodeKind>(kNodeKinds)));
    }
    for (const toml::node* node : reader.Array("refused_formats", "an array of pixel formats")) {
        std::optional<std::uint32_t> format;
        if (node->is_string() || node->is_integer()) {
            format = probe.Format(ValueText(reader, *node));
        }
        if (!format) {
            reader.RefuseValue("refused_formats", *node,
                               "a pixel format of this model by its name or code");
        }
        setup->refusedFormats.push_back(*format);
    }
    ReadValues(reader, setup);
}

/** Reads the scene that a camera looks at; null: it has none. Its path becomes one from here. */
std::shared_ptr<const LightImage> ReadScene(TableReader& reader, const std::string& file,
                                            CameraSetup* setup)
{
    const toml::node* node = reader.Find("scene");
    if (node == nullptr) {
        return nullptr;
    }
    reader.Text("scene", 1, kPathMost, &setup->scene);
    setup->scene = (std::filesystem::path(file).parent_path() / setup->scene).string();
    try {
        return LightImage::Load(setup->scene);
    } catch (const std::runtime_error& failure) {
        reader.RefuseValue("scene", *node, std::string("a PNG file (") + failure.what() + ")");
    }
}

CameraSetup ReadCamera(const toml::table& table, const std::string& file,
                       std::shared_ptr<const LightImage>* scene)
{
    CameraSetup setup;
    TableReader reader(table, "[[camera]]");
    reader.Choice("model", base::Names<Model>(kModels), &setup.model);
    reader.Text("manufacturer", 0, kTextMost, &setup.manufacturer);
    reader.Text("model_name", 0, kTextMost, &setup.modelName);
    reader.Text("serial", 1, kTextMost, &setup.serial);
    reader.Text("version", 0, kTextMost, &setup.version);
    reader.Flag("attached", &setup.attached);
    reader.Whole("sensor_width", 16, 65536, &setup.sensorWidth);
    reader.Whole("sensor_height", 16, 65536, &setup.sensorHeight);
    reader.Choice("picture", base::Names<Picture>(kPictures), &setup.picture);
    *scene = ReadScene(reader, file, &setup);
    reader.Number("noise", 0, 100, &setup.noise);
    reader.Whole("seed", 0, kMost, &setup.seed);
    reader.Whole("tick_frequency", 0, 1'000'000'000'000, &setup.tickFrequency);
    reader.Whole("tick_offset", kLeast, kMost, &setup.tickOffset);
    reader.Whole("tick_bits", 1, 64, &setup.tickBits);
    reader.Number("drift_ppm", -1e5, 1e5, &setup.driftPpm);
    reader.Number("jitter_us", 0, 1e9, &setup.jitterUs);
    reader.Flag("lock_regulated", &setup.lockRegulated);
    reader.Number("link_mbytes_per_second", 0, 1e6, &setup.linkMBytesPerSecond);
    reader.Number("temperature_c", -100, 200, &setup.temperatureC);
    ReadFeatureLists(reader, &setup);
    reader.RefuseOthers();
    return setup;
}

/** The tables of [[camera]] or [[fault]]. */
std::vector<const toml::table*> Tables(TableReader& reader, std::string_view key)
{
    const std::string expected = "tables that start with [[" + std::string(key) + "]]";
    std::vector<const toml::table*> tables;
    for (const toml::node* node : reader.Array(key, expected)) {
        if (!node->is_table()) {
            reader.RefuseValue(key, *node, expected);
        }
        tables.push_back(node->as_table());
    }
    return tables;
}

NetworkDescription ReadNetwork(const toml::table& file, const std::string& name)
{
    NetworkDescription network;
    TableReader reader(file, "the file");
    const auto cameras = Tables(reader, "camera");
    const auto faults = Tables(reader, "fault");
    reader.RefuseOthers();
    for (const toml::table* table : cameras) {
        std::shared_ptr<const LightImage> scene;
        CameraSetup setup = ReadCamera(*table, name, &scene);
        for (const CameraSetup& other : network.cameras) {
            if (other.serial == setup.serial) {
                const toml::node* serial = table->get("serial");
                TableReader::RefuseAt(serial != nullptr ? *serial : *table,
                                      "another camera has the serial " + Quoted(setup.serial) +
                                          " already; expected one of its own");
            }
        }
        network.cameras.push_back(std::move(setup));
        network.scenes.push_back(std::move(scene));
    }
    if (!faults.empty()) {
        FaultReader faultReader(network.cameras);
        for (const toml::table* table : faults) {
            network.faults.push_back(faultReader.Read(*table));
        }
    }
    return network;
}

std::string Located(const std::string& name, const toml::source_position& where,
                    std::string_view text)
{
    return name + ":" + std::to_string(where.line) + ":" + std::to_string(where.column) + ": " +
           std::string(text);
}

} // namespace

bool ParseNetwork(std::string_view text, const std::string& name, NetworkDescription* network,
                  std::string* error)
{
    try {
        *network = ReadNetwork(toml::parse(text), name);
        return true;
    } catch (const Refusal& refusal) {
        *error = Located(name, refusal.where, refusal.text);
    } catch (const toml::parse_error& failure) {
        *error = Located(name, failure.source().begin, failure.description());
    }
    return false;
}

} // namespace sim
