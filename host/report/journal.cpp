#include "report/journal.h"

#include "base/printable.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <fmt/format.h>
#include <sys/stat.h>

namespace kvgrab
{

bool IsJournal(int fd)
{
    const char* const stream = std::getenv("JOURNAL_STREAM");
    struct stat file = {};
    return stream != nullptr && fstat(fd, &file) == 0 &&
           fmt::format("{}:{}", file.st_dev, file.st_ino) == stream;
}

std::string JournalLine(int level, std::string_view text)
{
    constexpr std::array kPriorities = {3, 4, 6, 7, 7};
    const int priority = kPriorities[static_cast<std::size_t>(std::clamp(level, 1, 5) - 1)];
    return fmt::format("<{}>{}\n", priority, base::Printable(text, "\t"));
}

} // namespace kvgrab
