/** The calls of gev_host.h. */
#include "gev_host.h"

#include "base/cancellation.h"
#include "core/buffer_guard.h"
#include "core/handle_table.h"
#include "core/interruption.h"
#include "core/newest_frame.h"
#include "core/packet_delay.h"
#include "genapi/raw_value.h"

#include <cstring>

namespace gevplat
{

std::atomic<bool> Interruption::on_{false};

NewestFrame& NewestFrame::Get()
{
    static auto* newest = new NewestFrame; // kept for threads that run while the process ends
    return *newest;
}

void NewestFrame::Delivered(const _tag_GEVBUF_ENTRY& frame)
{
    const std::lock_guard lock(mutex_);
    facts_ = {frame.frameNumber, frame.timestamp, frame.arrivalNs, frame.reception,
              facts_.delivery + 1};
}

int NewestFrame::Read(GEV_FRAME_FACTS* facts) const
{
    const std::lock_guard lock(mutex_);
    *facts = facts_;
    return facts_.delivery != 0 ? kGevOk : kGevNotReady;
}

std::mutex BufferGuard::mutex_;
GEV_BUFFER_GUARD BufferGuard::guard_ = nullptr;
void* BufferGuard::context_ = nullptr;

void BufferGuard::Set(GEV_BUFFER_GUARD guard, void* context)
{
    const std::lock_guard lock(mutex_);
    guard_ = guard;
    context_ = context;
}

bool BufferGuard::MayFill(void* buffer, bool lastChoice)
{
    const std::lock_guard lock(mutex_);
    return guard_ == nullptr || guard_(context_, buffer, lastChoice ? 1 : 0) != 0;
}

namespace
{

int IsHeld(const GEV_DEVICE_INFO& device, int* held) noexcept
{
    try {
        for (Backend* backend : Backends()) {
            if (std::strcmp(backend->Name(), device.backend) == 0) {
                bool is = false;
                const int status = backend->IsHeld(device, &is);
                *held = is ? 1 : 0;
                return status;
            }
        }
        return kGevNoBackend;
    } catch (...) { // cancellation is held off by the caller
        return genapi::StatusOfException();
    }
}

} // namespace

} // namespace gevplat

extern "C" {

int GevGetOpenCameras(void** handles, int maxHandles, int* count)
{
    const base::CancellationGuard hold;
    if (handles == nullptr || count == nullptr || maxHandles < 0) {
        return kGevInvalidArgument;
    }
    *count = 0;
    for (void* const handle : gevplat::HandleTable::Get().Handles()) {
        if (*count < maxHandles) {
            handles[(*count)++] = handle;
        }
    }
    return kGevOk;
}

int GevInterruptCameras(int interrupted)
{
    gevplat::Interruption::Set(interrupted != 0);
    return kGevOk;
}

int GevIsCameraHeld(const GEV_DEVICE_INFO* device, int* held)
{
    const base::CancellationGuard hold;
    if (device == nullptr || held == nullptr) {
        return kGevInvalidArgument;
    }
    *held = 0;
    return gevplat::Interruption::IsOn() ? static_cast<int>(kGevTimeout)
                                         : gevplat::IsHeld(gevplat::Terminated(*device), held);
}

int GevGetNewestFrame(GEV_FRAME_FACTS* facts)
{
    const base::CancellationGuard hold;
    return facts == nullptr ? static_cast<int>(kGevInvalidArgument)
                            : gevplat::NewestFrame::Get().Read(facts);
}

int GevOverridePacketDelay(std::int32_t delayUs)
{
    if (delayUs < -1) {
        return kGevInvalidArgument;
    }
    gevplat::PacketDelay::Set(delayUs);
    return kGevOk;
}

int GevSetBufferGuard(GEV_BUFFER_GUARD guard, void* context)
{
    const base::CancellationGuard hold;
    gevplat::BufferGuard::Set(guard, context);
    return kGevOk;
}

} // extern "C"
