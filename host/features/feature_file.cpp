#include "features/feature_file.h"

#include "base/printable.h"
#include "features/feature_setting.h"
#include "features/node_text.h"
#include "features/selectors.h"
#include "features/value_text.h"

#include <algorithm>
#include <fmt/format.h>
#include <optional>

namespace kvgrab
{

namespace
{

/** Positions of the selectors of one feature: three tables of 4096 entries fit. */
constexpr std::size_t kMostPositions = 16384;

/** The value as TOML has it; nothing if TOML can't have it. */
std::optional<std::string> TomlValue(GenApi::INode& node)
{
    const std::string value = ValueText(node);
    if (node.AsInteger() != nullptr || node.AsBoolean() != nullptr) {
        return value;
    }
    if (node.AsFloat() == nullptr) {
        return TomlString(value);
    }
    const std::optional<double> number = ParseNumber(value); // nothing for an infinite one
    return number ? std::optional(TomlNumber(*number)) : std::nullopt;
}

/** Writes the lines of a camera's features. */
class Writer
{
public:
    void Feature(GenApi::INode& node)
    {
        name_ = {node.GetName(), {}};
        const bool known = ParseFeatureName(name_.feature).has_value();
        if (!known || !HasValue(node) || BelongsToConnection(name_.feature)) {
            return;
        }
        try {
            positions_ = 0;
            Positions(node, SelectorsOf(node));
        } catch (const GenICam::TimeoutException&) {
            throw;
        } catch (const std::exception& e) {
            LeaveOut(e.what());
        }
    }
    FeatureFile file;

private:
    void LeaveOut(std::string_view why)
    {
        file.leftOut.push_back(fmt::format("{}: {}", name_.Text(), base::Printable(why)));
    }
    /** A line for each position of the selectors from the next one on. */
    void Positions(GenApi::INode& node, const std::vector<GenApi::INode*>& selectors)
    {
        if (name_.selected.size() == selectors.size()) {
            Line(node);
            return;
        }
        GenApi::INode& selector = *selectors[name_.selected.size()];
        if (!GenApi::IsReadable(selector.GetAccessMode())) {
            return;
        }
        bool tooMany = false;
        const std::vector<std::string> positions =
            PositionsOf(selector, kMostPositions - positions_, &tooMany);
        positions_ += positions.size();
        if (tooMany) {
            LeaveOut(fmt::format("its selector {} has too many positions", selector.GetName()));
            return;
        }
        KeptValues kept;
        kept.Keep(selector);
        for (const std::string& position : positions) {
            if (ValueText(selector) != position) {
                WriteText(selector, position);
            }
            name_.selected.push_back(position);
            Positions(node, selectors);
            name_.selected.pop_back();
        }
        kept.Restore();
    }
    void Line(GenApi::INode& node)
    {
        if (node.GetAccessMode() != GenApi::RW) {
            return;
        }
        const std::optional<std::string> value = TomlValue(node);
        const std::string name = name_.Text();
        if (!value || !ParseFeatureName(name)) {
            LeaveOut("its value has no form in the file");
            return;
        }
        const bool bare = name.find_first_not_of("ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrst"
                                                 "uvwxyz0123456789_-") == std::string::npos;
        file.text +=
            bare ? fmt::format("{} = {}", name, *value) : fmt::format("\"{}\" = {}", name, *value);
        const std::string expected = base::Printable(ExpectedText(node));
        file.text += fmt::format("  # {}\n", expected);
        ++file.values;
    }

    FeatureName name_;
    std::size_t positions_ = 0;
};

} // namespace

FeatureFile WriteFeatureFile(const GenApi::CNodeMapRef& map, std::string_view camera)
{
    Writer writer;
    writer.file.text =
        fmt::format("# Features of {}\n"
                    "# Written by kvgrab features --save, for kvgrab features --load "
                    "or a configuration.\n[features]\n",
                    base::Printable(camera));
    for (std::size_t i = 0; i < map.GetNodeCount(); ++i) {
        if (GenApi::INode* const node = map.GetNodeAt(i)) {
            writer.Feature(*node);
        }
    }
    for (const std::string& leftOut : writer.file.leftOut) {
        writer.file.text += fmt::format("# left out: {}\n", leftOut);
    }
    return std::move(writer.file);
}

bool BelongsToConnection(std::string_view feature)
{
    constexpr std::string_view kBeginnings[] = {"GevCCP",
                                                "GevHeartbeat",
                                                "GevGVCPHeartbeat",
                                                "GevSC",
                                                "GevMC",
                                                "GevPersistent",
                                                "GevCurrentIP",
                                                "GevGVCPPending",
                                                "TLParamsLocked",
                                                "GevPrimaryApplication",
                                                "GevInterfaceSelector",
                                                "GevStreamChannelSelector"};
    return std::any_of(std::begin(kBeginnings), std::end(kBeginnings),
                       [feature](std::string_view word) { return feature.starts_with(word); });
}

} // namespace kvgrab
