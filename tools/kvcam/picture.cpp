#include "tools/kvcam/picture.h"

#include <algorithm>

namespace kvcam
{

void Picture::Paint(const Registers& registers, std::uint32_t frameNumber,
                    std::span<std::uint8_t> image)
{
    sim::PictureJob job;
    job.sensorWidth = registers.Get(kSensorWidth);
    job.sensorHeight = registers.Get(kSensorHeight);
    // A client may write any number into a register, but the region must lie on the sensor.
    job.width = std::clamp(registers.Get(kWidth), 1U, job.sensorWidth);
    job.height = std::clamp(registers.Get(kHeight), 1U, job.sensorHeight);
    job.offsetX = std::min(registers.Get(kOffsetX), job.sensorWidth - job.width);
    job.offsetY = std::min(registers.Get(kOffsetY), job.sensorHeight - job.height);
    job.pixelFormat = registers.Get(kPixelFormat);
    job.reverseX = registers.Get(kReverseX) != 0;
    job.reverseY = registers.Get(kReverseY) != 0;
    job.frameNumber = frameNumber;
    job.exposureUs = registers.GetDouble(kExposure);
    job.gain = registers.GetDouble(kGain) * registers.GetDouble(kGain + kDoubleBytes);
    for (std::uint32_t i = 0; i < job.balance.size(); ++i) {
        job.balance[i] = registers.GetDouble(kBalance + i * kDoubleBytes);
    }
    scene_.Paint(job, image.data(), image.size());
}

} // namespace kvcam
