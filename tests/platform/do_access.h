/** Accesses to nodes as text, for tables of them. */
#pragma once

#include "gen_api.h"
#include "tests/platform/raised.h"

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string>

namespace access_text
{

template <class Number> std::string Text(Number value)
{
    char text[64];
    return {text, std::to_chars(text, text + sizeof text, value).ptr};
}

inline constexpr const char* kModes[] = {"NI", "NA", "WO", "RO", "RW"};

inline std::string Read(GenApi::INode* node, const std::string& limit)
{
    const auto number = [&](auto* of) {
        return Text(limit == "Min" ? of->GetMin() : limit == "Max" ? of->GetMax() : of->GetValue());
    };
    if (auto* const integer = node->AsInteger()) {
        return limit == "Inc" ? Text(integer->GetInc()) : number(integer);
    }
    if (auto* const real = node->AsFloat()) {
        return number(real);
    }
    if (auto* const boolean = node->AsBoolean()) {
        return boolean->GetValue() ? "true" : "false";
    }
    if (auto* const string = node->AsString()) {
        return limit.empty() ? string->GetValue().c_str() : Text(string->GetMaxLength());
    }
    if (auto* const command = node->AsCommand()) {
        return command->IsDone() ? "done" : "busy";
    }
    if (limit.empty()) {
        return node->AsEnumeration()->ToString().c_str();
    }
    GenApi::IEnumEntry* const entry = node->AsEnumeration()->GetEntryByName(limit.c_str());
    return entry == nullptr ? "no such entry" : kModes[entry->GetAccessMode()];
}

inline void Write(GenApi::INode* node, const std::string& value, bool verify)
{
    if (auto* const integer = node->AsInteger()) {
        integer->SetValue(std::stoll(value), verify);
    } else if (auto* const real = node->AsFloat()) {
        real->SetValue(std::stod(value), verify);
    } else if (auto* const boolean = node->AsBoolean()) {
        boolean->SetValue(value == "true", verify);
    } else if (auto* const string = node->AsString()) {
        string->SetValue(value.c_str(), verify);
    } else if (auto* const command = node->AsCommand()) {
        command->Execute(verify);
    } else if (std::isdigit(static_cast<unsigned char>(value[0])) != 0) {
        node->AsEnumeration()->SetIntValue(std::stoll(value), verify);
    } else {
        node->AsEnumeration()->FromString(value.c_str(), verify);
    }
}

} // namespace access_text

/** "Gain" and "Gain.Max" are read, "Gain=4" is a verified write and "Gain~4" one that isn't,
 *  "Gain?" asks for the access mode, "PixelFormat.Mono8" for that of an entry, "Gain^" for the
 *  names of the selectors. Any write executes a command, a read asks whether it is done. What came
 *  of it: the value, "" for a write, or what was raised. */
template <class Map> std::string DoAccess(Map& map, const std::string& access)
{
    const std::size_t end = std::min(access.find_first_of(".=~?^"), access.size());
    GenApi::INode* const node = map.GetNode(access.substr(0, end).c_str());
    const std::string rest = access.substr(std::min(end + 1, access.size()));
    std::string result;
    const std::string raised = Raised([&] {
        if (node == nullptr) {
            result = "no such node";
        } else if (end == access.size() || access[end] == '.') {
            result = access_text::Read(node, rest);
        } else if (access[end] == '?') {
            result = access_text::kModes[node->GetAccessMode()];
        } else if (access[end] == '^') {
            for (std::size_t i = 0; node->GetSelector(i) != nullptr; ++i) {
                result += i == 0 ? "" : " ";
                result += node->GetSelector(i)->GetName();
            }
        } else {
            access_text::Write(node, rest, access[end] == '=');
        }
    });
    return raised.empty() ? result : raised;
}
