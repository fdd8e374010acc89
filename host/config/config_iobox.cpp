// The [[iobox]] tables.

#include "config/config_tables.h"

#include <fmt/format.h>

#include <algorithm>

namespace kvgrab
{

namespace
{

constexpr std::size_t kIoSetsRead = 3; // the driver reads no more
constexpr std::size_t kIoSetsMost = 8;

/** The keys of the two parameters, and where each has a meaning. */
void ReadIoParameters(TableReader& in, IoSetConfig* out)
{
    const std::int64_t most = 0xFFFFFFFE; // one below the mark of an unset parameter
    const bool strobe = out->source == kSourceStrobe || out->source == kSourceStrobe2;
    const bool user = out->source == kSourceUser;
    const struct {
        const char* key;
        std::size_t index;
        bool fits;
        const char* where;
        std::int64_t min;
        std::int64_t max;
    } keys[] = {
        {"delay_us", 0, strobe, "a strobe", 0, most},
        {"width_us", 1, strobe, "a strobe", 0, most},
        {"bits", 0, user && out->mode == 1, "a user output", 1, 32},
        {"command", 1, user && out->mode == 1, "a user output", 0, most},
        {"timeout_us", 0, user && out->mode == 2, "a user input", 0, most},
    };
    for (const auto& key : keys) {
        const auto value = in.Integer(key.key, key.min, key.max);
        if (!value) {
            continue;
        }
        if (!key.fits) {
            in.Refuse(key.key,
                      fmt::format("belongs to {}; this set has another mode or source", key.where));
        }
        out->parameters[key.index] = static_cast<std::uint32_t>(*value);
    }
    in.Needs("bits", "command", "a command has a length and a value");
    in.Needs("command", "bits", "a command has a length and a value");
}

IoSetConfig ReadIoSet(TableReader& in)
{
    std::vector<base::Named<int>> pins;
    for (const KvTd::KvCfgIoPinMapRow& row : KvTd::KvCfgIoPinMapT) {
        if (row.pin != KvTd::TD_PIN_NONE) {
            pins.push_back({row.name, static_cast<int>(row.pin)});
        }
    }
    IoSetConfig set;
    in.Require("pin", "the name of a pin, such as \"Out1\"");
    in.Require("source", TableReader::OneOfNames(base::NameList<int>(kIoSources)));
    Put(in.OneOf<int>("pin", pins), &set.pin);
    Put(in.OneOf<int>("source", kIoSources), &set.source);
    set.mode = in.OneOf<int>("mode", kIoModes).value_or(1);
    set.invert = in.Flag("invert").value_or(false) ? 2 : 0;
    if (set.mode == 2 && set.source != kSourceUser) {
        in.Refuse("mode",
                  "is \"input\"; expected \"output\": only source = \"user\" can be an input");
    }
    ReadIoParameters(in, &set);
    return set;
}

} // namespace

void ReadIoBox(TableReader& root, std::vector<IoSetConfig>* out)
{
    std::vector<TableReader> tables = root.Tables("iobox");
    if (tables.size() > kIoSetsMost) {
        root.Refuse("iobox", fmt::format("has {} sets; expected 8 at most", tables.size()));
    }
    for (TableReader& in : tables) {
        out->push_back(ReadIoSet(in));
        in.Finish();
    }
    if (tables.size() > kIoSetsRead) {
        root.Warn("iobox", "has more than three sets: the driver reads the first three");
    }
}

std::span<const IoSetConfig> SetsRead(const Config& config)
{
    return std::span(config.iobox).first(std::min(config.iobox.size(), kIoSetsRead));
}

const char* OutputLineOf(const IoSetConfig& set)
{
    if (set.source == kSourceUser) {
        return nullptr;
    }
    if (set.pin == KvTd::TD_PIN_OUT1) {
        return "Line3";
    }
    return set.pin == KvTd::TD_PIN_OUT2 ? "Line4" : nullptr;
}

bool DrivesOutputLines(const Config& config)
{
    const auto sets = SetsRead(config);
    return std::any_of(sets.begin(), sets.end(),
                       [](const IoSetConfig& set) { return OutputLineOf(set) != nullptr; });
}

} // namespace kvgrab
