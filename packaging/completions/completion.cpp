#include "packaging/completions/completion.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <vector>

namespace completion
{

namespace
{

constexpr const char* kFiles = R"(
# Puts the files whose names begin with the current word into COMPREPLY.
_@_files() # [PATTERN]
{
    compopt -o filenames 2>/dev/null
    mapfile -t COMPREPLY < <(
        compgen -f -X "${1:+!$1}" -- "$current"
        [[ -z ${1-} ]] || compgen -d -- "$current"
    )
}
)";

constexpr const char* kHosts = R"(
# The names of the shared memories of running hosts.
_@_hosts()
{
    local file slash=/
    [[ -z $current || $current == /* ]] || slash=
    for file in "${XDG_RUNTIME_DIR:-/run/user/$UID}"/kvgrab/*.sock /run/kvgrab/*.sock \
        /tmp/kvgrab-"$UID"/*.sock /dev/shm/*.consumers; do
        file=${file##*/}
        [[ $file == \** ]] || printf '%s%s\n' "$slash" "${file%.*}"
    done
}
)";

constexpr const char* kBegin = R"(
_@()
{
    local current=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]} command='' i
    local -a arguments=()
    # Bash makes three words of --option=value.
    if [[ $current == '=' ]]; then
        current=''
    elif [[ $option == '=' ]]; then
        option=${COMP_WORDS[COMP_CWORD - 2]}
    fi
    COMPREPLY=()
)";

constexpr const char* kEnd = R"(
complete -F _@ @
)";

/** The text with the program's name in place of each @. */
std::string For(const std::string& program, std::string text)
{
    for (std::size_t at = text.find('@'); at != std::string::npos; at = text.find('@', at)) {
        text.replace(at, 1, program);
    }
    return text;
}

std::vector<std::string> NamesOf(const CLI::Option& option)
{
    std::vector<std::string> names;
    for (const std::string& name : option.get_snames()) {
        names.push_back(fmt::format("-{}", name));
    }
    for (const std::string& name : option.get_lnames()) {
        names.push_back(fmt::format("--{}", name));
    }
    return names;
}

bool TakesValue(const CLI::Option& option)
{
    return option.get_items_expected_max() > 0;
}

std::vector<const CLI::Option*> OptionsOf(const CLI::App& app)
{
    return app.get_options([](const CLI::Option* option) { return option->nonpositional(); });
}

/** Puts words into COMPREPLY. */
std::string Words(const std::string& words)
{
    return fmt::format("mapfile -t COMPREPLY < <(compgen -W \"{}\" -- \"$current\")", words);
}

/** The command that completes a value, by the way in which the help writes it: names with bars
 *  between them, FILE and the like. Empty: the value can't be completed. */
std::string CommandFor(const std::string& program, const std::string& value,
                       const std::string& description)
{
    const auto is = [&value](const char* what) {
        return value == what || value.find(fmt::format("{}|", what)) == 0;
    };
    if (is("FILE") || is("CONFIG")) {
        const bool toml = description.find("TOML") != std::string::npos || is("CONFIG");
        return fmt::format("_{}_files{}", program, toml ? " '*.toml'" : "");
    }
    if (is("FOLDER")) {
        return "compopt -o filenames 2>/dev/null; mapfile -t COMPREPLY < <(compgen -d -- "
               "\"$current\")";
    }
    if (is("/NAME")) {
        return Words(fmt::format("$(_{}_hosts)", program));
    }
    if (is("INTERFACE")) {
        return Words("$(ls /sys/class/net)");
    }
    if (value.find('|') == std::string::npos) {
        return "";
    }
    std::string words = value;
    std::replace(words.begin(), words.end(), '|', ' ');
    return Words(words);
}

class Script
{
public:
    Script(const CLI::App& app, const base::ProgramHelp& help)
        : app_(app), help_(help), program_(help.program)
    {
    }

