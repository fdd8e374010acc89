#include "features/node_text.h"

#include "features/value_text.h"

#include <cmath>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vector>

namespace kvgrab
{

namespace
{

std::string EntriesOf(GenApi::IEnumeration& node, const char* between)
{
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < node.GetEntryCount(); ++i) {
        GenApi::IEnumEntry* const entry = node.GetEntry(i);
        if (entry != nullptr && GenApi::IsImplemented(entry->GetAccessMode())) {
            entries.emplace_back(entry->GetSymbolic());
        }
    }
    return fmt::format("{}", fmt::join(entries, between));
}

template <class Node, class Value> bool Write(Node& node, const std::optional<Value>& value)
{
    if (value) {
        node.SetValue(*value);
    }
    return value.has_value();
}

} // namespace

const char* TypeText(GenApi::INode& node)
{
    return node.AsInteger() != nullptr       ? "integer"
           : node.AsFloat() != nullptr       ? "float"
           : node.AsEnumeration() != nullptr ? "enumeration"
           : node.AsString() != nullptr      ? "string"
           : node.AsCommand() != nullptr     ? "command"
                                             : "boolean";
}

bool HasValue(GenApi::INode& node)
{
    return node.AsInteger() != nullptr || node.AsFloat() != nullptr ||
           node.AsEnumeration() != nullptr || node.AsBoolean() != nullptr ||
           node.AsString() != nullptr;
}

std::string ValueText(GenApi::INode& node)
{
    if (auto* const integer = node.AsInteger()) {
        return std::to_string(integer->GetValue(false, true));
    }
    if (auto* const number = node.AsFloat()) {
        return NumberText(number->GetValue(false, true));
    }
    if (auto* const enumeration = node.AsEnumeration()) {
        return std::string(enumeration->ToString(false, true).view());
    }
    if (auto* const boolean = node.AsBoolean()) {
        return boolean->GetValue(false, true) ? "true" : "false";
    }
    if (auto* const text = node.AsString()) {
        return std::string(text->GetValue(false, true).view());
    }
    return "";
}

std::string RangeText(GenApi::INode& node)
{
    if (auto* const integer = node.AsInteger()) {
        const std::int64_t inc = integer->GetInc();
        const std::string step = inc == 1 ? "" : fmt::format(" step {}", inc);
        return fmt::format("{} .. {}{}", integer->GetMin(), integer->GetMax(), step);
    }
    if (auto* const number = node.AsFloat()) {
        return fmt::format("{:.10g} .. {:.10g}", number->GetMin(), number->GetMax());
    }
    if (auto* const enumeration = node.AsEnumeration()) {
        return EntriesOf(*enumeration, " ");
    }
    return "";
}

std::string ExpectedText(GenApi::INode& node)
{
    const char* const type = node.AsInteger() != nullptr   ? "an integer"
                             : node.AsFloat() != nullptr   ? "a number"
                             : node.AsBoolean() != nullptr ? "true or false"
                             : node.AsString() != nullptr  ? "a text"
                                                           : "one of its entries";
    try {
        if (auto* const text = node.AsString()) {
            return fmt::format("a text of at most {} bytes", text->GetMaxLength());
        }
        if (auto* const enumeration = node.AsEnumeration()) {
            return fmt::format("one of {}", EntriesOf(*enumeration, ", "));
        }
        const std::string unit = node.GetUnit();
        const std::string range = RangeText(node);
        return range.empty()  ? type
               : unit.empty() ? fmt::format("{}, {}", type, range)
                              : fmt::format("{}, {} {}", type, range, unit);
    } catch (const GenICam::GenericException&) {
        return type;
    }
}

bool WriteText(GenApi::INode& node, std::string_view text)
{
    if (auto* const integer = node.AsInteger()) {
        return Write(*integer, ParseInteger(text));
    }
    if (auto* const number = node.AsFloat()) {
        return Write(*number, ParseNumber(text));
    }
    if (auto* const boolean = node.AsBoolean()) {
        return Write(*boolean, ParseBoolean(text));
    }
    if (auto* const string = node.AsString()) {
        return Write(*string, std::optional(GenICam::gcstring(text)));
    }
    if (auto* const enumeration = node.AsEnumeration()) {
        enumeration->FromString(text);
        return true;
    }
    return false;
}

bool SameValue(GenApi::INode& node, std::string_view a, std::string_view b)
{
    if (node.AsInteger() != nullptr) {
        return ParseInteger(a) == ParseInteger(b);
    }
    if (node.AsFloat() != nullptr) {
        constexpr double kRounding = 1e-6;
        const auto left = ParseNumber(a);
        const auto right = ParseNumber(b);
        return left && right &&
               std::abs(*left - *right) <= kRounding * std::max(std::abs(*left), std::abs(*right));
    }
    if (node.AsBoolean() != nullptr) {
        return ParseBoolean(a) == ParseBoolean(b);
    }
    return a == b;
}

} // namespace kvgrab
