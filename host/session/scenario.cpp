#include "session/scenario.h"

#include "kv_td_types.h"

#include <cstring>

namespace kvgrab
{

int Scenario::Set(std::uint32_t id, const void* value)
{
    if (value == nullptr) {
        return -1;
    }
    const auto copyTo = [value](auto* target) {
        std::memcpy(target, value, sizeof(*target));
        return 0;
    };
    switch (id) {
    case KvTd::kParamWidth:
        return copyTo(&width);
    case KvTd::kParamHeight:
        return copyTo(&height);
    case KvTd::kParamCodec:
        codec = static_cast<const char*>(value);
        return 0;
    case KvTd::kParamGain:
        return copyTo(&frame.gainDb);
    case KvTd::kParamExposure:
        return copyTo(&frame.exposureUs);
    case KvTd::kParamTickNs:
        return copyTo(&tickNs);
    case KvTd::kParamCameraTicks:
        return copyTo(&frame.cameraTicks);
    case KvTd::kParamFrameCounter:
        return copyTo(&frame.frameCounter);
    case KvTd::kParamFrameTime:
        return copyTo(&frameTimeUs);
    case KvTd::kParamGpioInputEvent:
        return copyTo(&inputEvent);
    case KvTd::kParamGpioInputValue:
        return copyTo(&inputValue);
    default:
        return -1;
    }
}

} // namespace kvgrab
