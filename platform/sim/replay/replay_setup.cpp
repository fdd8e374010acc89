#include "sim/replay/replay_setup.h"

#include "base/pixel_format.h"

#include <algorithm>
#include <fmt/format.h>

namespace sim
{

CameraSetup ReplaySetup(CameraSetup setup, const Recording& recording)
{
    constexpr double kHighestRate = 1e5;
    const std::uint32_t format = recording.PixelFormat();
    const bool color = format == base::kYuv422Packed || format == base::kBayerRg8;
    setup.model = color ? Model::Color : Model::Mono;
    setup.modelName = setup.modelName.empty() ? "Replay" : setup.modelName;
    setup.sensorWidth = recording.Width();
    setup.sensorHeight = recording.Height();
    setup.replayFormat = format;
    setup.tickFrequency = recording.TickFrequency();
    // Reading out and transfer took their time when the frames were recorded.
    setup.linkMBytesPerSecond = 0;
    setup.lineReadoutUs = 0;
    setup.highestFrameRate = kHighestRate;
    const double rate = 1e9 / static_cast<double>(recording.PeriodNs());
    const RecordedFrame& first = recording.Frames().front();
    setup.values.insert(
        setup.values.begin(),
        {{"ExposureTime", fmt::format("{}", first.exposureUs)},
         {"Gain", fmt::format("{}", first.gain)},
         {"AcquisitionFrameRate", fmt::format("{}", std::clamp(rate, 0.1, kHighestRate))}});
    return setup;
}

} // namespace sim
