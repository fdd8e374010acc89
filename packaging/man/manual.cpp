#include "packaging/man/manual.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <stdexcept>

namespace manual
{

namespace
{

/** Escapes what the formatter would take as its own. Hyphens that begin an option, and all hyphens
 *  of what users type, stay what they are when they are copied. */
std::string Escaped(std::string_view text, bool typed)
{
    std::string escaped;
    bool beginsWord = true;
    for (const char c : text) {
        if (c == '\\') {
            escaped += "\\e";
        } else if (c == '-' && (typed || beginsWord)) {
            escaped += "\\-";
            continue; // the next one begins the word, too
        } else if ((c == '.' || c == '\'') && escaped.empty()) {
            escaped += fmt::format("\\&{}", c);
        } else {
            escaped += c;
        }
        beginsWord = std::isalnum(static_cast<unsigned char>(c)) == 0;
    }
    return escaped;
}

std::string Prose(std::string_view text)
{
    return Escaped(text, false);
}

std::string Typed(std::string_view text)
{
    return Escaped(text, true);
}

/** A macro's argument. */
std::string Quoted(std::string_view text)
{
    std::string quoted;
    for (const char c : text) {
        quoted += c == '"' ? "\\(dq" : std::string(1, c);
    }
    return fmt::format("\"{}\"", quoted);
}

std::string Upper(std::string_view text)
{
    std::string upper(text);
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    return upper;
}

std::string Heading(std::string_view title)
{
    return fmt::format(".SH {}\n", Quoted(Upper(title)));
}

std::string Paragraphs(const std::vector<std::string_view>& paragraphs)
{
    std::string text;
    for (const std::string_view paragraph : paragraphs) {
        text += fmt::format("{}{}\n", text.empty() ? "" : ".PP\n", Prose(paragraph));
    }
    return text;
}

std::string Entry(std::string_view term, std::string_view text)
{
    return fmt::format(".TP\n.B {}\n{}\n", Quoted(Typed(term)), Prose(text));
}

std::string SectionText(const base::HelpSection& section)
{
    std::string text = Heading(section.title);
    for (const base::HelpEntry& entry : section.entries) {
        text += Entry(entry.term, entry.text);
    }
    if (!section.remark.empty()) {
        text += fmt::format(".PP\n{}\n", Prose(section.remark));
    }
    return text;
}

/** "-c, --config FILE", names in bold and the value in italics. */
std::string OptionText(const CLI::Option& option)
{
    std::string names;
    for (const std::string& name : option.get_snames()) {
        names += fmt::format("{}\\fB\\-{}\\fR", names.empty() ? "" : ", ", name);
    }
    for (const std::string& name : option.get_lnames()) {
        names += fmt::format("{}\\fB\\-\\-{}\\fR", names.empty() ? "" : ", ", Typed(name));
    }
    const std::string value = option.get_option_text();
    if (value.find_first_not_of(' ') != std::string::npos) {
        names += fmt::format(" \\fI{}\\fR", Typed(value));
    }
    return fmt::format(".TP\n{}\n{}\n", names, Prose(option.get_description()));
}

std::string OptionsText(const std::vector<const CLI::Option*>& options)
{
    std::string text;
    for (const CLI::Option* option : options) {
        text += OptionText(*option);
    }
    return text;
}

std::vector<const CLI::Option*> Named(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

/** All options of the program, group by group as in its help. */
std::string GroupsText(const CLI::App& app)
{
    std::string text;
    for (const std::string& group : app.get_groups()) {
        const auto options = app.get_options([&group](const CLI::Option* option) {
            return option->nonpositional() && option->get_group() == group;
        });
        if (!options.empty()) {
            text += group == "Options" ? "" : fmt::format(".SS {}\n", Quoted(group));
            text += OptionsText(options);
        }
    }
    return text;
}

class Writer
{
public:
    explicit Writer(const Program& program) : program_(program) {}

    Page PageOf(const base::CommandHelp& command) const
    {
        const std::string name = NameOf(command);
        std::string text = fmt::format(
            ".\\\" Made from the help of {}; changes belong there.\n"
            ".TH {} 1 \"\" {} \"User Commands\"\n",
            program_.help.program, Quoted(Upper(name)),
            Quoted(fmt::format("{} {}", program_.help.program, program_.version)));
        const CLI::App* const app = AppOf(command);
        text += fmt::format("{}{} \\- {}\n", Heading("Name"), Typed(name),
                            Prose(IsWhole(command) ? std::string(program_.texts.inOneLine)
                                                   : app->get_description()));
        text += Heading("Synopsis");
        text += Synopsis(command);
        text += Heading("Description");
        text += Paragraphs(TextsOf(command).description);
        text += IsWhole(command) ? CommandsText() : ArgumentsText(*app);
        text += SectionsText(command.sections);
        text += Heading("Options");
        text += OptionsText(command, *app);
        text += SectionsOfProgram(command);
        text += SeeAlso(command);
        return {fmt::format("{}.1", name), text};
    }

private:
    static bool IsWhole(const base::CommandHelp& command) { return command.name.empty(); }

    std::string NameOf(const base::CommandHelp& command) const
    {
        return IsWhole(command) ? std::string(program_.help.program)
                                : fmt::format("{}-{}", program_.help.program, command.name);
    }

    const CLI::App* AppOf(const base::CommandHelp& command) const
    {
        return IsWhole(command) ? &program_.commandLine
                                : program_.commandLine.get_subcommand(std::string(command.name));
    }

    const CommandTexts& TextsOf(const base::CommandHelp& command) const
    {
        const auto& all = program_.texts.commands;
        const auto found = std::find_if(all.begin(), all.end(), [&command](const auto& each) {
            return each.command == command.name;
        });
        if (found == all.end()) {
            throw std::invalid_argument(
                fmt::format("the page of {} has no description", NameOf(command)));
        }
        return *found;
    }

    std::string Synopsis(const base::CommandHelp& command) const
    {
        std::string text;
        for (const base::CommandHelp& each : program_.help.commands) {
            const bool shown = IsWhole(command) ? each.name != "run" : each.name == command.name;
            if (shown) {
                text += fmt::format("{}.B {}\n{}\n", text.empty() ? "" : ".br\n",
                                    program_.help.program, Typed(each.usage));
            }
        }
        return text;
    }

    std::string CommandsText() const
    {
        std::string text;
        for (const base::CommandHelp& command : program_.help.commands) {
            if (!IsWhole(command)) {
                text += Entry(command.name, AppOf(command)->get_description());
            }
        }
        return text.empty() ? "" : fmt::format("{}{}", Heading("Commands"), text);
    }

    static std::string ArgumentsText(const CLI::App& app)
    {
        std::string text;
        for (const CLI::Option* option : app.get_options(
                 [](const CLI::Option* each) { return each->get_positional(); })) {
            text += Entry(option->get_name(true), option->get_description());
        }
        return text.empty() ? "" : fmt::format("{}{}", Heading("Arguments"), text);
    }

    std::string OptionsText(const base::CommandHelp& command, const CLI::App& app) const
    {
        const CLI::App& whole = program_.commandLine;
        if (IsWhole(command) || command.name == "run") {
            return GroupsText(whole);
        }
        std::string text = manual::OptionsText(Named(app));
        for (const std::string_view shared : command.programsOptions) {
            text += OptionText(*whole.get_option(std::string(shared)));
        }
        return text;
    }

    static std::string SectionsText(const std::vector<base::HelpSection>& sections)
    {
        std::string text;
        for (const base::HelpSection& section : sections) {
            text += SectionText(section);
        }
        return text;
    }

    /** Of the program's sections, what concerns this command. */
    std::string SectionsOfProgram(const base::CommandHelp& command) const
    {
        std::string text;
        std::string examples;
        for (base::HelpSection section : program_.help.sections) {
            if (section.termsAreCommands) {
                if (!IsWhole(command)) {
                    const std::string its =
                        fmt::format("{} {}", program_.help.program,
                                    command.name == "run" ? "-" : command.name);
                    KeepEntries(&section, [&its](const base::HelpEntry& entry) {
                        return entry.term.substr(0, its.size()) == its;
                    });
                }
                examples += section.entries.empty() ? "" : SectionText(section);
                continue;
            }
            if (!IsWhole(command) && command.name != "run") {
                const auto& statuses = TextsOf(command).exitStatuses;
                KeepEntries(&section, [&statuses](const base::HelpEntry& entry) {
                    return std::find(statuses.begin(), statuses.end(), entry.term) !=
                           statuses.end();
                });
                section.remark = {};
            }
            text += section.entries.empty() ? "" : SectionText(section);
        }
        return fmt::format("{}{}{}", text, SectionsText(program_.texts.environmentAndFiles),
                           examples);
    }

    template <class Keep> static void KeepEntries(base::HelpSection* section, const Keep& keep)
    {
        auto& entries = section->entries;
        entries.erase(std::remove_if(entries.begin(), entries.end(),
                                     [&keep](const auto& entry) { return !keep(entry); }),
                      entries.end());
    }

    std::string SeeAlso(const base::CommandHelp& command) const
    {
        std::vector<std::string> pages;
        for (const base::CommandHelp& each : program_.help.commands) {
            if (each.name != command.name) {
                pages.push_back(NameOf(each));
            }
        }
        pages.insert(pages.end(), program_.texts.seeAlso.begin(), program_.texts.seeAlso.end());
        std::string text = Heading("See also");
        for (const std::string& page : pages) {
            text += fmt::format(".BR {} (1){}\n", Typed(page), &page == &pages.back() ? "" : ",");
        }
        return text;
    }

    const Program& program_;
};

} // namespace

std::vector<Page> PagesOf(const Program& program)
{
    const Writer writer(program);
    std::vector<Page> pages;
    for (const base::CommandHelp& command : program.help.commands) {
        pages.push_back(writer.PageOf(command));
    }
    return pages;
}

Page PageOfConfiguration(std::string_view example, std::string_view version)
{
    std::string text = fmt::format(
        ".\\\" Made from examples/kvgrab.toml; changes belong there.\n"
        ".TH \"KVGRAB.TOML\" 5 \"\" {} \"File Formats\"\n",
        Quoted(fmt::format("kvgrab {}", version)));
    text += fmt::format("{}kvgrab.toml \\- configuration of kvgrab\n", Heading("Name"));
    text += fmt::format("{}kvgrab \\-\\-config \\fIFILE\\fR\n.br\n/etc/kvgrab/\\fINAME\\fR.toml\n",
                        Heading("Synopsis"));
    text += Heading("Description");
    text += Paragraphs(
        {"The configuration is a TOML file. What is not configured stays as it is in the camera. "
         "Options of the command line override the file. If a key is unknown, or a value makes no "
         "sense, the file is refused before any camera is touched, with its place and what was "
         "expected; kvgrab check compares a file with the camera.",
         "The service kvgrab@NAME reads /etc/kvgrab/NAME.toml."});
    text += fmt::format("{}{}.PP\n.EX\n", Heading("Keys"),
                        Paragraphs({"This file has every key."}));
    while (!example.empty()) {
        const std::string_view line = example.substr(0, example.find('\n'));
        example.remove_prefix(std::min(line.size() + 1, example.size()));
        text += fmt::format("{}\n", Typed(line));
    }
    text += fmt::format(".EE\n{}.BR kvgrab (1),\n.BR kvgrab\\-check (1)\n", Heading("See also"));
    return {"kvgrab.toml.5", text};
}

} // namespace manual