    std::string Text() const
    {
        std::vector<const CLI::Option*> all = OptionsOf(app_);
        std::vector<std::string> commands;
        for (const CLI::App* command : app_.get_subcommands([](const CLI::App*) { return true; })) {
            commands.push_back(command->get_name());
            const auto own = OptionsOf(*command);
            all.insert(all.end(), own.begin(), own.end());
        }
        const std::string values = Values(all);
        std::string text =
            fmt::format("# shellcheck shell=bash\n"
                        "# Completion for {}. Made from its command line; changes belong there.\n",
                        program_);
        text += For(program_, kFiles);
        text += values.find("_hosts") == std::string::npos ? "" : For(program_, kHosts);
        text += For(program_, kBegin);
        text += WordsBefore(all, commands);
        text += values;
        text += fmt::format("    if [[ $current == -* ]]; then\n        case $command in\n{}"
                            "        esac\n        return\n    fi\n",
                            OptionsOfCommands());
        text += fmt::format("    case $command in\n{}    esac\n}}\n", Arguments(commands));
        return text + For(program_, kEnd);
    }

private:
    /** Reads the words before the current one. */
    static std::string WordsBefore(const std::vector<const CLI::Option*>& options,
                                   const std::vector<std::string>& commands)
    {
        std::vector<std::string> names;
        for (const CLI::Option* option : options) {
            const auto its = NamesOf(*option);
            names.insert(names.end(), TakesValue(*option) ? its.begin() : its.end(), its.end());
        }
        std::string text =
            fmt::format("    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
                        "        case ${{COMP_WORDS[i]}} in\n        {})\n"
                        "            [[ ${{COMP_WORDS[i + 1]}} != '=' ]] || ((++i))\n"
                        "            ((++i))\n            ;;\n        -*) ;;\n",
                        fmt::join(names, " | "));
        if (!commands.empty()) {
            text += fmt::format("        {})\n            if [[ -z $command ]]; then\n"
                                "                command=${{COMP_WORDS[i]}}\n"
                                "            else\n"
                                "                arguments+=(\"${{COMP_WORDS[i]}}\")\n"
                                "            fi\n            ;;\n",
                                fmt::join(commands, " | "));
        }
        return text + "        *) arguments+=(\"${COMP_WORDS[i]}\") ;;\n        esac\n    done\n";
    }

    /** Completes the values of options. */
    std::string Values(const std::vector<const CLI::Option*>& options) const
    {
        std::string text = "    case $option in\n";
        for (const CLI::Option* option : options) {
            if (TakesValue(*option)) {
                const std::string command = CommandFor(program_, option->get_option_text(),
                                                       option->get_description());
                text += fmt::format("    {})\n{}        return\n        ;;\n",
                                    fmt::join(NamesOf(*option), " | "),
                                    command.empty() ? "" : fmt::format("        {}\n", command));
            }
        }
        return text + "    esac\n";
    }

    std::string OptionsOfCommands() const
    {
        std::string text;
        for (const base::CommandHelp& command : help_.commands) {
            const bool isWhole = command.name.empty() || command.name == "run";
            std::vector<std::string> names = isWhole ? AllNames(app_) : OwnNames(command);
            names.insert(names.end(), command.programsOptions.begin(),
                         command.programsOptions.end());
            text += fmt::format("        {}) {} ;;\n", command.name.empty() ? "''" : command.name,
                                Words(fmt::format("{}", fmt::join(names, " "))));
        }
        return text;
    }

    std::vector<std::string> OwnNames(const base::CommandHelp& command) const
    {
        std::vector<std::string> names =
            AllNames(*app_.get_subcommand(std::string(command.name)));
        names.emplace_back("--help");
        return names;
    }

    static std::vector<std::string> AllNames(const CLI::App& app)
    {
        std::vector<std::string> names;
        for (const CLI::Option* option : OptionsOf(app)) {
            names.push_back(NamesOf(*option).back()); // the long one
        }
        return names;
    }

    /** Completes what is no option: a command, or its arguments. */
    std::string Arguments(const std::vector<std::string>& commands) const
    {
        std::string text;
        if (!commands.empty()) {
            text += fmt::format("    '') {} ;;\n",
                                Words(fmt::format("{}", fmt::join(commands, " "))));
        }
        for (const base::CommandHelp& command : help_.commands) {
            if (!command.sections.empty()) {
                text += fmt::format("    {})\n{}        ;;\n", command.name, Actions(command));
            } else if (command.usage.find("[CONFIG]") != std::string_view::npos) {
                text += fmt::format("    {}) {} ;;\n", command.name,
                                    CommandFor(program_, "CONFIG", ""));
            }
        }
        return text;
    }

    /** The first argument is one of the terms that the command's sections explain. */
    std::string Actions(const base::CommandHelp& command) const
    {
        std::vector<std::string> names;
        std::string ofFiles;
        for (const base::HelpEntry& entry : command.sections.front().entries) {
            const std::string term(entry.term);
            names.push_back(term.substr(0, term.find(' ')));
            if (term == fmt::format("{} FILE", names.back())) {
                ofFiles += fmt::format("        elif [[ ${{arguments[0]}} == {} ]]; then\n"
                                       "            {}\n",
                                       names.back(), CommandFor(program_, "FILE", "TOML"));
            }
        }
        return fmt::format("        if [[ ${{#arguments[@]}} -eq 0 ]]; then\n            {}\n{}"
                           "        fi\n",
                           Words(fmt::format("{}", fmt::join(names, " "))), ofFiles);
    }

    const CLI::App& app_;
    const base::ProgramHelp& help_;
    const std::string program_;
};

} // namespace

std::string ScriptOf(const CLI::App& commandLine, const base::ProgramHelp& help)
{
    return Script(commandLine, help).Text();
}

} // namespace completion
