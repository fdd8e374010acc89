#include "tools/kvcam/features/description_text.h"

#include "genapi/value_text.h"
#include "tools/kvcam/features/wire_features.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <iterator>
#include <string_view>
#include <utility>
#include <vector>

namespace kvcam
{

namespace
{

using genapi::Feature;
using genapi::NodeSpec;

const char* SuffixOf(Register::Kind kind)
{
    switch (kind) {
    case Register::Kind::Max:
        return "Max";
    case Register::Kind::Available:
        return "Available";
    case Register::Kind::Locked:
        return "Locked";
    case Register::Kind::Value:
        break;
    }
    return "Reg";
}

const char* CachingOf(genapi::Caching caching)
{
    switch (caching) {
    case genapi::Caching::WriteThrough:
        return "WriteThrough";
    case genapi::Caching::WriteAround:
        return "WriteAround";
    case genapi::Caching::NoCache:
        break;
    }
    return "NoCache";
}

bool Contains(const std::vector<std::string>& names, std::string_view name)
{
    return std::find(names.begin(), names.end(), name) != names.end();
}

/** Names of models and makers have letters, digits and underscores. */
std::string Identifier(std::string text)
{
    std::replace_if(
        text.begin(), text.end(),
        [](char c) { return std::isalnum(static_cast<unsigned char>(c)) == 0; }, '_');
    return text;
}

/** A number for each text (FNV-1a): clients keep descriptions by it. */
std::uint64_t HashOf(std::string_view text)
{
    std::uint64_t hash = 0xcbf2'9ce4'8422'2325;
    for (const char c : text) {
        hash = (hash ^ static_cast<unsigned char>(c)) * 0x0000'0100'0000'01b3;
    }
    return hash;
}

class Writer
{
public:
    Writer(sim::CameraFeatures& features, const RegisterMap& map) : features_(features), map_(map)
    {
        std::vector<Feature*> selectors; // of cells
        for (const Register& reg : map_.All()) {
            if (reg.kind == Register::Kind::Value) {
                AddFeature(*reg.feature);
                InCategory(reg.feature->Spec().category, reg.feature->Name());
            }
            AddRegister(reg);
            for (const CellStep& step : reg.steps) {
                Feature* const selector = &step.selector->AsFeature();
                if (std::find(selectors.begin(), selectors.end(), selector) == selectors.end()) {
                    selectors.push_back(selector);
                }
            }
        }
        for (Feature* selector : selectors) {
            if (GenApi_3_0::IInteger* const integer = selector->Node()->AsInteger()) {
                AddCellOf(static_cast<genapi::IntegerNode&>(*integer));
            }
        }
        const WireFeatures wire = DescribeWireFeatures(features_);
        text_ += wire.elements;
        for (const auto& [category, name] : wire.names) {
            InCategory(category, name);
        }
    }

    /** All between the start and the end of the description. */
    std::string Elements() const
    {
        std::string root = "<Category Name=\"Root\">";
        std::string categories;
        for (const auto& [category, links] : categories_) {
            root += fmt::format("<pFeature>{}</pFeature>", category);
            categories += fmt::format("<Category Name=\"{}\">{}</Category>\n", category, links);
        }
        return fmt::format(R"({}</Category>
{}{}<Integer Name="Never"><Value>0</Value></Integer>
<Port Name="Device"/>
)",
                           root, categories, text_);
    }

private:
    template <class... Values> void Put(fmt::format_string<Values...> format, Values&&... values)
    {
        fmt::format_to(std::back_inserter(text_), format, std::forward<Values>(values)...);
    }

    void InCategory(const std::string& category, std::string_view feature)
    {
        const auto found = std::find_if(categories_.begin(), categories_.end(),
                                        [&](const auto& known) { return known.first == category; });
        auto& place =
            found == categories_.end() ? categories_.emplace_back(category, std::string()) : *found;
        place.second += fmt::format("<pFeature>{}</pFeature>", feature);
    }

    void AddFeature(Feature& feature);
    void AddGates(const Feature& feature);
    template <class Node> void AddLimits(const Node& node);
    void AddEntries(GenApi_3_0::IEnumeration& enumeration);
    void AddSelected(const Feature& selector);
    void AddRegister(const Register& reg);
    void AddPlace(const Register& reg);
    void AddCellOf(const genapi::IntegerNode& selector);
    void AddCaching(const Register& reg);

