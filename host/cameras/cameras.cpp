#include "cameras/cameras.h"

#include "cameras/listing.h"
#include "cameras/waveform.h"
#include "gev_api.h"
#include "gev_backend_choice.h"
#include "gev_host.h"
#include "sim_control.h"

#include <fmt/format.h>

namespace kvgrab
{

bool SetUpCameras(const CamerasConfig& cameras, const NetworkConfig& network,
                  const std::string& path, std::string* error)
{
    if (!gevplat::ChooseBackends({.simulated = cameras.simulated,
                                  .network = cameras.network,
                                  .interface = cameras.interface,
                                  .patienceMs = network.patienceMs,
                                  .ownReceiver = network.ownReceiver,
                                  .receivePriority = network.receivePriority,
                                  .receiveCpu = network.receiveCpu},
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

void InterruptCameras(bool interrupted)
{
    GevInterruptCameras(interrupted ? 1 : 0);
}

bool ListCameras(std::vector<CameraRow>* cameras, std::string* error)
{
    const CameraListing listing = ReadCameraList();
    for (const GEV_DEVICE_INFO& camera : listing.cameras) {
        cameras->push_back(RowOf(camera));
        cameras->back().held = IsHeld(camera);
    }
    LeaveCameras();
    if (listing.status != kGevOk) {
        *error = fmt::format("the cameras can't be listed (status {})", listing.status);
        return false;
    }
    return true;
}

std::string DrawOutputLines()
{
    const CameraListing listing = ReadCameraList();
    LeaveCameras();
    if (listing.status != kGevOk) {
        return fmt::format("the cameras can't be listed (status {})\n", listing.status);
    }
    constexpr double kNsPerUs = 1000;
    std::string drawings;
    for (const GEV_DEVICE_INFO& camera : listing.cameras) {
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

GuardedBuffers::GuardedBuffers(FrameMemory& memory)
{
    GevSetBufferGuard(
        [](void* context, void* buffer, int lastChoice) {
            return static_cast<FrameMemory*>(context)->MayFill(buffer, lastChoice != 0) ? 1 : 0;
        },
        &memory);
}

GuardedBuffers::~GuardedBuffers()
{
    GevSetBufferGuard(nullptr, nullptr);
}

FrameFacts NewestFrame()
{
    static_assert(kFrameFaults == kGevSmallerThanImage + 1);
    GEV_FRAME_FACTS facts = {};
    if (GevGetNewestFrame(&facts) != kGevOk) {
        return {};
    }
    const GEV_FRAME_RECEPTION& reception = facts.reception;
    return {facts.frameNumber,
            facts.timestamp,
            facts.arrivalNs,
            static_cast<FrameFault>(reception.fault),
            reception.packetsReceived,
            reception.packetsResent,
            reception.packetsMissing,
            reception.framesLost,
            reception.framesWithoutBuffer,
            facts.delivery};
}

} // namespace kvgrab
