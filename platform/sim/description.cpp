#include "description.h"

#include "camera_model.h"
#include "description_reader.h"

#include <limits>
#include <set>

namespace sim
{

namespace
{

constexpr std::int64_t kMostInteger = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeastInteger = std::numeric_limits<std::int64_t>::min();
constexpr std::int64_t kLargestSensor = 16384; // pixels a side
constexpr std::int64_t kSmallestSensor = 16;

/** A camera of the set-up's model and size, to ask what features there are. */
class Probe
{
public:
    explicit Probe(const CameraSetup& setup) : camera_(Plain(setup), clock_) {}

    std::string FeatureObjection(const std::string& name)
    {
        return camera_.Features().Shown(name) != nullptr ? std::string()
                                                         : "the model has no feature " + name;
    }
    /** `text` is "Feature.Entry". */
    std::string EntryObjection(const std::string& text)
    {
        const std::size_t dot = text.find('.');
        genapi::Feature* const feature = camera_.Features().Shown(text.substr(0, dot));
        GenApi_3_0::IEnumeration* const node =
            feature == nullptr ? nullptr : feature->Node()->AsEnumeration();
        if (dot == std::string::npos || node == nullptr ||
            node->GetEntryByName(std::string_view(text).substr(dot + 1)) == nullptr) {
            return text + " is no entry of an enumeration, as ChunkSelector.Gain is";
        }
        return {};
    }
    std::string ValueObjection(const std::string& name, const std::string& text)
    {
        genapi::Feature* const feature = camera_.Features().Shown(name);
        if (feature == nullptr) {
            return "the model has no feature " + name;
        }
        return feature->SetText(text) ? std::string() : text + " is no value of " + name;
    }

private:
    static CameraSetup Plain(const CameraSetup& setup)
    {
        CameraSetup plain;
        plain.model = setup.model;
        plain.sensorWidth = setup.sensorWidth;
        plain.sensorHeight = setup.sensorHeight;
        return plain;
    }
    NetworkClock clock_;
    CameraModel camera_;
};

const NamedValues<NodeKind> kNodeKinds = {{"integer", NodeKind::Integer},
                                          {"float", NodeKind::Float},
                                          {"enumeration", NodeKind::Enumeration},
                                          {"boolean", NodeKind::Boolean}};

/** What the camera lacks, refuses or has otherwise. */
void ReadLimits(TableReader& reader, CameraSetup* setup)
{
    Probe probe(*setup);
    const auto feature = [&](const std::string& name) { return probe.FeatureObjection(name); };
    const auto entry = [&](const std::string& text) { return probe.EntryObjection(text); };
    reader.Texts("missing", feature, &setup->missing);
    reader.Texts("read_only", feature, &setup->readOnly);
    reader.Texts("not_available", feature, &setup->notAvailable);
    reader.Texts("not_implemented_entries", entry, &setup->notImplementedEntries);
    reader.Texts("missing_entries", entry, &setup->missingEntries);
    reader.Integers("refused_formats", 0, 0xFFFFFFFF, &setup->refusedFormats);
    reader.Pairs(
        "values",
        [&](const std::string& name, const std::string& text) {
            return probe.ValueObjection(name, text);
        },
        &setup->values);

    std::vector<std::pair<std::string, std::string>> kinds;
    reader.Pairs(
        "mistyped",
        [&](const std::string& name, const std::string& kind) {
            for (const auto& [known, meaning] : kNodeKinds) {
                if (kind == known) {
                    setup->mistyped.emplace_back(name, meaning);
                    return probe.FeatureObjection(name);
                }
            }
            return name + " must be one of integer, float, enumeration, boolean";
        },
        &kinds);
}

CameraSetup ReadCamera(std::string_view file, const toml::table& table)
{
    TableReader reader(file, table);
    CameraSetup setup;
    reader.OneOf<Model>("model", {{"mono", Model::Mono}, {"color", Model::Color}}, &setup.model);
    reader.OneOf<Picture>("picture", {{"pattern", Picture::Pattern}, {"plain", Picture::Plain}},
                          &setup.picture);
    reader.Text("manufacturer", &setup.manufacturer);
    reader.Text("model_name", &setup.modelName);
    reader.Text("serial", &setup.serial);
    reader.Text("version", &setup.version);
    reader.Flag("attached", &setup.attached);
    reader.Unsigned("sensor_width", kSmallestSensor, kLargestSensor, &setup.sensorWidth);
    reader.Unsigned("sensor_height", kSmallestSensor, kLargestSensor, &setup.sensorHeight);
    reader.Unsigned("seed", 0, kMostInteger, &setup.seed);
    reader.Unsigned("tick_frequency", 0, kMostInteger, &setup.tickFrequency);
    reader.Integer("tick_offset", kLeastInteger, kMostInteger, &setup.tickOffset);
    reader.Unsigned("tick_bits", 1, 64, &setup.tickBits);
    reader.Number("drift_ppm", -1e5, 1e5, &setup.driftPpm);
    reader.Number("jitter_us", 0, 1e7, &setup.jitterUs);
    reader.Number("link_mbytes_per_s", 0.001, 1e6, &setup.linkMBytesPerSecond);
    reader.Number("temperature_c", -273.15, 1000, &setup.temperatureC);
    ReadLimits(reader, &setup);
    reader.Done();
    return setup;
}

/** Which triggers an effect makes sense with. */
bool IsPossible(Trigger trigger, Effect effect)
{
    const bool access =
        trigger == Trigger::Access || trigger == Trigger::Read || trigger == Trigger::Write;
    switch (effect) {
    case Effect::Throw:
        return access;
    case Effect::Fail:
        return trigger == Trigger::Call;
    case Effect::Delay:
        return trigger != Trigger::Time;
    case Effect::Detach:
        return true;
    default:
        return trigger == Trigger::Frame;
    }
}

Fault ReadFault(std::string_view file, const toml::table& table,
                const std::set<std::string>& serials)
{
    TableReader reader(file, table);
    Fault fault;
    if (!reader.Has("trigger") || !reader.Has("effect")) {
        reader.RefuseAt("", "a fault needs a trigger and an effect");
    }
    reader.OneOf<Trigger>("trigger",
                          {{"access", Trigger::Access},
                           {"read", Trigger::Read},
                           {"write", Trigger::Write},
                           {"call", Trigger::Call},
                           {"frame", Trigger::Frame},
                           {"time", Trigger::Time}},
                          &fault.trigger);
    reader.OneOf<Effect>("effect",
                         {{"throw", Effect::Throw},
                          {"fail", Effect::Fail},
                          {"lose", Effect::Lose},
                          {"incomplete", Effect::Incomplete},
                          {"delay", Effect::Delay},
                          {"null_image", Effect::NullImage},
                          {"null_frame", Effect::NullFrame},
                          {"timestamp", Effect::Timestamp},
                          {"zero_timestamp", Effect::ZeroTimestamp},
                          {"jump_ticks", Effect::JumpTicks},
                          {"detach", Effect::Detach}},
                         &fault.effect);
    reader.OneOf<ExceptionKind>("exception",
                                {{"invalid_argument", ExceptionKind::InvalidArgument},
                                 {"property", ExceptionKind::Property},
                                 {"logical_error", ExceptionKind::LogicalError},
                                 {"out_of_range", ExceptionKind::OutOfRange},
                                 {"runtime", ExceptionKind::Runtime},
                                 {"access", ExceptionKind::Access},
                                 {"timeout", ExceptionKind::Timeout},
                                 {"dynamic_cast", ExceptionKind::DynamicCast},
                                 {"standard", ExceptionKind::Standard},
                                 {"unknown", ExceptionKind::Unknown}},
                                &fault.exception);
    reader.Text("name", &fault.name);
    reader.Text("camera", &fault.camera);
    reader.Unsigned("nth", 1, kMostInteger, &fault.nth);
    reader.Unsigned("times", 0, kMostInteger, &fault.times);
    reader.Integer("value", kLeastInteger, kMostInteger, &fault.value);
    reader.Text("text", &fault.text);
    reader.Done();
    if (!IsPossible(fault.trigger, fault.effect)) {
        reader.RefuseAt("effect", "this effect can't come of this trigger");
    }
    if (reader.Has("exception") && fault.effect != Effect::Throw) {
        reader.RefuseAt("exception", "only the effect \"throw\" has an exception");
    }
    if (!fault.camera.empty() && !serials.contains(fault.camera)) {
        reader.RefuseAt("camera", "no camera here has the serial " + fault.camera);
    }
    if (fault.value < 0 && (fault.effect == Effect::Delay || fault.effect == Effect::Detach)) {
        reader.RefuseAt("value", "nanoseconds can't be negative here");
    }
    return fault;
}

/** The tables of an array of tables; an empty array where there is none. */
std::vector<const toml::table*> Tables(std::string_view file, const toml::table& root,
                                       const char* key)
{
    std::vector<const toml::table*> tables;
    const toml::node* node = root.get(key);
    if (node == nullptr) {
        return tables;
    }
    const toml::array* array = node->as_array();
    if (array == nullptr) {
        throw DescriptionError(file, node->source(),
                               std::string(key) + " must be an array of tables: [[" + key + "]]");
    }
    for (const toml::node& element : *array) {
        if (element.as_table() == nullptr) {
            throw DescriptionError(file, element.source(),
                                   std::string(key) + " must be an array of tables");
        }
        tables.push_back(element.as_table());
    }
    return tables;
}

NetworkDescription Read(std::string_view file, const toml::table& root)
{
    NetworkDescription network;
    for (const auto& [key, node] : root) {
        if (key != "camera" && key != "fault") {
            throw DescriptionError(file, key.source(),
                                   "unknown key " + std::string(key.str()) +
                                       "; known here: [[camera]], [[fault]]");
        }
    }
    std::set<std::string> serials;
    for (const toml::table* table : Tables(file, root, "camera")) {
        network.cameras.push_back(ReadCamera(file, *table));
        if (!serials.insert(network.cameras.back().serial).second) {
            TableReader(file, *table)
                .RefuseAt("serial", "another camera has the serial " +
                                        network.cameras.back().serial + " already");
        }
    }
    for (const toml::table* table : Tables(file, root, "fault")) {
        network.faults.push_back(ReadFault(file, *table, serials));
    }
    return network;
}

} // namespace

bool ParseNetwork(std::string_view text, std::string_view name, NetworkDescription* network,
                  std::string* error)
{
    try {
        *network = Read(name, toml::parse(text, name));
        return true;
    } catch (const toml::parse_error& e) {
        *error = DescriptionError(name, e.source(), std::string(e.description())).what();
    } catch (const DescriptionError& e) {
        *error = e.what();
    }
    return false;
}

} // namespace sim
