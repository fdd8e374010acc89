/** Where core gets the simulated backend from, without knowing it. */
#pragma once

#include "gev_backend.h"

namespace gevplat
{

/** Defined by that backend. The same object each time; it lives as long as the process. */
Backend& SimulatedBackend();

} // namespace gevplat
