// KvGiMainCtx: the configuration as the driver asks for it.

#include "services/exported.h"

using kvgrab::Configured;
using kvgrab::Host;

namespace
{

/** An IO-box set, or the record of an unused one when there is none of that number. */
const kvgrab::IoSetConfig& IoSet(int set)
{
    static const kvgrab::IoSetConfig unused;
    const auto& sets = Configured().iobox;
    const auto index = static_cast<std::size_t>(set);
    return set >= 0 && index < sets.size() ? sets[index] : unused;
}

} // namespace

extern "C" {

const char* KvGiMainCtx__GetModelStr(void)
{
    // Null matches no camera: the positions alone choose.
    return Configured().camera.ByNameToo() ? Configured().camera.model.c_str() : nullptr;
}

const char* KvGiMainCtx__GetIdStr(void)
{
    return Configured().camera.serial.c_str();
}

std::uint32_t KvGiMainCtx__GetActiveCamMask(void)
{
    return Configured().camera.positionMask;
}

// The driver asks this first when it has opened the camera, once in a session.
int KvGiMainCtx__GetDatachunk(void)
{
    Host().cameraOpened();
    return Configured().stream.packetSize;
}

std::uint32_t KvGiMainCtx__GetFormat(void)
{
    return Host().parts.config.Format();
}

void KvGiMainCtx__SetFormat(int format)
{
    Host().parts.config.ForceFormat(static_cast<std::uint32_t>(format));
}

std::uint8_t KvGiMainCtx__GetCformat(void)
{
    return 0; // the configuration refuses a conversion
}

int KvGiMainCtx__GetOffsetX(void)
{
    return Configured().region.offsetX;
}

int KvGiMainCtx__GetOffsetY(void)
{
    return Configured().region.offsetY;
}

int KvGiMainCtx__GetWidth(void)
{
    return Configured().region.width;
}

int KvGiMainCtx__GetHeight(void)
{
    return Configured().region.height;
}

float KvGiMainCtx__GetFps(void)
{
    return Host().Rate();
}

float KvGiMainCtx__GetExptMan(void)
{
    return Configured().exposure.timeUs;
}

float KvGiMainCtx__GetGainMan(void)
{
    return Configured().gain.db;
}

int KvGiMainCtx__GetWbred(void)
{
    return Configured().whiteBalance.red;
}

int KvGiMainCtx__GetWbblu(void)
{
    return Configured().whiteBalance.blue;
}

int KvGiMainCtx__GetRotate(void)
{
    return Configured().image.rotate;
}

float KvGiMainCtx__GetGamma(void)
{
    return Configured().gamma.value;
}

std::uint16_t KvGiMainCtx__GetLutArrCount(void)
{
    return static_cast<std::uint16_t>(Configured().lut.values.size());
}

std::uint16_t KvGiMainCtx__GetLutBitSize(void)
{
    return Configured().lut.bits;
}

const std::uint16_t* KvGiMainCtx__GetLutDataU16(void)
{
    return Host().parts.config.LutData();
}

float KvGiMainCtx__GetAtbright(void)
{
    return Configured().automatic.brightness;
}

float KvGiMainCtx__GetGainlimsLow(void)
{
    return Configured().gain.autoMinDb;
}

float KvGiMainCtx__GetGainlimsHigh(void)
{
    return Configured().gain.autoMaxDb;
}

float KvGiMainCtx__GetEtlimsLow(void)
{
    return Configured().exposure.autoMinUs;
}

float KvGiMainCtx__GetEtlimsHigh(void)
{
    return Configured().exposure.autoMaxUs;
}

std::uint32_t KvGiMainCtx__GetSweepProf(void)
{
    return Configured().automatic.profile;
}

std::uint32_t KvGiMainCtx__GetSweepGainMod(void)
{
    return Configured().gain.mode;
}

std::uint32_t KvGiMainCtx__GetSweepEtimeMod(void)
{
    return Configured().exposure.mode;
}

std::uint32_t KvGiMainCtx__GetSweepLutMod(void)
{
    return Configured().lut.mode;
}

int KvGiMainCtx__GetTsadjns(void)
{
    return Configured().timing.driftNsPerS;
}

std::uint32_t KvGiMainCtx__GetFnum(void)
{
    return Host().FramesToGrab();
}

std::uint32_t KvGiMainCtx__GetBnum(void)
{
    return Host().parts.config.Buffers();
}

void KvGiMainCtx__SetBnum(std::uint32_t buffers)
{
    Host().parts.config.ForceBuffers(buffers);
}

int KvGiMainCtx__GetIoboxNum(void)
{
    return static_cast<int>(Configured().iobox.size());
}

int KvGiMainCtx__GetIoboxPin(int set)
{
    return IoSet(set).pin;
}

int KvGiMainCtx__GetIoboxMod(int set)
{
    return IoSet(set).mode;
}

int KvGiMainCtx__GetIoboxSrc(int set)
{
    return IoSet(set).source;
}

int KvGiMainCtx__GetIoboxInv(int set)
{
    return IoSet(set).invert;
}

std::uint32_t KvGiMainCtx__GetIoboxPar(int set, int index)
{
    const auto& parameters = IoSet(set).parameters;
    const auto position = static_cast<std::size_t>(index);
    return index >= 0 && position < parameters.size() ? parameters[position]
                                                      : KvTd::kIoboxParamUnset;
}

} // extern "C"
