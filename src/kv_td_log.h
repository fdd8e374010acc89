/** Log lines of the driver. Each source defines its `kLogSource` once; the macros add line and
 *  function. */
#pragma once

#include "kv_host_services.h"

namespace KvTd
{

/** Who a line is written for, when it is written elsewhere: from a lambda or a helper. */
struct LogSite {
    const char* source;
    const char* function;
};

} // namespace KvTd

/** The operation that contains the line. */
#define KV_HERE                                                                                    \
    ::KvTd::LogSite                                                                                \
    {                                                                                              \
        kLogSource, __func__                                                                       \
    }

#define KV_LOG(level, ...) LogWrite(kLogSource, __LINE__, __func__, (level), __VA_ARGS__)

/** A line in the name of `site`, which was taken with KV_HERE in the operation itself. */
#define KV_LOG_AT(site, level, ...)                                                                \
    LogWrite((site).source, __LINE__, (site).function, (level), __VA_ARGS__)
