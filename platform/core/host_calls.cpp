/** The calls of gev_host.h. */
#include "gev_host.h"

#include "base/cancellation.h"
#include "core/handle_table.h"
#include "core/interruption.h"
#include "core/newest_frame.h"
#include "core/packet_delay.h"

namespace gevplat
{

NewestFrame& NewestFrame::Get()
{
    static auto* newest = new NewestFrame; // kept for threads that run while the process ends
    return *newest;
}

void NewestFrame::Delivered(const _tag_GEVBUF_ENTRY& frame)
{
    const std::lock_guard lock(mutex_);
    facts_ = {frame.frameNumber, frame.timestamp, frame.arrivalNs};
    any_ = true;
}

int NewestFrame::Read(GEV_FRAME_FACTS* facts) const
{
    const std::lock_guard lock(mutex_);
    *facts = facts_;
    return any_ ? kGevOk : kGevNotReady;
}

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

} // extern "C"
