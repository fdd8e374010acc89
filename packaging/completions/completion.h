/** Completion for bash, made from the command line of a program and from what its help says. */
#pragma once

#include "base/program_help.h"

#include <CLI/CLI.hpp>

#include <string>

namespace completion
{

/** A script that bash sources. It needs nothing but bash 4.4, and it runs no program of ours. */
std::string ScriptOf(const CLI::App& commandLine, const base::ProgramHelp& help);

} // namespace completion
