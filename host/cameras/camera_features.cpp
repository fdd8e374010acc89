#include "cameras/camera_features.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <array>
#include <exception>

namespace kvgrab
{

namespace
{

const char* AccessText(GenApi::EAccessMode mode)
{
    constexpr std::array kTexts = {"NI", "NA", "WO", "RO", "RW"};
    return kTexts.at(mode);
}

std::string EntriesOf(GenApi::IEnumeration& node)
{
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < node.GetEntryCount(); ++i) {
        GenApi::IEnumEntry* const entry = node.GetEntry(i);
        if (entry != nullptr && GenApi::IsImplemented(entry->GetAccessMode())) {
            entries.emplace_back(entry->GetSymbolic());
        }
    }
    return fmt::format("{}", fmt::join(entries, " "));
}

void ReadType(GenApi::INode& node, FeatureRow* row)
{
    row->type = node.AsInteger() != nullptr       ? "integer"
                : node.AsFloat() != nullptr       ? "float"
                : node.AsEnumeration() != nullptr ? "enumeration"
                : node.AsBoolean() != nullptr     ? "boolean"
                : node.AsString() != nullptr      ? "string"
                                                  : "command";
}

void ReadValue(GenApi::INode& node, FeatureRow* row)
{
    if (auto* const integer = node.AsInteger()) {
        row->value = std::to_string(integer->GetValue());
    } else if (auto* const number = node.AsFloat()) {
        row->value = fmt::format("{:.10g}", number->GetValue());
    } else if (auto* const enumeration = node.AsEnumeration()) {
        row->value = enumeration->ToString().c_str();
    } else if (auto* const boolean = node.AsBoolean()) {
        row->value = boolean->GetValue() ? "true" : "false";
    } else if (auto* const string = node.AsString()) {
        row->value = string->GetValue().c_str();
    }
}

void ReadRange(GenApi::INode& node, FeatureRow* row)
{
    if (auto* const integer = node.AsInteger()) {
        const std::int64_t inc = integer->GetInc();
        row->range = fmt::format("{} .. {}", integer->GetMin(), integer->GetMax());
        row->range += inc == 1 ? "" : fmt::format(" step {}", inc);
    } else if (auto* const number = node.AsFloat()) {
        row->range = fmt::format("{:.10g} .. {:.10g}", number->GetMin(), number->GetMax());
    } else if (auto* const enumeration = node.AsEnumeration()) {
        row->range = EntriesOf(*enumeration);
    }
}

/** If `read` fails, the text says why, in brackets. */
template <class Read> void Try(const Read& read, std::string* text)
{
    try {
        read();
    } catch (const std::exception& e) {
        *text = fmt::format("({})", e.what());
    }
}

} // namespace

std::vector<FeatureRow> ReadFeatures(const GenApi::CNodeMapRef& map)
{
    std::vector<FeatureRow> rows;
    for (std::size_t i = 0; i < map.GetNodeCount(); ++i) {
        GenApi::INode* const node = map.GetNodeAt(i);
        if (node == nullptr) {
            continue;
        }
        FeatureRow row;
        row.name = node->GetName();
        row.unit = node->GetUnit();
        ReadType(*node, &row);
        GenApi::EAccessMode mode = GenApi::NI;
        Try(
            [&] {
                mode = node->GetAccessMode();
                row.access = AccessText(mode);
            },
            &row.access);
        if (GenApi::IsReadable(mode)) {
            Try([&] { ReadValue(*node, &row); }, &row.value);
            Try([&] { ReadRange(*node, &row); }, &row.range);
        }
        rows.push_back(row);
    }
    return rows;
}

} // namespace kvgrab
