#include "benchmarks/round/bare_loop.h"

#include "gen_api.h"
#include "gev_api.h"
#include "kv_host_services.h"
#include "kv_td_time.h"
#include "kv_td_types.h"

#include <cmath>

namespace bench
{

namespace
{

constexpr std::uint32_t kWaitMs = 1000;
constexpr std::uint32_t kStateDivider = 18; // as at 30 frames per second
constexpr int kGrabbing = 4;
constexpr std::uint32_t kPeriodUs = 33'333;

struct Values {
    float gain = 0;
    float exposure = 0;
    std::uint64_t ticks = 0;
    std::uint64_t stampUs = 0;
};

float Temperature(const GenApi::CNodeMapRef& map)
{
    const GenApi::CEnumerationPtr selector = map.GetNode("DeviceTemperatureSelector");
    if (GenApi::IsImplemented(selector->GetEntryByName("Internal")->GetAccessMode()) &&
        !(selector->ToString() == "Internal")) {
        selector->FromString("Internal");
    }
    const GenApi::CFloatPtr temperature = map.GetNode("DeviceTemperature");
    return static_cast<float>(temperature->GetValue());
}

void PublishFrameValues(const GenApi::CNodeMapRef& map, Values* values)
{
    const GenApi::CEnumerationPtr selector = map.GetNode("GainSelector");
    selector->FromString("SensorAll");
    const GenApi::CFloatPtr gain = map.GetNode("Gain");
    values->gain = 20.0F * std::log10(static_cast<float>(gain->GetValue()));
    KvSc__SetParamVal(KvTd::kParamGain, &values->gain);
    const GenApi::CFloatPtr exposure = map.GetNode("ExposureTime");
    values->exposure = static_cast<float>(exposure->GetValue());
    KvSc__SetParamVal(KvTd::kParamExposure, &values->exposure);
    KvSc__SetParamVal(KvTd::kParamCameraTicks, &values->ticks);
    KvSc__SetParamVal(KvTd::kParamFrameCounter, &KVSCUVAL::_s_valU32);
}

} // namespace

void RunBareLoop(void* handle, std::uint64_t frames)
{
    const GenApi::CNodeMapRef& map = *GevGetFeatureNodeMap(handle);
    Values values;
    for (std::uint64_t i = 0; i < frames; ++i) {
        _tag_GEVBUF_ENTRY* frame = nullptr;
        const timeval before = KvTd::TimeOfDay();
        if (GevWaitForNextFrame(handle, &frame, kWaitMs) != kGevOk) {
            return;
        }
        const timeval arrived = KvTd::TimeOfDay();
        KvUtl__TimeValDiff(&arrived, &before);
        KvTd::TimeSeconds();
        KvUtl__CheckSignal();
        KvGi__HaltStop(frame->width, frame->height, Temperature(map));
        if (i % kStateDivider == 0) {
            KvUtl__UpdateGrabState(kGrabbing);
        }
        values.ticks = frame->timestamp;
        PublishFrameValues(map, &values);
        const timeval writing = KvTd::TimeOfDay();
        KvGiMemInst__Trigger(0, 0, values.stampUs, frame->address, 0);
        const timeval written = KvTd::TimeOfDay();
        KvUtl__TimeValDiff(&written, &writing);
        KvSc__SetParamVal(KvTd::kParamFrameTime, &values.stampUs);
        KvSc__ProcExport(values.stampUs);
        KvTd::TimeOfDay();
        values.stampUs = static_cast<std::uint64_t>(arrived.tv_sec) * 1'000'000U +
                         static_cast<std::uint64_t>(arrived.tv_usec) + kPeriodUs;
        KvGi__CommTriggerAll(values.stampUs, 5, static_cast<std::uint32_t>(values.exposure));
        KvGi__CheckDynConfig();
        KvTd::TimeOfDay();
        GevReleaseFrame(handle, frame);
    }
}

} // namespace bench
