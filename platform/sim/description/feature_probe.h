/** Knows which features, entries and values a camera has, from a camera of its own that is on no
 *  network. One thread at a time. */
#pragma once

#include "genapi/nodes.h"
#include "sim/camera/camera_model.h"
#include "sim/network_clock.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace sim
{

class FeatureProbe
{
public:
    FeatureProbe(Model model, std::uint32_t sensorWidth, std::uint32_t sensorHeight);

    bool HasFeature(std::string_view name);
    /** `entry` as "ChunkSelector.Gain". */
    bool HasEntry(std::string_view entry);
    /** Sets it as a camera does at power-up; false: no value of this feature. */
    bool Takes(std::string_view feature, std::string_view value);
    /** A pixel format by its name or its code as decimal text. */
    std::optional<std::uint32_t> Format(std::string_view nameOrCode);

private:
    genapi::EnumerationNode* Enumeration(std::string_view name);

    NetworkClock clock_;
    CameraModel camera_;
};

} // namespace sim
