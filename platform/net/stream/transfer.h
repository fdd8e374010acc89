/** One transfer: the caller's buffers, the stream that fills them, and what came. */
#pragma once

#include "gev_api.h"
#include "net/control/device.h"
#include "net/deferred_log.h"
#include "net/nodes/feature_map.h"
#include "net/stream/hold_back.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace net
{

/** What every frame of a transfer looks like. */
struct Geometry {
    std::uint32_t width = 0;  ///< pixels
    std::uint32_t height = 0; ///< lines
    std::uint64_t imageBytes = 0;
    std::uint64_t payloadBytes = 0; ///< with chunks
};

/** Who receives frames. */
struct Receiver {
    bool own = true;  ///< this backend; false: the network library
    int priority = 0; ///< of this backend's thread, SCHED_FIFO; 0: as any thread
    int cpu = -1;     ///< on which that thread runs; -1: on any
};

/** What a transfer is made with. */
struct TransferPlan {
    std::uint64_t bufferBytes = 0;
    std::vector<void*> buffers; ///< in the caller's memory, which outlives the transfer
    std::uint32_t frameTimeoutMs = 0;
    std::uint32_t mostRequested = 0; ///< packets per frame that are requested again
    std::uint32_t camera = 0;        ///< address, host byte order
    Receiver receiver;
};

/** Made by GevInitializeTransfer, gone with GevFreeTransfer. Statuses are GevStatus.
 *
 *  Threads: Wait may run during every other operation; the mutex of the implementation keeps them
 *  apart, and nobody waits for a frame while holding it. Where frames bring values of features
 *  along, the device's lock is taken under it (lock order in net_camera.h). */
class Transfer
{
public:
    Transfer() = default;
    virtual ~Transfer() = default;
    Transfer(const Transfer&) = delete;
    Transfer& operator=(const Transfer&) = delete;

    virtual bool IsStarted() const = 0;
    /** Starts to receive; starting the camera's acquisition is up to the caller. */
    virtual void Start(std::uint32_t frames, const Geometry& geometry, const Pace& pace) = 0;
    virtual void StartWasRefused(bool refused) = 0;
    /** Frames that are not in the caller's hands are dropped. */
    virtual void Stop() = 0;
    /** From now on nothing is written to the caller's memory, and every Wait returns kGevNotReady
     *  soon. The last operation. */
    virtual void Retire() = 0;
    virtual int Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) = 0;
    virtual int Release(_tag_GEVBUF_ENTRY* frame) = 0;
    virtual GEV_TRANSFER_STATISTICS Statistics() const = 0;
};

} // namespace net
