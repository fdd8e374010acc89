#include "net/stream/own_transfer.h"

#include "core/interruption.h"
#include "net/control/gvcp.h"
#include "net/stream/gvsp_packet.h"
#include "net/stream/transfer_parts.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>
#include <utility>

namespace net
{

namespace
{

using Clock = StreamReceiver::Clock;

constexpr Ns kNsPerUs = 1000;
constexpr Ns kReorderWindow = 1'000'000;
constexpr Ns kLongestRequest = 10'000'000;

constexpr std::uint32_t kSendsAgain = 1U << 2; ///< of the capabilities

// The system counts a packet in a receive buffer as about twice its bytes.
constexpr std::uint64_t kOverhead = 2;
constexpr std::uint64_t kFewFrames = 4;
constexpr std::uint64_t kSmallestWish = std::uint64_t{32} << 20;
constexpr std::uint64_t kLargestWish = std::uint64_t{256} << 20;

const char* ReasonOf(FrameFault fault)
{
    switch (fault) {
    case FrameFault::TooLarge:
        return "they are larger than the buffers";
    case FrameFault::UnknownPayload:
        return "only images, with chunk data or without, can be received";
    case FrameFault::Malformed:
        return "their packets contradict each other";
    case FrameFault::None:
    case FrameFault::PacketsMissing:
    case FrameFault::Refused:
        break;
    }
    return nullptr;
}

} // namespace

OwnTransfer::OwnTransfer(Device& device, FeatureMap& features, const TransferPlan& plan)
    : device_(device), features_(features), plan_(plan), places_(plan.buffers.size())
{
    for (void* buffer : plan.buffers) {
        buffers_.push_back(static_cast<std::uint8_t*>(buffer));
    }
}

int OwnTransfer::Make(Device& device, FeatureMap& features, const TransferPlan& plan,
                      std::shared_ptr<Transfer>* transfer, DeferredLog& log)
{
    const std::shared_ptr<OwnTransfer> made(new OwnTransfer(device, features, plan));
    auto socket = std::make_unique<StreamSocket>();
    const std::uint64_t enough = kFewFrames * kOverhead * plan.bufferBytes;
    const std::string unopened =
        socket->Open(plan.camera, std::clamp(enough, kSmallestWish, kLargestWish) / kOverhead);
    if (!unopened.empty()) {
        log.Add(2, fmt::format("network camera {} can't be received from: {}", device.Serial(),
                               unopened));
        return kGevError;
    }
    if (socket->BufferBytes() < enough) {
        log.Add(3, fmt::format("network camera {}: the receive buffer of its stream holds {} "
                               "bytes, less than {} frames; what doesn't fit while the receiving "
                               "thread is late is lost: sysctl -w net.core.rmem_max={}",
                               device.Serial(), socket->BufferBytes() / kOverhead, kFewFrames,
                               enough / kOverhead));
    }
    const std::string failed = made->OpenChannel(*socket);
    if (!failed.empty()) {
        log.Add(2, fmt::format("network camera {} gives no stream: {}", device.Serial(), failed));
        return kGevError;
    }
    made->receiver_ = std::make_unique<StreamReceiver>(
        std::move(socket), made->SettingsFor({.payloadBytes = plan.bufferBytes}, {}),
        made->buffers_);
    for (std::uint32_t i = 0; i < made->buffers_.size(); ++i) {
        made->receiver_->AddBuffer(i);
    }
    const std::string refused = made->receiver_->Begin(plan.receiver);
    if (!refused.empty()) {
        log.Add(2, fmt::format("the thread that receives from network camera {} runs as any other: "
                               "{}",
                               device.Serial(), refused));
    }
    *transfer = made;
    return kGevOk;
}

std::string OwnTransfer::OpenChannel(const StreamSocket& socket)
{
    const std::lock_guard lock(device_.Mutex());
    ErrorSlot error;
    guint32 capability = 0;
    arv_device_read_register(device_.Handle(), kCapability, &capability, error.Out());
    sendsAgain_ = !error && (capability & kSendsAgain) != 0;
    packetSize_ = arv_gv_device_get_packet_size(ARV_GV_DEVICE(device_.Handle()), error.Out()) &
                  kPacketSizeBits;
    if (!error && !PacketSizeFault(packetSize_).empty()) {
        return PacketSizeFault(packetSize_);
    }
    const auto write = [this, &error](std::uint32_t address, std::uint32_t value) {
        return !error &&
               arv_device_write_register(device_.Handle(), address, value, error.Out()) != FALSE;
    };
    channelOpen_ =
        write(kStreamDestination, socket.OwnAddress()) && write(kStreamPort, socket.OwnPort());
    if (channelOpen_) {
        counts_.Make(packetSize_);
        chunks_ = ChunkValues::Make(device_.Handle());
    }
    return error.Text();
}

void OwnTransfer::CloseChannel()
{
    const std::lock_guard lock(device_.Mutex());
    if (std::exchange(channelOpen_, false)) { // a camera that is gone has no channel any more
        arv_device_write_register(device_.Handle(), kStreamPort, 0, nullptr);
    }
}

ReassemblySettings OwnTransfer::SettingsFor(const Geometry& geometry, const Pace& pace) const
{
    const auto buffers = static_cast<std::uint32_t>(buffers_.size());
    const Ns retention = HoldBackUs(pace, buffers, plan_.frameTimeoutMs) * kNsPerUs;
    return {.bufferBytes = plan_.bufferBytes,
            .packetSize = packetSize_,
            .payloadBytes = geometry.payloadBytes,
            .requests = sendsAgain_ && plan_.mostRequested > 0,
            .mostRequested = plan_.mostRequested,
            .reorderWindow = kReorderWindow,
            .requestTimeout = std::min(retention / kRequests, kLongestRequest),
            .retention = retention};
}

bool OwnTransfer::IsStarted() const
{
    const std::lock_guard lock(mutex_);
    return started_;
}

void OwnTransfer::Start(std::uint32_t frames, const Geometry& geometry, const Pace& pace)
{
    guint32 port = 0;
    {
        const std::lock_guard lock(device_.Mutex());
        if (arv_device_read_register(device_.Handle(), kStreamSource, &port, nullptr) == FALSE) {
            port = 0;
        }
    }
    const StreamSource source{static_cast<std::uint16_t>(port), geometry.width, geometry.height};
    const std::lock_guard lock(mutex_);
    geometry_ = geometry;
    counts_.Start();
    framesLeft_ = frames == kForEverAsked ? kForEver : frames;
    acquisition_ = receiver_->Start(SettingsFor(geometry, pace), source);
    started_ = true;
}

void OwnTransfer::StartWasRefused(bool refused)
{
    const std::lock_guard lock(mutex_);
    counts_.StartWasRefused(refused);
}

void OwnTransfer::Stop()
{
    const std::lock_guard lock(mutex_);
    started_ = false;
    receiver_->Stop();
    ForgetFrameValues();
}

void OwnTransfer::Retire()
{
    {
        const std::lock_guard lock(mutex_);
        started_ = false;
        retired_ = true;
        if (receiver_ != nullptr) {
            receiver_->End();
        }
    }
    CloseChannel();
}

int OwnTransfer::Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs)
{
    *frame = nullptr;
    DeferredLog log;
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        ArrivedFrame arrived;
        const bool came = receiver_->Next(&arrived, std::min(end, Clock::now() + kSlice));
        const std::lock_guard lock(mutex_);
        if (retired_) {
            return kGevNotReady;
        }
        if (came && started_ && arrived.acquisition == acquisition_ && framesLeft_ > 0) {
            Place& place = Deliver(arrived, log);
            *frame = &place.entry;
            return place.entry.status;
        }
        if (came) {
            receiver_->AddBuffer(arrived.frame.buffer);
        } else if (Clock::now() >= end || gevplat::Interruption::IsOn()) {
            return kGevTimeout;
        }
    }
}

