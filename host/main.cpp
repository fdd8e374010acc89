#include "config/options.h"
#include "report/failure.h"
#include "run.h"
#include "session/command_signals.h"

#include <csignal>
#include <exception>
#include <fmt/format.h>
#include <iostream>
#include <optional>

/** The whole program; launcher.cpp calls it. */
extern "C" __attribute__((visibility("default"))) int KvGrabMain(int argc, char** argv)
{
    using namespace kvgrab;
    std::signal(SIGXFSZ, SIG_IGN); // a file at its size limit is a write that fails
    try {
        Options options;
        int status = 0;
        if (!ParseOptions(argc, argv, &options, &status, std::cout, std::cerr)) {
            return status;
        }
        std::optional<CommandSignals> signals;
        if (options.command != Options::Command::Run &&
            options.command != Options::Command::Control) {
            signals.emplace();
        }
        switch (options.command) {
        case Options::Command::List:
            return static_cast<int>(RunList(options));
        case Options::Command::Features:
        case Options::Command::Get:
        case Options::Command::Set:
        case Options::Command::Execute:
            return static_cast<int>(RunFeatures(options));
        case Options::Command::Check:
            return static_cast<int>(RunCheck(options));
        case Options::Command::Control:
            return static_cast<int>(RunCtl(options));
        case Options::Command::Run:
            break;
        }
        return static_cast<int>(RunGrabbing(options));
    } catch (const std::exception& unforeseen) {
        return static_cast<int>(
            Fail(ExitStatus::Internal,
                 fmt::format("ended by an unexpected error: {}.", unforeseen.what())));
    }
}
