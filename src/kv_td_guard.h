/** Runs steps that access the camera and turns what they throw into a log line and a status. */
#pragma once

#include "kv_td_log.h"

namespace KvTd
{

struct GuardResult {
    bool caught = false;
    int status = 0; ///< 0 also for a caught PropertyException, which counts as success
};

/** Logs the exception that is being handled, at level 1 for `site`, and gives its status.
 *  Call it in a handler only. Thread cancellation passes through. */
GuardResult ReportException(const LogSite& site, const char* origin);

/** Runs `steps`; the first exception ends them. `origin` names the operation in the log line. */
template <class Steps>
GuardResult GuardGenApi(const LogSite& site, const char* origin, Steps&& steps)
{
    try {
        steps();
    } catch (...) {
        return ReportException(site, origin);
    }
    return {};
}

} // namespace KvTd
