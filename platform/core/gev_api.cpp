/** The camera calls. Each one holds thread cancellation off, injects the faults that are due,
 *  checks handle and arguments, forwards to the camera's backend, and records itself in the
 *  journal. */
#include "gev_api.h"

#include "base/cancellation.h"
#include "base/pixel_format.h"
#include "core/handle_table.h"
#include "core/interruption.h"
#include "core/newest_frame.h"
#include "core/packet_delay.h"
#include "genapi/raw_value.h"
#include "injection/call_faults.h"
#include "injection/record.h"

#include <cstring>
#include <fmt/format.h>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace
{

using gevplat::HandleTable;
using gevplat::OpenCamera;
using Opened = std::shared_ptr<OpenCamera>;

/** Whose transfer the statistics are of: the newest one, also after its camera was closed. */
class NewestTransfer
{
public:
    static NewestTransfer& Get()
    {
        static auto* newest = new NewestTransfer;
        return *newest;
    }
    void Follow(const Opened& camera)
    {
        const std::lock_guard lock(mutex_);
        camera_ = camera;
        ++number_;
    }
    /** Keeps the last counts of a camera that is about to close. */
    void Leave(const Opened& camera)
    {
        const std::lock_guard lock(mutex_);
        if (camera_.lock() == camera) {
            last_ = camera->camera->Statistics();
            camera_.reset();
        }
    }
    int Read(GEV_TRANSFER_STATISTICS* statistics)
    {
        Opened camera;
        std::uint64_t number = 0;
        {
            const std::lock_guard lock(mutex_);
            camera = camera_.lock();
            *statistics = last_;
            number = number_;
        }
        if (number == 0) {
            return kGevNotReady;
        }
        if (camera != nullptr) {
            *statistics = camera->camera->Statistics();
        }
        statistics->transfer = number;
        return kGevOk;
    }

private:
    std::mutex mutex_;
    std::weak_ptr<OpenCamera> camera_;
    GEV_TRANSFER_STATISTICS last_{};
    std::uint64_t number_ = 0;
};

/** The frame of every call. `arguments` gives their text for the journal, `work` the status. */
template <class Arguments, class Work>
int Run(const char* call, const char* serial, const Arguments& arguments, const Work& work) noexcept
{
    const base::CancellationGuard hold;
    int status = kGevError;
    try {
        const auto failed = injection::BeginCall(call, serial);
        status = failed ? static_cast<int>(*failed) : work();
    } catch (...) { // cancellation is held off, so this is nothing but an error
        status = genapi::StatusOfException();
    }
    if (injection::Record::Get().On()) {
        injection::JournalCall(call, arguments(), std::to_string(status));
    }
    return status;
}

std::string NoArguments()
{
    return {};
}

/** A call on an open camera; `valid` says whether its arguments make sense. */
template <class Arguments, class Work>
int OnCamera(const char* call, const void* handle, bool valid, const Arguments& arguments,
             const Work& work) noexcept
{
    const base::CancellationGuard hold;
    const Opened opened = HandleTable::Get().Find(handle);
    return Run(call, opened == nullptr ? "" : opened->device.serial, arguments, [&]() -> int {
        if (opened == nullptr) {
            return kGevInvalidHandle;
        }
        return valid ? work(opened) : kGevInvalidArgument;
    });
}

/** The same for a call that waits for the camera, which fails while the cameras are interrupted. */
template <class Arguments, class Work>
int AskCamera(const char* call, const void* handle, bool valid, const Arguments& arguments,
              const Work& work) noexcept
{
    return OnCamera(call, handle, valid, arguments, [&](const Opened& opened) -> int {
        return gevplat::Interruption::IsOn() ? static_cast<int>(kGevTimeout) : work(opened);
    });
}

/** A call that returns a pointer, null when a fault makes it fail. */
template <class Pointer, class Work>
Pointer* PointerOnCamera(const char* call, const void* handle, const Work& work) noexcept
{
    const base::CancellationGuard hold;
    const Opened opened = HandleTable::Get().Find(handle);
    Pointer* result = nullptr;
    if (!injection::BeginCall(call, opened == nullptr ? "" : opened->device.serial)) {
        result = opened == nullptr ? nullptr : work(*opened->camera);
    }
    if (injection::Record::Get().On()) {
        injection::JournalCall(call, "", result == nullptr ? "null" : "ok");
    }
    return result;
}

void Close(const Opened& opened)
{
    NewestTransfer::Get().Leave(opened);
    opened->camera->FreeTransfer();
}

int OpenDevice(const GEV_DEVICE_INFO& device, int accessMode, void** handle)
{
    for (gevplat::Backend* backend : gevplat::Backends()) {
        if (std::strcmp(backend->Name(), device.backend) != 0) {
            continue;
        }
        auto opened = std::make_shared<OpenCamera>();
        opened->device = device;
        if (const int status = backend->Open(device, accessMode, &opened->camera);
            status != kGevOk) {
            return status;
        }
        *handle = HandleTable::Get().Add(std::move(opened));
        return *handle == nullptr ? kGevNoMemory : kGevOk;
    }
    return kGevNoBackend;
}

constexpr int kControl = 2;
constexpr int kCycling = 1;

} // namespace

