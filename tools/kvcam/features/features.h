/** The features of a simulated camera as a client on the network meets them: a description in the
 *  form of GenICam, generated from the camera's own table, and the registers that it names.
 *
 *  Reads and writes of a value go through the camera's nodes, so that its rules, its faults and its
 *  counts are those of an access in process. What the camera says about a feature besides its value
 *  (its maximum, whether it is available or locked) reads without being counted. */
#pragma once

#include "sim/camera/camera_model.h"
#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/acquisition.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace kvcam
{

class Features
{
public:
    /** Both outlive the features. */
    Features(sim::CameraModel& camera, Acquisition& acquisition);
    ~Features();
    Features(const Features&) = delete;
    Features& operator=(const Features&) = delete;

    /** The text, from kDescriptionBase on. */
    Memory& Description();
    /** The registers, from kFeatureBase on. */
    Memory& Values();
    std::size_t DescriptionBytes() const;
    const std::string& DescriptionText() const;
    /** A text in place of the generated one, such as one with a fault; before a client connects. */
    void ReplaceDescription(std::string text);
    /** The feature that a register belongs to; empty when there is none at this address. */
    std::string_view FeatureAt(std::uint32_t address) const;

private:
    class Impl;
    std::unique_ptr<Impl> impl_;
};

} // namespace kvcam
