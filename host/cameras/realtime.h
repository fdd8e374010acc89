/** Whether this process may run the driver's second thread. */
#pragma once

#include <string>

namespace kvgrab
{

/** Creates a thread of the priority that the driver asks for, and joins it. Empty if that works;
 *  otherwise why not, what it costs and how to allow it. */
std::string CheckRealTimePriority();

} // namespace kvgrab