OwnTransfer::Place& OwnTransfer::Deliver(const ArrivedFrame& arrived, DeferredLog& log)
{
    const ReceivedFrame& frame = arrived.frame;
    // A camera may call a frame complete that is smaller than its image.
    const bool complete =
        frame.fault == FrameFault::None && frame.hasLeader && frame.bytes >= geometry_.imageBytes;
    framesLeft_ -= framesLeft_ == kForEver ? 0 : 1;
    const GEV_FRAME_RECEPTION reception = counts_.Delivered(frame, complete, receiver_->Counts());
    Place& place = places_[frame.buffer];
    Describe(place, arrived, complete);
    place.entry.reception = reception;
    ForgetFrameValues();
    if (complete) {
        ReadFrameValues(place.entry);
    } else {
        ReportLosses(frame, log);
    }
    place.taken = true;
    return place;
}

void OwnTransfer::Describe(Place& place, const ArrivedFrame& arrived, bool complete)
{
    const ReceivedFrame& frame = arrived.frame;
    _tag_GEVBUF_ENTRY& entry = place.entry;
    entry = {};
    entry.status = complete ? kGevOk : kGevIncomplete;
    entry.frameId = static_cast<std::uint32_t>(frame.number);
    entry.frameNumber = frame.number;
    entry.arrivalNs = arrived.arrivalNs;
    entry.timestamp = frame.ticks;
    entry.timestampHigh = static_cast<std::uint32_t>(frame.ticks >> 32);
    entry.timestampLow = static_cast<std::uint32_t>(frame.ticks);
    entry.width = geometry_.width;
    entry.height = geometry_.height;
    entry.address = buffers_[frame.buffer];
    entry.receivedBytes = std::min(frame.bytes, geometry_.imageBytes);
    if (!complete) {
        return;
    }
    if (HasGeometry(frame.payloadType)) { // the frame says it itself
        entry.width = frame.width;
        entry.height = frame.height;
    }
    if (HasChunks(frame.payloadType) && frame.bytes > geometry_.imageBytes) {
        entry.chunkData = buffers_[frame.buffer] + geometry_.imageBytes;
        entry.chunkSize = static_cast<std::uint32_t>(frame.bytes - geometry_.imageBytes);
    }
}