extern "C" {

int GevGetCameraList(GEV_DEVICE_INFO* list, int maxCameras, int* count)
{
    if (count != nullptr) {
        *count = 0;
    }
    const auto arguments = [&] { return std::to_string(maxCameras); };
    return Run("GevGetCameraList", "", arguments, [&]() -> int {
        if (list == nullptr || count == nullptr || maxCameras < 0) {
            return kGevInvalidArgument;
        }
        if (gevplat::Interruption::IsOn()) {
            return kGevTimeout;
        }
        std::vector<GEV_DEVICE_INFO> found;
        int status = kGevOk;
        for (gevplat::Backend* backend : gevplat::Backends()) {
            const int listed = backend->List(&found);
            status = status == kGevOk ? listed : status;
        }
        for (const GEV_DEVICE_INFO& device : found) {
            if (*count < maxCameras) {
                list[(*count)++] = device;
            }
        }
        return status;
    });
}

int GevOpenCamera(const GEV_DEVICE_INFO* device, int accessMode, void** handle)
{
    if (handle != nullptr) {
        *handle = nullptr;
    }
    const GEV_DEVICE_INFO asked =
        device == nullptr ? GEV_DEVICE_INFO{} : gevplat::Terminated(*device);
    const auto arguments = [&] { return fmt::format("{},{}", asked.serial, accessMode); };
    return Run("GevOpenCamera", asked.serial, arguments, [&]() -> int {
        if (device == nullptr || handle == nullptr || accessMode != kControl) {
            return kGevInvalidArgument;
        }
        if (gevplat::Interruption::IsOn()) {
            return kGevTimeout;
        }
        return OpenDevice(asked, accessMode, handle);
    });
}

int GevCloseCamera(void** handle)
{
    const void* closing = handle == nullptr ? nullptr : *handle;
    return OnCamera("GevCloseCamera", closing, true, NoArguments, [&](const Opened& opened) {
        Close(opened);
        HandleTable::Get().Remove(closing);
        *handle = nullptr;
        return kGevOk;
    });
}

int GevApiUninitialize(void)
{
    return Run("GevApiUninitialize", "", NoArguments, [] {
        for (const Opened& opened : HandleTable::Get().RemoveAll()) {
            Close(opened);
        }
        for (gevplat::Backend* backend : gevplat::Backends()) {
            backend->Uninitialize();
        }
        return kGevOk;
    });
}

void _CloseSocketAPI(void)
{
    Run("_CloseSocketAPI", "", NoArguments, [] { return kGevOk; });
}

GEV_DEVICE_INFO* GevGetCameraInfo(void* handle)
{
    return PointerOnCamera<GEV_DEVICE_INFO>("GevGetCameraInfo", handle,
                                            [](gevplat::Camera& camera) { return camera.Info(); });
}

GenApi_3_0::CNodeMapRef* GevGetFeatureNodeMap(void* handle)
{
    return PointerOnCamera<GenApi_3_0::CNodeMapRef>(
        "GevGetFeatureNodeMap", handle, [](gevplat::Camera& camera) { return camera.NodeMap(); });
}

int GevGetCameraInterfaceOptions(void* handle, GEV_CAMERA_OPTIONS* options)
{
    return AskCamera("GevGetCameraInterfaceOptions", handle, options != nullptr, NoArguments,
                     [&](const Opened& opened) { return opened->camera->GetOptions(options); });
}

int GevSetCameraInterfaceOptions(void* handle, const GEV_CAMERA_OPTIONS* options)
{
    return AskCamera("GevSetCameraInterfaceOptions", handle, options != nullptr, NoArguments,
                     [&](const Opened& opened) {
                         return opened->camera->SetOptions(
                             gevplat::PacketDelay::AppliedTo(*options));
                     });
}

int GevGetFeatureValue(void* handle, const char* feature, int size, void* value)
{
    const bool valid = feature != nullptr && value != nullptr;
    return AskCamera(
        "GevGetFeatureValue", handle, valid,
        [&] { return std::string(feature == nullptr ? "null" : feature); },
        [&](const Opened& opened) {
            return opened->camera->GetFeatureValue(feature, size, value);
        });
}

int GevSetFeatureValue(void* handle, const char* feature, int size, const void* value)
{
    const bool valid = feature != nullptr && value != nullptr;
    return AskCamera(
        "GevSetFeatureValue", handle, valid,
        [&] { return std::string(feature == nullptr ? "null" : feature); },
        [&](const Opened& opened) {
            return opened->camera->SetFeatureValue(feature, size, value);
        });
}

int GevGetPayloadParameters(void* handle, std::uint64_t* payloadSize, std::uint32_t* pixelFormat)
{
    return AskCamera("GevGetPayloadParameters", handle, true, NoArguments,
                     [&](const Opened& opened) {
                         std::uint64_t size = 0;
                         std::uint32_t format = 0;
                         const int status = opened->camera->GetPayload(&size, &format);
                         if (status == kGevOk && payloadSize != nullptr) {
                             *payloadSize = size;
                         }
                         if (status == kGevOk && pixelFormat != nullptr) {
                             *pixelFormat = format;
                         }
                         return status;
                     });
}

int GetPixelSizeInBytes(std::uint32_t pixelFormat)
{
    return static_cast<int>((base::BitsPerPixel(pixelFormat) + 7) / 8);
}

int GevInitializeTransfer(void* handle, int mode, std::uint64_t size, std::uint32_t count,
                          void** buffers)
{
    const bool valid = mode == kCycling && buffers != nullptr;
    return AskCamera(
        "GevInitializeTransfer", handle, valid,
        [&] { return fmt::format("{},{},{}", mode, size, count); },
        [&](const Opened& opened) {
            const int status = opened->camera->InitializeTransfer(size, count, buffers);
            if (status == kGevOk) {
                NewestTransfer::Get().Follow(opened);
            }
            return status;
        });
}

int GevStartTransfer(void* handle, std::uint32_t frames)
{
    return AskCamera(
        "GevStartTransfer", handle, true,
        [&] { return std::to_string(static_cast<std::int32_t>(frames)); },
        [&](const Opened& opened) { return opened->camera->StartTransfer(frames); });
}

int GevAbortTransfer(void* handle)
{
    return OnCamera("GevAbortTransfer", handle, true, NoArguments,
                    [](const Opened& opened) { return opened->camera->AbortTransfer(); });
}

int GevFreeTransfer(void* handle)
{
    return OnCamera("GevFreeTransfer", handle, true, NoArguments,
                    [](const Opened& opened) { return opened->camera->FreeTransfer(); });
}

int GevWaitForNextFrame(void* handle, _tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs)
{
    if (frame != nullptr) {
        *frame = nullptr;
    }
    return AskCamera(
        "GevWaitForNextFrame", handle, frame != nullptr, [&] { return std::to_string(timeoutMs); },
        [&](const Opened& opened) {
            const int status = opened->camera->WaitForNextFrame(frame, timeoutMs);
            if (*frame != nullptr) {
                gevplat::NewestFrame::Get().Delivered(**frame);
            }
            return status;
        });
}

int GevReleaseFrame(void* handle, _tag_GEVBUF_ENTRY* frame)
{
    return OnCamera("GevReleaseFrame", handle, frame != nullptr, NoArguments,
                    [&](const Opened& opened) { return opened->camera->ReleaseFrame(frame); });
}

int GevGetTransferStatistics(GEV_TRANSFER_STATISTICS* statistics)
{
    return Run("GevGetTransferStatistics", "", NoArguments, [&]() -> int {
        return statistics == nullptr ? kGevInvalidArgument : NewestTransfer::Get().Read(statistics);
    });
}

} // extern "C"
