/** Manual pages, made from the command lines of the programs and from what their help says. */
#pragma once

#include "base/program_help.h"

#include <CLI/CLI.hpp>

#include <string>
#include <string_view>
#include <vector>

namespace manual
{

/** What a page says and the help doesn't. Paragraphs have no line breaks. */
struct CommandTexts {
    std::string_view command; ///< empty: the program itself
    std::vector<std::string_view> description;
    std::vector<std::string_view> exitStatuses = {}; ///< those of the program's that it can have; empty: all
};

struct ProgramTexts {
    std::string_view inOneLine; ///< for whatis
    std::vector<CommandTexts> commands;
    std::vector<base::HelpSection> environmentAndFiles;
    std::vector<std::string_view> seeAlso; ///< pages of other programs
};

struct Program {
    const CLI::App& commandLine;
    const base::ProgramHelp& help;
    const ProgramTexts& texts;
    std::string_view version;
};

struct Page {
    std::string file; ///< such as kvgrab-ctl.1
    std::string text;
};

/** One page for the program, and one for each of its commands. */
std::vector<Page> PagesOf(const Program& program);

/** The page kvgrab.toml(5), with the commented file that has every key. */
Page PageOfConfiguration(std::string_view example, std::string_view version);

/** What the pages of kvgrab and of kvcam say in addition. */
const ProgramTexts& TextsOfKvgrab();
const ProgramTexts& TextsOfKvcam();

} // namespace manual
