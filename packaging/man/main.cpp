/** Writes the manual pages and the completions of all programs into folders.
 *  Usage: make_manual FOLDER CONFIGURATION     (the commented one that has every key) */
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
#include <sstream>
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

std::string Read(const std::filesystem::path& path)
{
    std::ifstream file(path);
    std::ostringstream text;
    if (!(text << file.rdbuf())) {
        throw std::runtime_error(fmt::format("can't read '{}'", path.string()));
    }
    return text.str();
}

void WriteAllOf(const manual::Program& program, const std::filesystem::path& folder)
{
    for (const manual::Page& page : manual::PagesOf(program)) {
        Write(folder / "man/man1" / page.file, page.text);
    }
    Write(folder / "bash-completion/completions" / program.help.program,
          completion::ScriptOf(program.commandLine, program.help));
}

} // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        std::fputs("usage: make_manual FOLDER CONFIGURATION\n", stderr);
        return 2;
    }
    try {
        kvgrab::Options ofKvgrab;
        kvcam::Options ofKvcam;
        WriteAllOf({*kvgrab::CommandLine(&ofKvgrab), kvgrab::Help(), manual::TextsOfKvgrab(),
                    kvgrab::Version()},
                   argv[1]);
        WriteAllOf(
            {*kvcam::CommandLine(&ofKvcam), kvcam::Help(), manual::TextsOfKvcam(), kvcam::Version()},
            argv[1]);
        const manual::Page configuration =
            manual::PageOfConfiguration(Read(argv[2]), kvgrab::Version());
        Write(std::filesystem::path(argv[1]) / "man/man5" / configuration.file, configuration.text);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "make_manual: %s\n", error.what());
        return 1;
    }
    return 0;
}
