#include "config/options.h"
#include "report/failure.h"
#include "run.h"

#include <exception>
#include <fmt/format.h>
#include <iostream>

int main(int argc, char** argv)
{
    using namespace kvgrab;
    try {
        Options options;
        int status = 0;
        if (!ParseOptions(argc, argv, &options, &status, std::cout, std::cerr)) {
            return status;
        }
        switch (options.command) {
        case Options::Command::List:
            return static_cast<int>(RunList(options));
        case Options::Command::Features:
            return static_cast<int>(RunFeatures(options));
        case Options::Command::Check:
            return static_cast<int>(RunCheck(options));
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