    sim::CameraFeatures& features_;
    const RegisterMap& map_;
    std::string text_;
    std::vector<std::pair<std::string, std::string>> categories_; // each with links to its features
};

void Writer::AddFeature(Feature& feature)
{
    GenApi_3_0::INode* const node = feature.Node();
    const std::string& name = feature.Name();
    const std::string& unit = feature.Spec().unit;
    const char* const representation =
        GenApi_3_0::IsWritable(feature.UsualMode()) ? "Linear" : "PureNumber";
    const char* tag = nullptr;
    const auto begin = [&](const char* element) {
        tag = element;
        Put("<{} Name=\"{}\">", tag, name);
        AddGates(feature);
    };
    const auto addValue = [&] { Put("<pValue>{}_Reg</pValue>", name); };
    const auto addUnit = [&] {
        Put("<Representation>{}</Representation>", representation);
        if (!unit.empty()) {
            Put("<Unit>{}</Unit>", unit);
        }
    };
    if (auto* const integer = node->AsInteger()) {
        const auto& number = static_cast<genapi::IntegerNode&>(*integer);
        begin("Integer");
        addValue();
        AddLimits(number);
        Put("<Inc>{}</Inc>", number.Inc());
        addUnit();
    } else if (auto* const real = node->AsFloat()) {
        begin("Float");
        addValue();
        AddLimits(static_cast<genapi::FloatNode&>(*real));
        addUnit();
    } else if (auto* const enumeration = node->AsEnumeration()) {
        begin("Enumeration");
        AddEntries(*enumeration);
        addValue();
    } else if (node->AsBoolean() != nullptr) {
        begin("Boolean");
        addValue();
        Put("<OnValue>1</OnValue><OffValue>0</OffValue>");
    } else if (node->AsCommand() != nullptr) {
        begin("Command");
        Put("<ImposedAccessMode>{}</ImposedAccessMode>",
            GenApi_3_0::IsWritable(feature.UsualMode()) ? "WO" : "RO");
        addValue();
        Put("<CommandValue>1</CommandValue>");
    } else {
        begin("String");
        addValue();
    }
    AddSelected(feature);
    Put("</{}>\n", tag);
}

void Writer::AddGates(const Feature& feature)
{
    const NodeSpec& spec = feature.Spec();
    const GenApi_3_0::EAccessMode mode = feature.UsualMode();
    if (!GenApi_3_0::IsReadable(mode) && !GenApi_3_0::IsWritable(mode)) {
        Put("<pIsAvailable>Never</pIsAvailable>");
        return;
    }
    if (GenApi_3_0::IsWritable(mode) && spec.available) {
        Put("<pIsAvailable>{}_Available</pIsAvailable>", spec.name);
    }
    if (GenApi_3_0::IsWritable(mode) && spec.locked) {
        Put("<pIsLocked>{}_Locked</pIsLocked>", spec.name);
    }
}

template <class Node> void Writer::AddLimits(const Node& node)
{
    Put("<Min>{}</Min>", genapi::ToText(node.Min()));
    if (node.HasMovingMax()) {
        Put("<pMax>{}_Max</pMax>", node.Name());
    } else {
        Put("<Max>{}</Max>", genapi::ToText(node.Max()));
    }
}

void Writer::AddEntries(GenApi_3_0::IEnumeration& enumeration)
{
    for (std::size_t i = 0; i < enumeration.GetEntryCount(); ++i) {
        GenApi_3_0::IEnumEntry& entry = *enumeration.GetEntry(i);
        const bool implemented = GenApi_3_0::IsImplemented(entry.GetAccessMode());
        Put("<EnumEntry Name=\"{}\">{}<Value>{}</Value></EnumEntry>", entry.GetSymbolic(),
            implemented ? "" : "<pIsImplemented>Never</pIsImplemented>", entry.GetNumericValue());
    }
}

void Writer::AddSelected(const Feature& selector)
{
    for (const Feature* feature : features_.Shown()) {
        for (genapi::Selector* by : feature->Spec().selectedBy) {
            if (&by->AsFeature() == &selector) {
                Put("<pSelected>{}</pSelected>", feature->Name());
            }
        }
    }
}

void Writer::AddRegister(const Register& reg)
{
    const std::string& name = reg.feature->Name();
    GenApi_3_0::INode* const node = reg.feature->Node();
    const bool isValue = reg.kind == Register::Kind::Value;
    const bool isYesOrNo =
        reg.kind == Register::Kind::Available || reg.kind == Register::Kind::Locked;
    const bool isFloat = !isYesOrNo && node->AsFloat() != nullptr;
    const bool readOnly = !isValue || reg.feature->UsualMode() == GenApi_3_0::RO;
    const char* const tag = reg.IsText() ? "StringReg" : isFloat ? "FloatReg" : "IntReg";
    Put("<{} Name=\"{}_{}\">", tag, name, SuffixOf(reg.kind));
    AddPlace(reg);
    Put("<Length>{}</Length><AccessMode>{}</AccessMode><pPort>Device</pPort>", reg.bytes,
        readOnly ? "RO" : "RW");
    AddCaching(reg);
    if (!reg.IsText() && !isFloat) {
        Put("<Sign>{}</Sign>", reg.bytes == 8 ? "Signed" : "Unsigned");
    }
    if (!reg.IsText()) {
        Put("<Endianess>BigEndian</Endianess>");
    }
    Put("</{}>\n", tag);
}

/** The entries of an enumeration that selects are numbered by their positions, and an integer
 * counts from 0. A camera whose integer reports limits beyond its cells shows the nearest cell. */
void Writer::AddPlace(const Register& reg)
{
    Put("<Address>{:#x}</Address>", reg.address);
    for (const CellStep& step : reg.steps) {
        Feature& selector = step.selector->AsFeature();
        const bool isInteger = selector.Node()->AsInteger() != nullptr;
        Put("<pIndex Offset=\"{}\">{}_{}</pIndex>", step.bytes, selector.Name(),
            isInteger ? "Cell" : "Reg");
    }
}

void Writer::AddCellOf(const genapi::IntegerNode& selector)
{
    Put(R"(<IntSwissKnife Name="{0}_Cell"><pVariable Name="VALUE">{0}_Reg</pVariable>
<Formula>(VALUE &lt; 0) ? 0 : ((VALUE &gt; {1}) ? {1} : VALUE)</Formula></IntSwissKnife>
)",
        selector.Name(), selector.Positions() - 1);
}

