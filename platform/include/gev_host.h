/** Camera calls for the host around a driver: which cameras are open in this process, how to make
 *  their accesses and waits fail at once, what the newest frame was, and which packet delay the
 *  driver's options are set with.
 *
 *  The driver never uses them. They inject no faults and don't appear in the journal.
 *
 *  Threads: every call may come from any thread. */
#pragma once

#include "gev_api.h"

#include <cstdint>

/** What the platform knows of a frame beyond what the driver passes on. */
struct GEV_FRAME_FACTS {
    std::uint64_t frameNumber; ///< as in _tag_GEVBUF_ENTRY, like the next two
    std::uint64_t timestamp;
    std::int64_t arrivalNs;
    GEV_FRAME_RECEPTION reception;
    std::uint64_t delivery; ///< counts the frames delivered in this process, from 1 on
};

/** Whether a buffer of a transfer, as GevInitializeTransfer was given it, may be filled now: 1, or
 *  0 to have another one filled. When every free buffer was refused, the first of them is asked for
 *  again with a non-zero `lastChoice` and filled, whatever the answer is.
 *
 *  Called from whichever thread of the transfer fills buffers, under locks of the platform: it must
 *  be quick, and call neither the platform nor the driver. The buffer is with the transfer from
 *  GevReleaseFrame on, until GevWaitForNextFrame delivers it. */
using GEV_BUFFER_GUARD = int (*)(void* context, void* buffer, int lastChoice);

extern "C" {

/** The handles of the open cameras, at most `maxHandles`; `*count` is how many were written. */
GEVPLAT_API int GevGetOpenCameras(void** handles, int maxHandles, int* count);

/** With a non-zero `interrupted`, makes every wait for a frame and every access to a camera fail
 *  immediately, those under way included: camera calls with kGevTimeout, accesses to nodes with
 *  TimeoutException; lists find nothing, and no camera can be opened. What ends a session still
 *  works: stopping, freeing, releasing and closing. Lasts until it is called with 0. */
GEVPLAT_API int GevInterruptCameras(int interrupted);

/** Whether somebody controls the camera, this process included: `*held` becomes 1 or 0. Takes no
 *  control itself and less than a second. kGevNotFound: there is no such camera; kGevTimeout: it
 *  does not answer, or the cameras are interrupted. */
GEVPLAT_API int GevIsCameraHeld(const GEV_DEVICE_INFO* device, int* held);

/** The frame that GevWaitForNextFrame delivered last in this process, complete or not.
 *  kGevNotReady before the first. */
GEVPLAT_API int GevGetNewestFrame(GEV_FRAME_FACTS* facts);

/** From now on GevSetCameraInterfaceOptions sets this inter-packet delay, in microseconds, in place
 *  of the one that it is given. -1, as at the start: it sets what it is given. */
GEVPLAT_API int GevOverridePacketDelay(std::int32_t delayUs);

/** From now on transfers ask this guard before they fill a buffer, each time; a buffer that may not
 *  be filled is put behind the others. One guard in a process; null: none. When this returns, the
 *  guard before is not called any more. Not every transfer can ask: that of the simulated backend
 *  can, and that of network cameras unless the network library receives. */
GEVPLAT_API int GevSetBufferGuard(GEV_BUFFER_GUARD guard, void* context);

} // extern "C"
