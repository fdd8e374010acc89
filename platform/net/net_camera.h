/** One opened network camera. */
#pragma once

#include "gev_backend.h"
#include "net/control/device.h"
#include "net/control/presence.h"
#include "net/library_owners.h"
#include "net/nodes/feature_map.h"
#include "net/stream/stream_options.h"
#include "net/stream/transfer.h"

#include <memory>
#include <mutex>

namespace net
{

/** Threads: as gev_backend.h says. The mutex keeps the calls apart that change what the camera
 *  does; a wait for a frame, the camera's record and its nodes go by it. */
class NetCamera : public gevplat::Camera
{
public:
    /** `address` in host byte order. */
    static int Make(Ref<ArvDevice> opened, const GEV_DEVICE_INFO& info, std::uint32_t address,
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
    NetCamera(Ref<ArvDevice> opened, const GEV_DEVICE_INFO& info, std::uint32_t address);
    std::shared_ptr<Transfer> Current() const;
    Geometry ReadGeometry();
    /** Under the mutex. */
    int Halt(Transfer& transfer);

    GEV_DEVICE_INFO info_;
    Device device_;
    FeatureMap features_;
    GenApi_3_0::CNodeMapRef nodeMap_;
    std::mutex mutex_;
    StreamOptions options_;
    mutable std::mutex transferMutex_; ///< of the pointer alone
    std::shared_ptr<Transfer> transfer_;
    GEV_TRANSFER_STATISTICS counts_{}; ///< of the transfer that was freed last
    Presence presence_;                ///< last, so that it ends before what it looks at
};

} // namespace net
