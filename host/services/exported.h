/** The host services' declarations with default visibility: the program exports exactly these. */
#pragma once

#pragma GCC visibility push(default)
#include "kv_host_services.h"
#pragma GCC visibility pop

#include "session/host_session.h"

namespace kvgrab
{

/** The object behind the services. The driver calls none of them but LogWrite outside KvLibProc,
 *  and that is only called while it stands. */
inline HostSession& Host()
{
    return *HostSession::Current();
}

inline const Config& Configured()
{
    return Host().parts.config.Current();
}

} // namespace kvgrab
