/** Writes the manual pages and the completions of all programs into two folders.
 *  Usage: make_manual MANUAL-FOLDER COMPLETION-FOLDER */
#include "config/help.h"
#include "config/options.h"
#include "packaging/completions/completion.h"
#include "packaging/man/manual.h"
#include "tools/kvcam/program/options.h"

#include <cstdio>
#include <exception>
#include <filesystem>
#include <fmt/format.h>
#include <fstream>
#include <stdexcept>
#include <string>

namespace
{

void Write(const std::filesystem::path& path, const std::string& text)
{
    std::ofstream file(path);
    file << text;
    if (!file.flush()) {
        throw std::runtime_error(fmt::format("can't write '{}'", path.string()));
    }
}

void WriteAllOf(const manual::Program& program, const std::filesystem::path& manuals,
                const std::filesystem::path& completions)
{
    for (const manual::Page& page : manual::PagesOf(program)) {
        Write(manuals / page.file, page.text);
    }
    Write(completions / program.help.program,
          completion::ScriptOf(program.commandLine, program.help));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: make_manual MANUAL-FOLDER COMPLETION-FOLDER\n", stderr);
        return 2;
    }
    try {
        kvgrab::Options ofKvgrab;
        kvcam::Options ofKvcam;
        WriteAllOf({*kvgrab::CommandLine(&ofKvgrab), kvgrab::Help(), manual::TextsOfKvgrab(),
                    kvgrab::Version()},
                   argv[1], argv[2]);
        WriteAllOf(
            {*kvcam::CommandLine(&ofKvcam), kvcam::Help(), manual::TextsOfKvcam(), kvcam::Version()},
            argv[1], argv[2]);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_manual: %s\n", error.what());
        return 1;
    }
    return 0;
}
