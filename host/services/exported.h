/** The host services' declarations with default visibility: the program exports exactly these. */
#pragma once

#pragma GCC visibility push(default)
#include "kv_host_services.h"
#pragma GCC visibility pop

#include "session/host_session.h"

namespace kvgrab
{

/** The object behind the services. Outside KvLibProc the driver calls no service but LogWrite, and
 *  KvLibProc only runs while the object exists. */
inline HostSession& Host()
{
    return *HostSession::Current();
}

inline const Config& Configured()
{
    return Host().parts.config.Current();
}

} // namespace kvgrab
