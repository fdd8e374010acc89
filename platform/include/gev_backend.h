/** What a backend must provide. The camera calls of gev_api.h check handles and arguments, defer
 *  thread cancellation and forward to a backend; the camera list is that of all backends together.
 *
 *  Threads: both interfaces are called from any thread and never under a lock of the caller. A
 *  backend whose own library is slow or not thread-safe keeps a lock per camera. */
#pragma once

#include "gev_api.h"
#include "gev_backend_choice.h"

#include <memory>
#include <string>
#include <vector>

namespace gevplat
{

/** One opened camera. Statuses are GevStatus; the destructor closes, in bounded time. */
class GEVPLAT_API Camera
{
public:
    virtual ~Camera();
    /** Never waits for another call; null once the camera has left the network. */
    virtual GEV_DEVICE_INFO* Info() = 0;
    virtual GenApi_3_0::CNodeMapRef* NodeMap() = 0;
    virtual int GetOptions(GEV_CAMERA_OPTIONS* options) = 0;
    virtual int SetOptions(const GEV_CAMERA_OPTIONS& options) = 0;
    virtual int GetFeatureValue(const char* feature, int size, void* value) = 0;
    virtual int SetFeatureValue(const char* feature, int size, const void* value) = 0;
    virtual int GetPayload(std::uint64_t* payloadSize, std::uint32_t* pixelFormat) = 0;
    virtual int InitializeTransfer(std::uint64_t size, std::uint32_t count, void** buffers) = 0;
    /** `frames` 0xFFFFFFFF: no limit. */
    virtual int StartTransfer(std::uint32_t frames) = 0;
    virtual int AbortTransfer() = 0;
    virtual int FreeTransfer() = 0;
    virtual int WaitForNextFrame(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) = 0;
    virtual int ReleaseFrame(_tag_GEVBUF_ENTRY* frame) = 0;
    virtual GEV_TRANSFER_STATISTICS Statistics() = 0;
};

/** A source of cameras: lists its cameras and opens those that it listed. */
class GEVPLAT_API Backend
{
public:
    virtual ~Backend();
    /** Up to 15 characters, for GEV_DEVICE_INFO::backend. */
    virtual const char* Name() const = 0;
    /** Appends the cameras that are on the network now. */
    virtual int List(std::vector<GEV_DEVICE_INFO>* devices) = 0;
    virtual int Open(const GEV_DEVICE_INFO& device, int accessMode,
                     std::unique_ptr<Camera>* camera) = 0;
    /** Whether somebody controls that camera, this process included; asked without control, in less
     *  than a second. */
    virtual int IsHeld(const GEV_DEVICE_INFO& device, bool* held) = 0;
    /** Called by GevApiUninitialize after all cameras were closed. */
    virtual void Uninitialize() = 0;
};

/** The chosen backends in listing order (gev_backend_choice.h). They live as long as the process.
 */
GEVPLAT_API std::vector<Backend*> Backends();

/** Writes to the host's log; levels as in gev_backend_choice.h. Never call it while holding a lock
 *  that platform calls take: the sink may call the platform. */
GEVPLAT_API void WriteLog(int level, const std::string& text);

/** Type of the one function that the library of the network backend exports, under the name below.
 *  It returns the backend, always the same object, set as `choice` says. Null: there is no such
 *  interface, and `*error` informs the user. */
using NetworkBackendEntry = Backend* (*)(const BackendChoice& choice, std::string* error);
constexpr const char* kNetworkBackendEntry = "GevplatNetworkBackend";

} // namespace gevplat
