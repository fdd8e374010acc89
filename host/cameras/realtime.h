/** Whether this process may run the driver's second thread. */
#pragma once

#include <string>

namespace kvgrab
{

/** Empty when a thread of the priority that the driver asks for can be created; else why not, what
 *  it costs and how to allow it. Creates such a thread and joins it. */
std::string WhyNoControlThread();

} // namespace kvgrab
