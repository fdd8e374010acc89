#include "cameras/cameras.h"

#include "cameras/waveform.h"
#include "gev_api.h"
#include "gev_backend_choice.h"
#include "gev_host.h"
#include "sim_control.h"

#include <fmt/format.h>

#include <array>

namespace kvgrab
{

bool SetUpCameras(const CamerasConfig& cameras, const NetworkConfig& network,
                  const std::string& path, std::string* error)
{
    if (!gevplat::ChooseBackends({.simulated = cameras.simulated,
                                  .network = cameras.network,
                                  .interface = cameras.interface,
                                  .patienceMs = network.patienceMs},
                                 error)) {
        return false;
    }
    if (!cameras.simulated) {
        return true;
    }
    if (path.empty()) {
        sim::AddDefaultCameras();
        return true;
    }
    return sim::LoadNetwork(path, error);
}

PlatformLog::PlatformLog(Log& log)
{
    gevplat::SetLogSink([&log](int level, const std::string& text) {
        log.Line(level, fmt::format("platform: {}", text));
    });
}

PlatformLog::~PlatformLog()
{
    gevplat::SetLogSink(nullptr);
}

bool ListCameras(std::vector<CameraRow>* cameras, std::string* error)
{
    // More than the driver looks at, so that a user sees which ones it passes over.
    constexpr int kMost = 64;
    std::array<GEV_DEVICE_INFO, kMost> found{};
    int count = 0;
    const int status = GevGetCameraList(found.data(), kMost, &count);
    for (int i = 0; i < count && i < kMost; ++i) {
        const GEV_DEVICE_INFO& camera = found[static_cast<std::size_t>(i)];
        cameras->push_back({camera.manufacturer, camera.model, camera.serial, camera.version,
                            camera.backend, AddressText(camera.ipAddress)});
    }
    GevApiUninitialize();
    _CloseSocketAPI();
    if (status != kGevOk) {
        *error = fmt::format("the cameras can't be listed (status {})", status);
        return false;
    }
    return true;
}

std::string DrawOutputLines()
{
    std::vector<CameraRow> cameras;
    std::string error;
    if (!ListCameras(&cameras, &error)) {
        return fmt::format("{}\n", error);
    }
    constexpr double kNsPerUs = 1000;
    std::string drawings;
    for (const CameraRow& camera : cameras) {
        for (int line = 1; line <= 4; ++line) {
            sim::LineWaveform waveform;
            if (!sim::GetLineWaveform(camera.serial, line, &waveform) || waveform.pulses.empty()) {
                continue;
            }
            const sim::StrobePulse& last = waveform.pulses.back();
            const auto sinceStartUs = [&last](std::int64_t ns) {
                return static_cast<double>(ns - last.exposureStartNs) / kNsPerUs;
            };
            drawings += DrawPulse({.camera = camera.serial,
                                   .line = line,
                                   .inverted = waveform.inverted,
                                   .frame = last.frame,
                                   .exposureEndUs = sinceStartUs(last.exposureEndNs),
                                   .startUs = sinceStartUs(last.startNs),
                                   .endUs = sinceStartUs(last.endNs)});
        }
    }
    return drawings.empty() ? "no output line of a simulated camera had a pulse\n" : drawings;
}

std::string OpenCameraName()
{
    void* handle = nullptr;
    int count = 0;
    GevGetOpenCameras(&handle, 1, &count);
    const GEV_DEVICE_INFO* const info = count == 1 ? GevGetCameraInfo(handle) : nullptr;
    return info == nullptr
               ? "a camera"
               : fmt::format("{}, serial {}, version {}", info->model, info->serial, info->version);
}

TransferCounts NewestTransfer()
{
    GEV_TRANSFER_STATISTICS counts = {};
    if (GevGetTransferStatistics(&counts) != kGevOk) {
        return {};
    }
    TransferCounts transfer;
    transfer.number = counts.transfer;
    transfer.lost = counts.framesLost;
    transfer.incomplete = counts.framesIncomplete;
    transfer.underruns = counts.underruns;
    transfer.packetsReceived = counts.packetsReceived;
    transfer.packetsResent = counts.packetsResent;
    transfer.packetsMissing = counts.packetsMissing;
    transfer.packetSize = counts.packetSize;
    transfer.packetsOfFrame = counts.packetsOfFrame;
    transfer.packetsOfNewestIncomplete = counts.packetsOfNewestIncomplete;
    transfer.unknownPayload = counts.framesOfUnknownPayload;
    transfer.startRefused = counts.startRefused != 0;
    return transfer;
}

} // namespace kvgrab
