// KvGi: control of the grabbing.

#include "services/exported.h"
#include "session/dynamic_lut.h"

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

// The driver always calls the two as a pair; the second call is the one that counts.
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

void KvGi__CalcLutDynam(void* image, std::uint32_t width, std::uint32_t height,
                        std::uint32_t lineLength, std::uint8_t bits, void* cdf)
{
    kvgrab::LevelSource source = {.layout = kvgrab::LayoutOfCodec(Host().scenario.codec),
                                  .image = image,
                                  .width = width,
                                  .height = height,
                                  .lineLength = lineLength};
    source.height = kvgrab::LinesWithin(source, bits, Host().parts.memory.BytesFrom(image));
    kvgrab::CountLevels(source, bits, static_cast<std::uint32_t*>(cdf));
}

void KvGi__GetLutDynam(std::uint8_t bits, void* cdf, int outBits, void* lut)
{
    Host().dynamicLut.MakeTable(bits, static_cast<const std::uint32_t*>(cdf), outBits,
                                static_cast<std::uint16_t*>(lut));
}

} // extern "C"
