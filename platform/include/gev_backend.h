/** What a backend must provide. The camera calls of gev_api.h check handles and arguments, hold off
 *  thread cancellation and forward to a backend; the listing joins all backends.
 *
 *  Threads: both interfaces are called from any thread. A backend whose own library is slow or not
 *  thread-safe keeps its own lock per camera; nothing here is called under a lock of the caller. */
#pragma once

#include "gev_api.h"

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
    /** Never waits for another call; null once the camera is gone. */
    virtual GEV_DEVICE_INFO* Info() = 0;
    virtual GenApi_3_0::CNodeMapRef* NodeMap() = 0;
    virtual int GetOptions(GEV_CAMERA_OPTIONS* options) = 0;
    virtual int SetOptions(const GEV_CAMERA_OPTIONS& options) = 0;
    virtual int GetFeatureValue(const char* feature, int size, void* value) = 0;
    virtual int SetFeatureValue(const char* feature, int size, const void* value) = 0;
    virtual int GetPayload(std::uint64_t* payloadSize, std::uint32_t* pixelFormat) = 0;
    virtual int InitializeTransfer(std::uint64_t size, std::uint32_t count, void** buffers) = 0;
    /** `frames` 0xFFFFFFFF: for ever. */
    virtual int StartTransfer(std::uint32_t frames) = 0;
    virtual int AbortTransfer() = 0;
    virtual int FreeTransfer() = 0;
    virtual int WaitForNextFrame(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs) = 0;
    virtual int ReleaseFrame(_tag_GEVBUF_ENTRY* frame) = 0;
    virtual GEV_TRANSFER_STATISTICS Statistics() = 0;
};

/** A source of cameras: lists what it sees and opens what it listed. */
class GEVPLAT_API Backend
{
public:
    virtual ~Backend();
    /** Up to 15 characters; stands in GEV_DEVICE_INFO::backend. */
    virtual const char* Name() const = 0;
    /** Appends what is on the network now. */
    virtual int List(std::vector<GEV_DEVICE_INFO>* devices) = 0;
    virtual int Open(const GEV_DEVICE_INFO& device, int accessMode,
                     std::unique_ptr<Camera>* camera) = 0;
    /** Called by GevApiUninitialize after all cameras were closed. */
    virtual void Uninitialize() = 0;
};

/** The chosen backends in listing order (gev_backend_choice.h). They live as long as the process.
 */
GEVPLAT_API std::vector<Backend*> Backends();

/** Writes to the host's log; levels as in gev_backend_choice.h. Never call it while holding a lock
 *  that platform calls take: the sink may call back. */
GEVPLAT_API void WriteLog(int level, const std::string& text);

/** The one symbol that the library of the network backend exports, by the name below: the backend,
 *  looking on one interface or, with an empty text, on all. Null: there is no such interface, as
 * `*error` says. The same object each time. */
using NetworkBackendEntry = Backend* (*)(const std::string& interface, std::string* error);
constexpr const char* kNetworkBackendEntry = "GevplatNetworkBackend";

} // namespace gevplat
