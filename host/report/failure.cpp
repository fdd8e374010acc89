#include "report/failure.h"

#include "base/printable.h"
#include "report/journal.h"

#include <cstdio>
#include <fmt/format.h>
#include <string>
#include <unistd.h>

namespace kvgrab
{

ExitStatus Fail(ExitStatus status, std::string_view why)
{
    const std::string sentence =
        fmt::format("kvgrab: {}{}", base::Printable(why), why.ends_with('.') ? "" : ".");
    const std::string line =
        IsJournal(STDERR_FILENO) ? JournalLine(1, sentence) : fmt::format("{}\n", sentence);
    std::fputs(line.c_str(), stderr);
    return status;
}

} // namespace kvgrab
