// KvGi: control of the grabbing.

#include "../dynamic_lut.h"
#include "exported.h"

using kvgrab::Host;

extern "C" {

int KvGi__DoReconfig(int* flag)
{
    return Host().Reconfigure(flag);
}

int KvGi__CheckDynConfig(void)
{
    return Host().CheckDynamic();
}

// The pair comes always together; the second one tells.
void KvGi__SetNewCfgVendor(void) {}

void KvGi__SetNewCfgPlugin(void)
{
    Host().parts.log.Line(4, "the driver has done what the configuration asked for");
}

void KvGi__SetSignalAction(int action)
{
    Host().SignalAction(action);
}

void KvGi__SetTermSigProc(void)
{
    Host().GrabbingEnds();
}

void KvGi__ResetTermSigProc(void)
{
    Host().GrabbingBegins();
}

void KvGi__HaltUpdate(std::uint32_t, std::uint32_t, float)
{
    Host().FrameMissed();
}

void KvGi__HaltStop(std::uint32_t, std::uint32_t, float temperature)
{
    Host().FrameGrabbed(temperature);
}

void KvGi__SetCurrFpsUs(std::uint32_t periodUs)
{
    Host().progress.SetPeriodUs(periodUs);
}

void KvGi__CommTriggerAll(std::uint64_t timeUs, std::uint32_t latencyUs, std::uint32_t exposureUs)
{
    Host().parts.memory.Announce(timeUs, latencyUs, exposureUs);
}

void KvGi__CalcLutDynam(void*, std::uint32_t, std::uint32_t, std::uint32_t, std::uint8_t bits,
                        void* cdf)
{
    Host().parts.log.Line(2, "the dynamic look-up table is not there yet: the picture is not "
                             "looked at, and the table that follows changes nothing");
    kvgrab::FillEmptyStatistics(bits, static_cast<std::uint32_t*>(cdf));
}

void KvGi__GetLutDynam(std::uint8_t bits, void*, int outBits, void* lut)
{
    kvgrab::FillIdentityTable(bits, outBits, static_cast<std::uint16_t*>(lut));
}

} // extern "C"
