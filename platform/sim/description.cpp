#include "description.h"

#include "description_reader.h"
#include "feature_probe.h"

#include "../genapi/value_text.h"

#include <algorithm>
#include <array>
#include <optional>

namespace sim
{

namespace
{

constexpr std::pair<std::string_view, Model> kModels[] = {{"mono", Model::Mono},
                                                          {"color", Model::Color}};
constexpr std::pair<std::string_view, Picture> kPictures[] = {{"pattern", Picture::Pattern},
                                                              {"plain", Picture::Plain}};
constexpr std::pair<std::string_view, NodeKind> kNodeKinds[] = {
    {"integer", NodeKind::Integer},
    {"float", NodeKind::Float},
    {"enumeration", NodeKind::Enumeration},
    {"boolean", NodeKind::Boolean}};
constexpr std::pair<std::string_view, Trigger> kTriggers[] = {
    {"access", Trigger::Access}, {"read", Trigger::Read},   {"write", Trigger::Write},
    {"call", Trigger::Call},     {"frame", Trigger::Frame}, {"time", Trigger::Time}};
constexpr std::pair<std::string_view, Effect> kEffects[] = {
    {"throw", Effect::Throw},
    {"fail", Effect::Fail},
    {"lose", Effect::Lose},
    {"incomplete", Effect::Incomplete},
    {"delay", Effect::Delay},
    {"null_image", Effect::NullImage},
    {"null_frame", Effect::NullFrame},
    {"timestamp", Effect::Timestamp},
    {"zero_timestamp", Effect::ZeroTimestamp},
    {"jump_ticks", Effect::JumpTicks},
    {"detach", Effect::Detach}};
constexpr std::pair<std::string_view, ExceptionKind> kExceptions[] = {
    {"invalid_argument", ExceptionKind::InvalidArgument},
    {"property", ExceptionKind::Property},
    {"logical_error", ExceptionKind::LogicalError},
    {"out_of_range", ExceptionKind::OutOfRange},
    {"runtime", ExceptionKind::Runtime},
    {"access", ExceptionKind::Access},
    {"timeout", ExceptionKind::Timeout},
    {"dynamic_cast", ExceptionKind::DynamicCast},
    {"standard", ExceptionKind::Standard},
    {"unknown", ExceptionKind::Unknown}};

/** The calls of gev_api.h that a fault can be tied to. */
constexpr std::string_view kCalls[] = {"GevGetCameraList",
                                       "GevOpenCamera",
                                       "GevCloseCamera",
                                       "GevApiUninitialize",
                                       "_CloseSocketAPI",
                                       "GevGetCameraInfo",
                                       "GevGetFeatureNodeMap",
                                       "GevGetCameraInterfaceOptions",
                                       "GevSetCameraInterfaceOptions",
                                       "GevGetFeatureValue",
                                       "GevSetFeatureValue",
                                       "GevGetPayloadParameters",
                                       "GevInitializeTransfer",
                                       "GevStartTransfer",
                                       "GevAbortTransfer",
                                       "GevFreeTransfer",
                                       "GevWaitForNextFrame",
                                       "GevReleaseFrame",
                                       "GevGetTransferStatistics"};

constexpr std::string_view kFeature = "the name of a feature of this model";

constexpr std::size_t kTextMost = kGevTextSize - 1;
constexpr std::size_t kFaultTextMost = 1000;
constexpr std::int64_t kMost = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
/** Over thirty years: added to any clock it stays within 64 bits. */
constexpr std::int64_t kLongestNs = 1'000'000'000'000'000'000;

std::string Quoted(std::string_view text)
{
    return Shown(toml::value<std::string>{std::string(text)});
}

template <class Value> std::string_view NameOf(Choices<Value> choices, Value value)
{
    const auto found = std::find_if(choices.begin(), choices.end(),
                                    [&](const auto& choice) { return choice.second == value; });
    return found == choices.end() ? std::string_view() : found->first;
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
                                     reader.Chosen(name, *node, Choices<NodeKind>(kNodeKinds)));
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

CameraSetup ReadCamera(const toml::table& table)
{
    CameraSetup setup;
    TableReader reader(table, "[[camera]]");
    reader.Choice("model", Choices<Model>(kModels), &setup.model);
    reader.Text("manufacturer", 0, kTextMost, &setup.manufacturer);
    reader.Text("model_name", 0, kTextMost, &setup.modelName);
    reader.Text("serial", 1, kTextMost, &setup.serial);
    reader.Text("version", 0, kTextMost, &setup.version);
    reader.Flag("attached", &setup.attached);
    reader.Whole("sensor_width", 16, 65536, &setup.sensorWidth);
    reader.Whole("sensor_height", 16, 65536, &setup.sensorHeight);
    reader.Choice("picture", Choices<Picture>(kPictures), &setup.picture);
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

bool IsAccess(Trigger trigger)
{
    return trigger == Trigger::Access || trigger == Trigger::Read || trigger == Trigger::Write;
}

bool Fits(Effect effect, Trigger trigger)
{
    switch (effect) {
    case Effect::Throw:
        return IsAccess(trigger);
    case Effect::Fail:
        return trigger == Trigger::Call;
    case Effect::Delay:
        return trigger != Trigger::Time;
    case Effect::JumpTicks:
        return trigger == Trigger::Frame || trigger == Trigger::Time;
    case Effect::Detach:
        return true;
    default:
        return trigger == Trigger::Frame;
    }
}

/** What `value` may be, as the effect takes it. */
void ReadFaultValue(TableReader& reader, Fault* fault)
{
    switch (fault->effect) {
    case Effect::Fail:
        reader.Require("value", "the status that the call returns");
        reader.Whole("value", std::numeric_limits<std::int32_t>::min(),
                     std::numeric_limits<std::int32_t>::max(), &fault->value);
        return;
    case Effect::Delay:
        reader.Require("value", "nanoseconds");
        reader.Whole("value", 1, kLongestNs, &fault->value);
        return;
    case Effect::Timestamp:
        reader.Require("value", "ticks");
        reader.Whole("value", 0, kMost, &fault->value);
        return;
    case Effect::JumpTicks:
        reader.Require("value", "ticks");
        reader.Whole("value", kLeast, kMost, &fault->value);
        return;
    case Effect::Detach:
        reader.Whole("value", 0, kLongestNs, &fault->value);
        return;
    default:
        reader.Forbid("value", "this effect takes none");
    }
}

class FaultReader
{
public:
    explicit FaultReader(const std::vector<CameraSetup>& cameras) : cameras_(cameras) {}
    Fault Read(const toml::table& table);

private:
    void ReadCamera(TableReader& reader, Fault* fault) const;
    void ReadName(TableReader& reader, Fault* fault);
    bool Knows(std::string_view feature);

    const std::vector<CameraSetup>& cameras_;
    FeatureProbe mono_{Model::Mono, 64, 64};
    FeatureProbe color_{Model::Color, 64, 64};
};

void FaultReader::ReadCamera(TableReader& reader, Fault* fault) const
{
    const toml::node* node = reader.Find("camera");
    if (node == nullptr) {
        return;
    }
    reader.Text("camera", 0, kTextMost, &fault->camera);
    const auto named = [&](const CameraSetup& setup) { return setup.serial == fault->camera; };
    if (!fault->camera.empty() && std::none_of(cameras_.begin(), cameras_.end(), named)) {
        reader.RefuseValue("camera", *node, "the serial of a camera of this file");
    }
}

bool FaultReader::Knows(std::string_view feature)
{
    return mono_.HasFeature(feature) || color_.HasFeature(feature);
}

void FaultReader::ReadName(TableReader& reader, Fault* fault)
{
    if (fault->trigger == Trigger::Frame || fault->trigger == Trigger::Time) {
        reader.Forbid("name", "frames and points in time have none");
        return;
    }
    const toml::node* node = reader.Find("name");
    if (node == nullptr) {
        return;
    }
    reader.Text("name", 0, kTextMost, &fault->name);
    if (fault->name.empty()) {
        return;
    }
    if (IsAccess(fault->trigger) && !Knows(fault->name)) {
        reader.RefuseValue("name", *node, "the name of a feature");
    }
    if (fault->trigger == Trigger::Call &&
        std::find(std::begin(kCalls), std::end(kCalls), fault->name) == std::end(kCalls)) {
        reader.RefuseValue("name", *node, "a camera call such as \"GevOpenCamera\"");
    }
}

Fault FaultReader::Read(const toml::table& table)
{
    Fault fault;
    TableReader reader(table, "[[fault]]");
    reader.Require("trigger", "access, read, write, call, frame or time");
    reader.Require("effect", "what happens, such as throw or lose");
    reader.Choice("trigger", Choices<Trigger>(kTriggers), &fault.trigger);
    reader.Choice("effect", Choices<Effect>(kEffects), &fault.effect);
    if (!Fits(fault.effect, fault.trigger)) {
        std::vector<std::string_view> fitting;
        for (const auto& [name, effect] : kEffects) {
            if (Fits(effect, fault.trigger)) {
                fitting.push_back(name);
            }
        }
        reader.RefuseValue("effect", *table.get("effect"),
                           reader.OneOf(fitting) + " with the trigger " +
                               std::string(NameOf(Choices<Trigger>(kTriggers), fault.trigger)));
    }
    ReadCamera(reader, &fault);
    ReadName(reader, &fault);
    if (fault.trigger == Trigger::Time) {
        reader.Require("nth", "nanoseconds from when the file is loaded");
        reader.Whole("nth", 0, kLongestNs, &fault.nth);
        reader.Forbid("times", "a point in time comes once");
    } else {
        reader.Whole("nth", 1, kMost, &fault.nth);
        reader.Whole("times", 0, kMost, &fault.times);
    }
    ReadFaultValue(reader, &fault);
    if (fault.effect == Effect::Throw) {
        reader.Choice("exception", Choices<ExceptionKind>(kExceptions), &fault.exception);
        reader.Text("text", 0, kFaultTextMost, &fault.text);
    } else {
        reader.Forbid("exception", "only throw raises one");
        reader.Forbid("text", "only throw has one");
    }
    reader.RefuseOthers();
    return fault;
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

NetworkDescription ReadNetwork(const toml::table& file)
{
    NetworkDescription network;
    TableReader reader(file, "the file");
    const auto cameras = Tables(reader, "camera");
    const auto faults = Tables(reader, "fault");
    reader.RefuseOthers();
    for (const toml::table* table : cameras) {
        CameraSetup setup = ReadCamera(*table);
        for (const CameraSetup& other : network.cameras) {
            if (other.serial == setup.serial) {
                const toml::node* serial = table->get("serial");
                TableReader::RefuseAt(serial != nullptr ? *serial : *table,
                                      "another camera has the serial " + Quoted(setup.serial) +
                                          " already; expected one of its own");
            }
        }
        network.cameras.push_back(std::move(setup));
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
        *network = ReadNetwork(toml::parse(text));
        return true;
    } catch (const Refusal& refusal) {
        *error = Located(name, refusal.where, refusal.text);
    } catch (const toml::parse_error& failure) {
        *error = Located(name, failure.source().begin, failure.description());
    }
    return false;
}

} // namespace sim
