#include "base/program_help.h"

#include <algorithm>
#include <fmt/format.h>

namespace base
{

namespace
{

constexpr std::size_t kIndent = 2;
constexpr std::size_t kCommandsTextIndent = 6;

std::string TextOf(const HelpSection& section)
{
    std::size_t widest = 0;
    for (const HelpEntry& entry : section.entries) {
        widest = std::max(widest, entry.term.size());
    }
    std::string text = fmt::format("{}:\n", section.title);
    for (const HelpEntry& entry : section.entries) {
        const std::size_t indent =
            section.termsAreCommands ? kCommandsTextIndent : kIndent + widest + 2;
        text += section.termsAreCommands
                    ? fmt::format("  {}\n{:{}}", entry.term, "", kCommandsTextIndent)
                    : fmt::format("  {:{}}  ", entry.term, widest);
        text += fmt::format("{}\n", Wrapped(entry.text, kHelpColumns, indent));
    }
    if (!section.remark.empty()) {
        text += fmt::format("  {}\n", Wrapped(section.remark, kHelpColumns, kIndent));
    }
    return text;
}

} // namespace

const CommandHelp* ProgramHelp::Command(std::string_view name) const
{
    const auto found = std::find_if(commands.begin(), commands.end(),
                                    [name](const CommandHelp& each) { return each.name == name; });
    return found == commands.end() ? nullptr : &*found;
}

std::string Wrapped(std::string_view paragraph, std::size_t columns, std::size_t indent)
{
    std::string text;
    std::size_t column = indent;
    while (!paragraph.empty()) {
        const std::string_view word = paragraph.substr(0, paragraph.find(' '));
        paragraph.remove_prefix(std::min(word.size() + 1, paragraph.size()));
        if (column > indent && column + 1 + word.size() > columns) {
            text += fmt::format("\n{:{}}", "", indent);
            column = indent;
        }
        text += fmt::format("{}{}", column > indent ? " " : "", word);
        column += word.size() + (column > indent ? 1 : 0);
    }
    return text;
}

std::string TextOf(const std::vector<HelpSection>& sections)
{
    std::string text;
    for (const HelpSection& section : sections) {
        text += fmt::format("{}{}", text.empty() ? "" : "\n", TextOf(section));
    }
    return text;
}

} // namespace base
