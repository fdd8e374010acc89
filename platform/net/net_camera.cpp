#include "net/net_camera.h"

#include "genapi/raw_value.h"
#include "net/control/commands.h"
#include "net/control/interfaces.h"
#include "net/control/session_end.h"
#include "net/stream/library_transfer.h"
#include "net/stream/own_transfer.h"

#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <string>

namespace net
{

namespace
{

using GenApi_3_0::CEnumerationPtr;
using GenApi_3_0::CIntegerPtr;

constexpr const char* kWidth = "Width";
constexpr const char* kHeight = "Height";
constexpr const char* kPixelFormat = "PixelFormat";
constexpr const char* kPayloadSize = "PayloadSize";
constexpr const char* kContinuous = "Continuous";
constexpr const char* kStop = "AcquisitionStop";

constexpr std::int64_t kLargestFormat = 0xFFFFFFFF;
constexpr std::uint64_t kLargestPayload = 1U << 30;

/** A side of an image. Up to this limit no product of sides and bits overflows. */
std::uint32_t SideOf(const char* feature, std::int64_t pixels)
{
    constexpr std::int64_t kMost = 1 << 20;
    if (pixels < 1 || pixels > kMost) {
        throw GenICam_3_0::OutOfRangeException(fmt::format(
            "{}: the camera gives {}, where 1 to {} are possible", feature, pixels, kMost));
    }
    return static_cast<std::uint32_t>(pixels);
}

/** What is wrong with the size of a frame, or "": the host allocates as much, several times. */
std::string PayloadFault(std::uint64_t bytes)
{
    return bytes <= kLargestPayload
               ? ""
               : fmt::format("{}: the camera gives {} bytes, where {} are possible", kPayloadSize,
                             bytes, kLargestPayload);
}

/** Some cameras are delivered in another mode; a transfer counts its frames by itself. */
void AcquireForEver(FeatureMap& features)
{
    const CEnumerationPtr mode = features.GetNode("AcquisitionMode");
    if (!mode || mode->GetEntryByName(kContinuous) == nullptr) {
        return;
    }
    const GenApi_3_0::EAccessMode access = mode->GetAccessMode();
    const bool known = GenApi_3_0::IsReadable(access) && mode->ToString() == kContinuous;
    if (!known && GenApi_3_0::IsWritable(access)) {
        mode->FromString(kContinuous);
    }
}

/** In a handler: logs what failed, as far as there is memory for that. */
void LogException(DeferredLog& log, const GEV_DEVICE_INFO& camera, const char* what) noexcept
{
    try {
        try {
            throw;
        } catch (const std::exception& e) {
            log.Add(2, fmt::format("network camera {}: {}: {}", camera.serial, what, e.what()));
        }
    } catch (...) {
    }
}

/** The status of what `work` does, also when it throws; then `what` goes to the log. */
template <class Work>
int Try(DeferredLog& log, const GEV_DEVICE_INFO& camera, const char* what,
        const Work& work) noexcept
{
    try {
        return work();
    } catch (...) { // cancellation is held off by the caller
        LogException(log, camera, what);
        return genapi::StatusOfException();
    }
}

} // namespace

NetCamera::NetCamera(Ref<ArvDevice> opened, const std::shared_ptr<ControlChannel>& channel,
                     const GEV_DEVICE_INFO& info, const Receiver& receiver)
    : info_(info), receiver_(receiver), device_(opened.release(), info.serial, channel),
      features_(device_), nodeMap_(&features_), options_(device_, receiver.own),
      presence_(device_, channel)
{
}

int NetCamera::Make(Ref<ArvDevice> opened, const std::shared_ptr<ControlChannel>& channel,
                    const GEV_DEVICE_INFO& info, const Receiver& receiver,
                    std::unique_ptr<gevplat::Camera>* camera)
{
    const auto failed = [&channel] { return channel->IsAnswering() ? kGevError : kGevNotFound; };
    if (arv_device_get_genicam(opened.get()) == nullptr) {
        gevplat::WriteLog(
            2, fmt::format("network camera {} gives no description of its features", info.serial));
        return failed();
    }
    std::unique_ptr<NetCamera> made(new NetCamera(std::move(opened), channel, info, receiver));
    if (!made->options_.Fault().empty()) {
        gevplat::WriteLog(2, fmt::format("network camera {} doesn't tell its {}", info.serial,
                                         made->options_.Fault()));
        return failed();
    }
    made->StopWhatRuns();
    *camera = std::move(made);
    return kGevOk;
}

NetCamera::~NetCamera()
{
    FreeTransfer();
}

/** A camera that a former session left running may never send a frame to the next one. */
void NetCamera::StopWhatRuns()
{
    DeferredLog log;
    try {
        ExecuteCommand(device_, kStop);
    } catch (const GenICam_3_0::GenericException& e) {
        log.Add(4, fmt::format("network camera {} can't be stopped before it is used: {}",
                               info_.serial, e.what()));
    }
}

std::shared_ptr<Transfer> NetCamera::Current() const
{
    const std::lock_guard lock(transferMutex_);
    return transfer_;
}

int NetCamera::GetOptions(GEV_CAMERA_OPTIONS* options)
{
    const std::lock_guard lock(mutex_);
    *options = options_.Get();
    return kGevOk;
}

int NetCamera::SetOptions(const GEV_CAMERA_OPTIONS& options)
{
    DeferredLog log;
    const std::lock_guard lock(mutex_);
    return Try(log, info_, "the options can't be set", [&] { return options_.Set(options, log); });
}

int NetCamera::GetFeatureValue(const char* feature, int size, void* value)
{
    return genapi::ReadRaw(features_, feature, size, value);
}

int NetCamera::SetFeatureValue(const char* feature, int size, const void* value)
{
    return genapi::WriteRaw(features_, feature, size, value);
}

int NetCamera::GetPayload(std::uint64_t* payloadSize, std::uint32_t* pixelFormat)
{
    device_.Values().ForgetAll(); // memory depends on it, whatever the description says
    std::uint64_t bytes = 0;
    const int status = genapi::ReadRaw(features_, kPayloadSize, sizeof bytes, &bytes);
    if (status != kGevOk) {
        return status;
    }
    const std::string fault = PayloadFault(bytes);
    if (!fault.empty()) {
        gevplat::WriteLog(2, fmt::format("network camera {}: {}", info_.serial, fault));
        return kGevBadValue;
    }
    *payloadSize = bytes;
    return genapi::ReadRaw(features_, kPixelFormat, sizeof *pixelFormat, pixelFormat);
}

int NetCamera::InitializeTransfer(std::uint64_t size, std::uint32_t count, void** buffers)
{
    if (size == 0 || count == 0) {
        return kGevInvalidArgument;
    }
    for (std::uint32_t i = 0; i < count; ++i) {
        if (buffers[i] == nullptr) {
            return kGevInvalidArgument;
        }
    }
    DeferredLog log;
    const std::lock_guard lock(mutex_);
    std::shared_ptr<Transfer> before = Current();
    if (before != nullptr && before->IsStarted()) {
        return kGevBusy;
    }
    if (!device_.IsPresent()) {
        return kGevTimeout;
    }
    if (before != nullptr) {
        before->Retire();
        {
            const std::lock_guard change(transferMutex_);
            transfer_.reset();
        }
        before.reset(); // the stream channel is free only when its stream is gone
    }
    std::shared_ptr<Transfer> made;
    const TransferPlan plan{.bufferBytes = size,
                            .buffers = std::vector<void*>(buffers, buffers + count),
                            .frameTimeoutMs = options_.Get().streamFrameTimeoutMs,
                            .mostRequested = options_.Get().streamMaxPacketResend,
                            .camera = ParseAddress(info_.address).value_or(0),
                            .receiver = receiver_};
    const auto make = receiver_.own ? &OwnTransfer::Make : &LibraryTransfer::Make;
    const int status = make(device_, features_, plan, &made, log);
    const std::lock_guard change(transferMutex_);
    transfer_ = made;
    return status;
}

Geometry NetCamera::ReadGeometry()
{
    const CIntegerPtr width = features_.GetNode(kWidth);
    const CIntegerPtr height = features_.GetNode(kHeight);
    const CEnumerationPtr format = features_.GetNode(kPixelFormat);
    Geometry geometry;
    geometry.width = SideOf(kWidth, width->GetValue());
    geometry.height = SideOf(kHeight, height->GetValue());
    // Bits 16 to 23 of a format code are the bits that one pixel takes.
    const std::int64_t code = format->GetIntValue();
    const auto bits = static_cast<std::uint64_t>(code) >> 16 & 0xFF;
    if (bits == 0 || code < 0 || code > kLargestFormat) {
        throw GenICam_3_0::OutOfRangeException(
            fmt::format("{}: the camera gives {:#x}, which is no format", kPixelFormat, code));
    }
    constexpr std::uint64_t kBitsPerByte = 8;
    geometry.imageBytes =
        (std::uint64_t{geometry.width} * geometry.height * bits + kBitsPerByte - 1) / kBitsPerByte;
    if (genapi::ReadRaw(features_, kPayloadSize, sizeof geometry.payloadBytes,
                        &geometry.payloadBytes) != kGevOk) {
        geometry.payloadBytes = geometry.imageBytes;
    }
    const std::string fault = PayloadFault(geometry.payloadBytes);
    if (!fault.empty()) {
        throw GenICam_3_0::OutOfRangeException(fault);
    }
    if (geometry.payloadBytes < geometry.imageBytes) {
        throw GenICam_3_0::OutOfRangeException(fmt::format(
            "{}: the camera gives {} bytes, but {} x {} pixels of {} bits take {}", kPayloadSize,
            geometry.payloadBytes, geometry.width, geometry.height, bits, geometry.imageBytes));
    }
    return geometry;
}

int NetCamera::StartTransfer(std::uint32_t frames)
{
    DeferredLog log;
    const std::lock_guard lock(mutex_);
    const std::shared_ptr<Transfer> transfer = Current();
    if (transfer == nullptr) {
        return kGevNotReady;
    }
    if (frames == 0) {
        return kGevInvalidArgument;
    }
    if (transfer->IsStarted()) {
        return kGevBusy;
    }
    const int status = Try(log, info_, "frames can't be started", [&]() -> int {
        device_.Values().ForgetAll(); // as in GetPayload
        const Geometry geometry = ReadGeometry();
        AcquireForEver(features_);
        features_.LockTransferParameters(true);
        transfer->Start(frames, geometry, ReadPace(features_));
        ExecuteCommand(device_, "AcquisitionStart");
        return kGevOk;
    });
    transfer->StartWasRefused(status != kGevOk);
    if (status != kGevOk) {
        Halt(*transfer, log);
    }
    return status;
}

int NetCamera::Halt(Transfer& transfer, DeferredLog& log)
{
    const SessionEnd reachesOut;
    const int status = Try(log, info_, "frames can't be stopped", [&]() -> int {
        ExecuteCommand(device_, kStop);
        return kGevOk;
    });
    transfer.Stop();
    const int unlocked = Try(log, info_, "the region can't be unlocked", [&]() -> int {
        features_.LockTransferParameters(false);
        return kGevOk;
    });
    return status == kGevOk ? unlocked : status;
}

int NetCamera::AbortTransfer()
{
    DeferredLog log;
    const std::lock_guard lock(mutex_);
    const std::shared_ptr<Transfer> transfer = Current();
    return transfer == nullptr ? static_cast<int>(kGevNotReady) : Halt(*transfer, log);
}

int NetCamera::FreeTransfer()
{
    DeferredLog log;
    const SessionEnd reachesOut;
    const std::lock_guard lock(mutex_);
    std::shared_ptr<Transfer> transfer = Current();
    if (transfer == nullptr) {
        return kGevNotReady;
    }
    if (transfer->IsStarted()) {
        Halt(*transfer, log);
    }
    transfer->Retire();
    const GEV_TRANSFER_STATISTICS counts = transfer->Statistics();
    const std::lock_guard change(transferMutex_);
    counts_ = counts;
    transfer_.reset();
    return kGevOk;
}

int NetCamera::WaitForNextFrame(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs)
{
    const std::shared_ptr<Transfer> transfer = Current();
    *frame = nullptr;
    return transfer == nullptr ? static_cast<int>(kGevNotReady) : transfer->Wait(frame, timeoutMs);
}

int NetCamera::ReleaseFrame(_tag_GEVBUF_ENTRY* frame)
{
    const std::shared_ptr<Transfer> transfer = Current();
    return transfer == nullptr ? static_cast<int>(kGevNotReady) : transfer->Release(frame);
}

GEV_TRANSFER_STATISTICS NetCamera::Statistics()
{
    const std::lock_guard lock(transferMutex_);
    return transfer_ == nullptr ? counts_ : transfer_->Statistics();
}

} // namespace net
