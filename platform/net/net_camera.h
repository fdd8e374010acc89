/** One opened network camera. */
#pragma once

#include "gev_backend.h"
#include "net/control/device.h"
#include "net/control/presence.h"
#include "net/deferred_log.h"
#include "net/library_owners.h"
#include "net/nodes/feature_map.h"
#include "net/stream/stream_options.h"
#include "net/stream/transfer.h"

#include <memory>
#include <mutex>

namespace net
{

/** Threads: as gev_backend.h says. The mutex keeps the calls apart that change what the camera
 *  does; a wait for a frame, the camera's record and its nodes don't take it.
 *
 *  Lock order, outermost first; a thread that holds one of these takes only those behind it:
 *
 *      NetCamera::mutex_         one call that changes something, whatever it waits for
 *      NetCamera::transferMutex_ which transfer there is; held for a few instructions, also while
 *                                the transfer's counts are read
 *      Transfer::mutex_          the state of one transfer, held while a frame is handed over; the
 *                                values that frames bring along have a leaf mutex each
 *      Device::Mutex()           each access to the camera and to the library's tree of features;
 *                                recursive
 *      ControlChannel::mutex_    one register access, for as long as it takes
 *      ValueCache::mutex_        what is known of the features' values; never held together with
 *                                the one above
 *
 *  NetworkBackend's mutex and that of Presence are leaves: none of ours is taken under them.
 *  The host's log is written when none of them is held (DeferredLog), since its sink may call
 *  back. */
class NetCamera : public gevplat::Camera
{
public:
    /** `opened` is the device of `channel` (gvcp_device.h). */
    static int Make(Ref<ArvDevice> opened, const std::shared_ptr<ControlChannel>& channel,
                    const GEV_DEVICE_INFO& info, const Receiver& receiver,
                    std::unique_ptr<gevplat::Camera>* camera);
    ~NetCamera() override;

    GEV_DEVICE_INFO* Info() override { return device_.IsPresent() ? &info_ : nullptr; }
    GenApi_3_0::CNodeMapRef* NodeMap() override { return &nodeMap_; }
    int GetOptions(GEV_CAMERA_OPTIONS* options) override;
    int SetOptions(const GEV_CAMERA_OPTIONS& options) override;
    int GetFeatureValue(const char* feature, int size, void* value) override;
    int SetFeatureValue(const char* feature, int size, const void* value) override;
    int GetPayload(std::uint64_t* payloadSize, std::uint32_t* pixelFormat) override;
    int InitializeTransfer(std::uint64_t size, std::uint32_t count, void** buffers) override;
    int StartTransfer(std::uint32_t frames) override;
    int AbortTransfer() override;
    int FreeTransfer() override;
    int WaitForNextFrame(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) override;
    int ReleaseFrame(_tag_GEVBUF_ENTRY* frame) override;
    GEV_TRANSFER_STATISTICS Statistics() override;

private:
    NetCamera(Ref<ArvDevice> opened, const std::shared_ptr<ControlChannel>& channel,
              const GEV_DEVICE_INFO& info, const Receiver& receiver);
    /** What a former session left running. */
    void StopWhatRuns();
    std::shared_ptr<Transfer> Current() const;
    Geometry ReadGeometry();
    /** Under the mutex. */
    int Halt(Transfer& transfer, DeferredLog& log);

    GEV_DEVICE_INFO info_;
    const Receiver receiver_;
    Device device_;
    FeatureMap features_;
    GenApi_3_0::CNodeMapRef nodeMap_;
    std::mutex mutex_; ///< the outermost lock: see above
    StreamOptions options_;
    mutable std::mutex transferMutex_; ///< of transfer_ and counts_
    std::shared_ptr<Transfer> transfer_;
    GEV_TRANSFER_STATISTICS counts_{}; ///< of the transfer that was freed last
    Presence presence_;                ///< last, so that it ends before what it watches
};

} // namespace net
