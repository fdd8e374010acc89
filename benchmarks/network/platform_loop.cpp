/** The camera calls, without driver and host. */
#include "benchmarks/network/loop.h"
#include "gev_api.h"
#include "gev_backend_choice.h"

#include <array>
#include <stdexcept>

namespace bench
{

namespace
{

/** Ends the loop by an exception if a camera call failed. */
void Check(int status, const char* what)
{
    if (status != kGevOk) {
        throw std::runtime_error(std::string(what) + " gives " + std::to_string(status));
    }
}

GEV_DEVICE_INFO Find(const std::string& address)
{
    std::array<GEV_DEVICE_INFO, 8> list{};
    int count = 0;
    Check(GevGetCameraList(list.data(), static_cast<int>(list.size()), &count), "the list");
    for (int i = 0; i < count; ++i) {
        if (address == list[static_cast<std::size_t>(i)].address) {
            return list[static_cast<std::size_t>(i)];
        }
    }
    throw std::runtime_error("no camera at " + address);
}

void Configure(void* handle, const LoopPlan& plan)
{
    GEV_CAMERA_OPTIONS options{};
    Check(GevGetCameraInterfaceOptions(handle, &options), "reading the options");
    options.streamPacketSize = static_cast<std::uint32_t>(plan.packetSize);
    options.streamFramesBuffered = static_cast<std::uint32_t>(plan.buffers);
    Check(GevSetCameraInterfaceOptions(handle, &options), "setting the options");
    const GenApi::CNodeMapRef& map = *GevGetFeatureNodeMap(handle);
    const auto integer = [&map](const char* name, std::int64_t value) {
        GenApi::CIntegerPtr(map.GetNode(name))->SetValue(value);
    };
    integer("OffsetX", 0);
    integer("OffsetY", 0);
    integer("Width", plan.width);
    integer("Height", plan.height);
    GenApi::CFloatPtr(map.GetNode("ExposureTime"))->SetValue(kExposureUs);
    GenApi::CFloatPtr(map.GetNode("AcquisitionFrameRate"))->SetValue(plan.fps);
}

void Receive(void* handle, const LoopPlan& plan)
{
    std::uint64_t payload = 0;
    Check(GevGetPayloadParameters(handle, &payload, nullptr), "the payload size");
    std::vector<std::vector<unsigned char>> memory(static_cast<std::size_t>(plan.buffers));
    std::vector<void*> buffers;
    for (auto& buffer : memory) {
        buffer.resize(payload);
        buffers.push_back(buffer.data());
    }
    Check(GevInitializeTransfer(handle, 1, payload, static_cast<std::uint32_t>(buffers.size()),
                                buffers.data()),
          "the transfer");
    Check(GevStartTransfer(handle, 0xFFFFFFFF), "the start");
    Tally tally(plan);
    while (!tally.IsDone()) {
        _tag_GEVBUF_ENTRY* frame = nullptr;
        GevWaitForNextFrame(handle, &frame, kPatienceMs);
        if (frame == nullptr) {
            break;
        }
        tally.Add(frame->frameNumber, frame->status == 0);
        GevReleaseFrame(handle, frame);
    }
    GEV_TRANSFER_STATISTICS counts{};
    GevGetTransferStatistics(&counts);
    GevFreeTransfer(handle);
    tally.Print(counts.packetsResent);
}

} // namespace

int RunPlatformLoop(const LoopPlan& plan)
{
    try {
        std::string error;
        if (!gevplat::ChooseBackends({.simulated = false, .network = true, .interface = ""},
                                     &error)) {
            throw std::runtime_error(error);
        }
        gevplat::SetLogSink([](int level, const std::string& text) {
            if (level <= 2) { // errors and warnings
                std::fprintf(stderr, "%s\n", text.c_str());
            }
        });
        const GEV_DEVICE_INFO device = Find(plan.address);
        void* handle = nullptr;
        Check(GevOpenCamera(&device, 2, &handle), "opening");
        Configure(handle, plan);
        Receive(handle, plan);
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "platform loop: %s\n", failure.what());
        GevApiUninitialize();
        return 1;
    }
    GevApiUninitialize();
    return 0;
}

} // namespace bench
