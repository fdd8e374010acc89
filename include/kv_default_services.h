/** Settings of the default host services, which kv_default_services.cpp defines. */
#pragma once

namespace KvDefault
{

/** Log lines of this level and below go to standard error: 2 means errors and warnings, 5 all. */
extern int logLevel;

} // namespace KvDefault
