/** What a fault needs its camera's backend for. */
#pragma once

#include "gen_api.h"

#include <cstdint>

namespace injection
{

/** The effects of a backend without a clock of its own, whose cameras nobody can take away. A
 *  backend that has more overrides them. Threads: any. */
class GEVPLAT_API Effects
{
public:
    virtual ~Effects();
    /** On the clock that the cameras live by; here in real time. Ends early when the host
     *  interrupts the cameras. */
    virtual void SleepNs(std::int64_t ns);
    /** The camera leaves its network and returns after so long (0: never). Here nothing happens. */
    virtual void DetachCamera(const char* serial, std::int64_t forNs);
};

/** The effects of faults on camera calls from now on, also of those that concern no single camera.
 *  They live as long as the process. */
void RegisterEffects(Effects& effects);
Effects& RegisteredEffects();

} // namespace injection