/** Without chunks that are read there are no such values. */
void OwnTransfer::ForgetFrameValues()
{
    if (chunks_ != nullptr) {
        features_.ForgetFrameValues();
    }
}

/** Gain and exposure time of the frame itself, when it has them in its chunks. The camera's lock
 * isn't needed, which an access of another thread may hold for long. */
void OwnTransfer::ReadFrameValues(const _tag_GEVBUF_ENTRY& entry)
{
    if (chunks_ == nullptr || entry.chunkData == nullptr) {
        return;
    }
    for (const ChunkValues::Value& value : chunks_->Values()) {
        const std::optional<double> read = chunks_->Read(value, {entry.chunkData, entry.chunkSize});
        if (read) { // a frame without this chunk is as good as any
            features_.SetFrameValue(value.feature, *read);
        }
    }
}

/** Each reason once. */
void OwnTransfer::ReportLosses(const ReceivedFrame& frame, DeferredLog& log)
{
    const char* const reason = ReasonOf(frame.fault);
    const std::uint32_t bit = 1U << static_cast<unsigned>(frame.fault);
    if (reason != nullptr && (reported_ & bit) == 0) {
        reported_ |= bit;
        log.Add(2, fmt::format("network camera {}: frames of payload type 0x{:04x} stay "
                               "incomplete: {}",
                               device_.Serial(), frame.payloadType, reason));
    }
    if (!reportedDrops_ && receiver_->Dropped() > 0) {
        reportedDrops_ = true;
        log.Add(2, fmt::format("network camera {}: packets found no room in the receive buffer of "
                               "its stream, which holds {} bytes, since the receiving thread was "
                               "late",
                               device_.Serial(), receiver_->Socket().BufferBytes() / kOverhead));
    }
}

int OwnTransfer::Release(_tag_GEVBUF_ENTRY* frame)
{
    const std::lock_guard lock(mutex_);
    Place* const place = PlaceOf(places_, frame);
    if (place == nullptr || !place->taken) {
        return kGevInvalidArgument;
    }
    place->taken = false;
    receiver_->AddBuffer(static_cast<std::uint32_t>(place - places_.data()));
    return kGevOk;
}

GEV_TRANSFER_STATISTICS OwnTransfer::Statistics() const
{
    const std::lock_guard lock(mutex_);
    return counts_.Read(receiver_->Counts());
}

} // namespace net