/** What a client may keep of the register, and which writes end that. */
void Writer::AddCaching(const Register& reg)
{
    const NodeSpec& spec = reg.feature->Spec();
    const bool isValue = reg.kind == Register::Kind::Value;
    const bool isMode = reg.kind == Register::Kind::Available || reg.kind == Register::Kind::Locked;
    const bool isDone = isValue && reg.feature->Node()->AsCommand() != nullptr;
    const genapi::Caching caching = isDone   ? genapi::Caching::NoCache
                                    : isMode ? genapi::Caching::WriteThrough
                                             : spec.caching;
    Put("<Cachable>{}</Cachable>", CachingOf(caching));
    if (spec.pollingMs != 0 && !isMode) {
        Put("<PollingTime>{}</PollingTime>", spec.pollingMs);
    }
    if (caching == genapi::Caching::NoCache) {
        return;
    }
    for (const Feature* other : features_.Shown()) {
        const std::vector<std::string>& changes = other->Spec().changes;
        if (Contains(changes, spec.name) || Contains(changes, genapi::kEveryFeature)) {
            Put("<pInvalidator>{}</pInvalidator>", other->Name());
        }
    }
    if (isMode) { // which may depend on whether frames flow
        Put("<pInvalidator>AcquisitionStart</pInvalidator>"
            "<pInvalidator>AcquisitionStop</pInvalidator>"
            "<pInvalidator>TLParamsLocked</pInvalidator>");
    }
}

} // namespace

std::string DescribeFeatures(sim::CameraModel& camera, const RegisterMap& map)
{
    const std::string elements = Writer(camera.Features(), map).Elements();
    const std::uint64_t hash = HashOf(elements);
    return fmt::format(
        R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="{}" VendorName="{}" ToolTip="A simulated camera" StandardNameSpace="GEV" SchemaMajorVersion="1" SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0" SubMinorVersion="0" ProductGuid="5C1B0E6E-0D0F-4C0B-8A50-6B7663616D01" VersionGuid="5C1B0E6E-0D0F-4C0B-{:04X}-{:012X}" xmlns="http://www.genicam.org/GenApi/Version_1_1">
{}</RegisterDescription>
)",
        Identifier(camera.Setup().modelName), Identifier(camera.Setup().manufacturer), hash >> 48,
        hash & 0xFFFF'FFFF'FFFF, elements);
}

} // namespace kvcam
