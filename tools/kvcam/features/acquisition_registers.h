/** Registers that only a camera on the network has: those by which its acquisition is started and
 *  stopped. */
#pragma once

#include "sim/camera/camera_model.h"
#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/acquisition.h"

#include <cstdint>
#include <span>
#include <string_view>

namespace kvcam
{

constexpr std::uint32_t kAcquisitionStart = kFeatureBase;
constexpr std::uint32_t kAcquisitionStop = kFeatureBase + 4;
constexpr std::uint32_t kAcquisitionMode = kFeatureBase + 8;
constexpr std::uint32_t kAcquisitionBytes = 12;
constexpr std::uint32_t kContinuous = 1; ///< the only mode

/** Empty when there is none at this address. */
std::string_view AcquisitionFeatureAt(std::uint32_t address);

class AcquisitionRegisters : public Memory
{
public:
    AcquisitionRegisters(const sim::CameraModel& camera, Acquisition& acquisition)
        : camera_(camera), acquisition_(acquisition)
    {
    }
    Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) override;
    Status Write(std::uint32_t address, std::span<const std::uint8_t> bytes) override;

private:
    Status Check(std::uint32_t address, std::size_t bytes) const;

    const sim::CameraModel& camera_;
    Acquisition& acquisition_;
};

} // namespace kvcam
