/** The journal of systemd as the reader of standard error. */
#pragma once

#include <string>
#include <string_view>

namespace kvgrab
{

/** Whether what is written to the descriptor goes to the journal: the variable JOURNAL_STREAM names
 *  its device and inode. The journal stamps the lines itself. */
bool IsJournal(int fd);

/** "<4>text" with a line feed. The journal reads the priority and leaves it out. Level 1 to 5:
 *  error, warning, info, debug, debug. */
std::string JournalLine(int level, std::string_view text);

} // namespace kvgrab
