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
constexpr std::uint32_t kAcquisitionFrameCount = kFeatureBase + 12;
constexpr std::uint32_t kAcquisitionBytes = 16;

/** Entries of AcquisitionMode. */
enum AcquisitionModeEntry : std::uint32_t { kContinuous = 1, kSingleFrame = 2, kMultiFrame = 3 };
constexpr std::uint32_t kMostFrames = 65535; ///< of AcquisitionFrameCount

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
    std::uint32_t* Setting(std::uint32_t address);
    Status Start();
    Status Check(std::uint32_t address, std::size_t bytes) const;

    const sim::CameraModel& camera_;
    Acquisition& acquisition_;
    std::uint32_t mode_ = kContinuous;
    std::uint32_t frameCount_ = 1;
};

} // namespace kvcam
