#include "sim/camera/sim_camera.h"

#include "core/simulated_backend.h"
#include "genapi/raw_value.h"
#include "sim/network.h"

#include <cstring>

namespace sim
{

namespace
{

constexpr std::uint32_t kSmallestPacket = 46;
constexpr std::uint32_t kLargestPacket = 16384;

/** Null without such a camera on the network now. */
std::shared_ptr<CameraModel> Listed(const GEV_DEVICE_INFO& device)
{
    std::shared_ptr<CameraModel> model;
    for (const auto& listed : Network::Get().All()) {
        model = std::strcmp(listed->Info().address, device.address) == 0 ? listed : model;
    }
    return model != nullptr && model->IsPresent() ? model : nullptr;
}

constexpr GEV_CAMERA_OPTIONS kUsualOptions = {.heartbeatTimeoutMs = 3000,
                                              .commandTimeoutMs = 1000,
                                              .commandRetries = 3,
                                              .streamPacketSize = 1500,
                                              .streamPacketDelay = 0,
                                              .streamFramesBuffered = 8,
                                              .streamMemoryLimit = 64U << 20,
                                              .streamMaxPacketResend = 100,
                                              .streamFrameTimeoutMs = 1000};

} // namespace

SimCamera::SimCamera(std::shared_ptr<CameraModel> model)
    : model_(std::move(model)), nodeMap_(&model_->Features().Map()), info_(model_->Info()),
      options_(kUsualOptions)
{
    const genapi::AccessScope scope(*model_);
    model_->Frames().Configure(options_.streamFramesBuffered, options_.streamPacketSize);
}

SimCamera::~SimCamera()
{
    {
        const genapi::AccessScope scope(*model_);
        model_->Frames().Free();
    }
    model_->GiveControlBack();
}

int SimCamera::Reach()
{
    const std::int64_t nowNs = model_->Time().NowNs();
    model_->Frames().Advance(nowNs);
    return model_->Attendance().At(nowNs) ? kGevOk : kGevTimeout;
}

GEV_DEVICE_INFO* SimCamera::Info()
{
    return model_->IsPresent() ? &info_ : nullptr;
}

int SimCamera::GetOptions(GEV_CAMERA_OPTIONS* options)
{
    const genapi::AccessScope scope(*model_);
    *options = options_;
    return Reach();
}

int SimCamera::SetOptions(const GEV_CAMERA_OPTIONS& options)
{
    const genapi::AccessScope scope(*model_);
    if (const int status = Reach(); status != kGevOk) {
        return status;
    }
    if (options.streamPacketSize < kSmallestPacket || options.streamPacketSize > kLargestPacket) {
        return kGevBadValue;
    }
    options_ = options;
    model_->Frames().Configure(options.streamFramesBuffered, options.streamPacketSize);
    return kGevOk;
}

int SimCamera::GetFeatureValue(const char* feature, int size, void* value)
{
    return genapi::ReadRaw(model_->Features().Map(), feature, size, value);
}

int SimCamera::SetFeatureValue(const char* feature, int size, const void* value)
{
    return genapi::WriteRaw(model_->Features().Map(), feature, size, value);
}

int SimCamera::GetPayload(std::uint64_t* payloadSize, std::uint32_t* pixelFormat)
{
    const genapi::AccessScope scope(*model_);
    if (const int status = Reach(); status != kGevOk) {
        return status;
    }
    *payloadSize = model_->Features().PayloadBytes();
    *pixelFormat = static_cast<std::uint32_t>(model_->Features().pixelFormat->Value());
    return kGevOk;
}

int SimCamera::InitializeTransfer(std::uint64_t size, std::uint32_t count, void** buffers)
{
    const genapi::AccessScope scope(*model_);
    return model_->Frames().Initialize(size, count, buffers);
}

int SimCamera::StartTransfer(std::uint32_t frames)
{
    const genapi::AccessScope scope(*model_);
    const int reached = Reach();
    return reached == kGevOk ? model_->Frames().Start(frames) : reached;
}

/** An absent camera can't be stopped, but no more frames are taken from it. */
int SimCamera::AbortTransfer()
{
    const genapi::AccessScope scope(*model_);
    const int reached = Reach();
    const int status = model_->Frames().Abort();
    return status == kGevOk ? reached : status;
}

int SimCamera::FreeTransfer()
{
    const genapi::AccessScope scope(*model_);
    return model_->Frames().Free();
}

int SimCamera::WaitForNextFrame(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs)
{
    return model_->Frames().Wait(frame, timeoutMs);
}

int SimCamera::ReleaseFrame(_tag_GEVBUF_ENTRY* frame)
{
    const genapi::AccessScope scope(*model_);
    Reach(); // frames up to now arrived while the buffer was taken
    return model_->Frames().Release(frame);
}

GEV_TRANSFER_STATISTICS SimCamera::Statistics()
{
    const genapi::AccessScope scope(*model_);
    Reach();
    return model_->Frames().Statistics();
}

int SimBackend::List(std::vector<GEV_DEVICE_INFO>* devices)
{
    for (const auto& camera : Network::Get().All()) {
        if (camera->IsPresent()) {
            devices->push_back(camera->Info());
        }
    }
    return kGevOk;
}

int SimBackend::Open(const GEV_DEVICE_INFO& device, int, std::unique_ptr<gevplat::Camera>* camera)
{
    std::shared_ptr<CameraModel> model = Listed(device);
    if (model == nullptr) {
        return kGevNotFound;
    }
    if (!model->TakeControl()) {
        return kGevAccessDenied;
    }
    *camera = std::make_unique<SimCamera>(std::move(model));
    return kGevOk;
}

int SimBackend::IsHeld(const GEV_DEVICE_INFO& device, bool* held)
{
    const std::shared_ptr<CameraModel> model = Listed(device);
    *held = model != nullptr && model->IsControlled();
    return model == nullptr ? kGevNotFound : kGevOk;
}

} // namespace sim

gevplat::Backend& gevplat::SimulatedBackend()
{
    static auto* backend = new sim::SimBackend; // never destroyed: threads may run during exit
    return *backend;
}
