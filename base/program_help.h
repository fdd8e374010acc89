/** What the help of a program says besides its options. The text that --help prints, the manual
 * page and the completion of the shell are all made of it and of the options themselves, so that
 * they never differ. */
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace base
{

/** What a user types or meets, and what it means. */
struct HelpEntry {
    std::string_view term;
    std::string_view text; ///< one paragraph, without line breaks
};

struct HelpSection {
    std::string_view title; ///< such as "Exit status"
    std::vector<HelpEntry> entries;
    std::string_view remark = {}; ///< a paragraph below the entries
    bool termsAreCommands = false;
};

constexpr std::size_t kHelpColumns = 96;

/** A command of the program; the program itself has the name "". */
struct CommandHelp {
    std::string_view name;
    std::string_view usage;                             ///< behind the program's name
    std::vector<std::string_view> programsOptions = {}; ///< those of the program that it uses
    std::vector<HelpSection> sections = {};             ///< of this command alone
};

struct ProgramHelp {
    std::string_view program;
    std::vector<CommandHelp> commands;
    std::vector<HelpSection> sections;

    /** The command of this name, or null. */
    const CommandHelp* Command(std::string_view name) const;
};

/** A paragraph in lines of at most so many columns. Each but the first begins with `indent` blanks,
 *  which count. */
std::string Wrapped(std::string_view paragraph, std::size_t columns, std::size_t indent = 0);

/** The sections as a part of a help text. */
std::string TextOf(const std::vector<HelpSection>& sections);

} // namespace base
