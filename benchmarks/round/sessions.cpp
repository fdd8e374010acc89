#include "benchmarks/round/sessions.h"

#include "benchmarks/round/bare_loop.h"
#include "benchmarks/round/bench_host.h"
#include "gev_api.h"
#include "kv_host_services.h"
#include "sim_control.h"
#include "tests/support/alloc_count.h"

#include <chrono>
#include <stdexcept>
#include <string>
#include <vector>

namespace bench
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint64_t kWarmUp = 200; ///< rounds

/** Features that neither side needs, neither in a round nor before the first one. */
const std::vector<std::string> kDispensable = {"autoBrightnessMode",
                                               "autoBrightnessSequence",
                                               "autoBrightnessTarget",
                                               "ExposureAuto",
                                               "GainAuto",
                                               "exposureAutoMinValue",
                                               "exposureAutoMaxValue",
                                               "gainAutoMinValue",
                                               "gainAutoMaxValue",
                                               "gainAutoSource",
                                               "gammaCorrection",
                                               "lutSize",
                                               "outputLinePulseDelay",
                                               "outputLinePulseDuration",
                                               "outputLineSource",
                                               "LineInverter",
                                               "LineSelector",
                                               "ReverseX",
                                               "ReverseY",
                                               "LUTValue"};

void SetUp(const Load& load)
{
    sim::Reset();
    sim::SetClock(std::make_shared<sim::ManualClock>(1'000'000'000));
    sim::CameraSetup camera;
    camera.sensorWidth = load.width;
    camera.sensorHeight = load.height;
    camera.picture = sim::Picture::Plain;
    camera.missing.assign(kDispensable.begin(),
                          kDispensable.begin() + static_cast<std::ptrdiff_t>(load.featuresLess));
    sim::AddCamera(camera);
    Host& host = Host::Get();
    host = Host{};
    host.buffers = load.buffers;
}

/** Reads the clock and counts the allocations at the start and the end of the measured rounds. */
struct Watch {
    std::uint64_t frames = 0; ///< number of frames to measure
    std::uint64_t seen = 0;
    Clock::time_point begin;
    Clock::time_point end;
    std::uint64_t allocationsAtBegin = 0;
    std::uint64_t allocations = 0;

    static bool Exported(void* context)
    {
        auto& watch = *static_cast<Watch*>(context);
        ++watch.seen;
        if (watch.seen == kWarmUp) {
            watch.allocationsAtBegin = rig::Allocations();
            watch.begin = Clock::now();
        } else if (watch.seen == kWarmUp + watch.frames) {
            watch.end = Clock::now();
            watch.allocations = rig::Allocations() - watch.allocationsAtBegin;
        }
        return watch.seen >= kWarmUp + watch.frames;
    }
    double NsPerFrame() const
    {
        const std::chrono::duration<double, std::nano> took = end - begin;
        return took.count() / static_cast<double>(frames);
    }
};

/** Enables the chunks as the driver does, since the camera's share of a round depends on them. */
void SwitchChunksOn(void* handle)
{
    const GenApi::CNodeMapRef& map = *GevGetFeatureNodeMap(handle);
    GenApi::CBooleanPtr(map.GetNode("ChunkModeActive"))->SetValue(true);
    for (const char* chunk : {"Gain", "ExposureTime", "Timestamp", "counter1ValueAtReset"}) {
        const GenApi::CEnumerationPtr selector = map.GetNode("ChunkSelector");
        const GenApi::IEnumEntry* const entry = selector->GetEntryByName(chunk);
        if (entry != nullptr && GenApi::IsImplemented(entry->GetAccessMode())) {
            selector->FromString(chunk);
            GenApi::CBooleanPtr(map.GetNode("ChunkEnable"))->SetValue(true);
        }
    }
}

Watch RunDriver(const Load& load)
{
    SetUp(load);
    Watch watch;
    watch.frames = load.frames;
    Host::Get().context = &watch;
    Host::Get().exported = Watch::Exported;
    if (KvLibProc() != 0 || watch.seen < kWarmUp + load.frames) {
        throw std::runtime_error("the driver's session failed");
    }
    return watch;
}

} // namespace

double DriverRoundNs(const Load& load)
{
    return RunDriver(load).NsPerFrame();
}

std::uint64_t DriverAllocations(const Load& load)
{
    return RunDriver(load).allocations;
}

double BareRoundNs(const Load& load)
{
    SetUp(load);
    GEV_DEVICE_INFO device{};
    int count = 0;
    void* handle = nullptr;
    std::uint64_t payload = 0;
    GevGetCameraList(&device, 1, &count);
    GevOpenCamera(&device, 2, &handle);
    SwitchChunksOn(handle);
    GevGetPayloadParameters(handle, &payload, nullptr);
    KvGiMem__Init(static_cast<std::uint32_t>(payload), 0);
    std::vector<void*> buffers;
    for (std::uint32_t i = 0; i < load.buffers; ++i) {
        buffers.push_back(KvGiMem__GetBufPtr(i));
    }
    if (GevInitializeTransfer(handle, 1, payload, load.buffers, buffers.data()) != kGevOk ||
        GevStartTransfer(handle, 0xFFFFFFFF) != kGevOk) {
        throw std::runtime_error("the bare loop has no camera");
    }
    RunBareLoop(handle, kWarmUp);
    const auto begin = Clock::now();
    RunBareLoop(handle, load.frames);
    const std::chrono::duration<double, std::nano> took = Clock::now() - begin;
    GevAbortTransfer(handle);
    GevFreeTransfer(handle);
    GevCloseCamera(&handle);
    GevApiUninitialize();
    return took.count() / static_cast<double>(load.frames);
}

} // namespace bench
