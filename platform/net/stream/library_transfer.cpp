#include "net/stream/library_transfer.h"

#include "base/signals_blocked.h"
#include "core/interruption.h"
#include "net/stream/transfer_parts.h"

#include <algorithm>
#include <chrono>
#include <fmt/format.h>

namespace net
{

namespace
{

using Clock = std::chrono::steady_clock;

constexpr std::uint32_t kPacketTimeoutUs = 20'000; ///< after which a packet is requested again

constexpr const char* kChunkGain = "ChunkGain";
constexpr const char* kChunkExposure = "ChunkExposureTime";

/** Fills a buffer until the packet comes that begins a frame. */
constexpr std::uint64_t kNoNumber = ~std::uint64_t{0};

std::size_t BytesOf(ArvBuffer* buffer)
{
    std::size_t size = 0;
    arv_buffer_get_data(buffer, &size);
    return size;
}

/** Null without a chunk that is read: looking for one that isn't there would cost every frame. */
Ref<ArvChunkParser> MakeChunkParser(ArvDevice* device)
{
    if (arv_device_get_feature(device, kChunkGain) == nullptr &&
        arv_device_get_feature(device, kChunkExposure) == nullptr) {
        return nullptr;
    }
    return Ref<ArvChunkParser>(arv_device_create_chunk_parser(device));
}

} // namespace

std::uint64_t TicksOf(std::uint64_t ns, std::uint64_t frequency)
{
    constexpr std::uint64_t kNsPerS = 1'000'000'000;
    const std::uint64_t rest = ns % kNsPerS * frequency;
    return ns / kNsPerS * frequency + (rest + kNsPerS - 1) / kNsPerS;
}

LibraryTransfer::LibraryTransfer(Device& device, FeatureMap& features)
    : device_(device), features_(features)
{
}

int LibraryTransfer::Make(Device& device, FeatureMap& features, const TransferPlan& plan,
                          std::shared_ptr<Transfer>* transfer, DeferredLog& log)
{
    const base::SignalsBlocked blocked;
    const std::lock_guard lock(device.Mutex());
    const std::shared_ptr<LibraryTransfer> made(new LibraryTransfer(device, features));
    ErrorSlot error;
    made->stream_.reset(
        arv_device_create_stream(device.Handle(), &OnStream, &made->starts_, error.Out()));
    if (made->stream_ == nullptr) {
        log.Add(
            2, fmt::format("network camera {} gives no stream: {}", device.Serial(), error.Text()));
        return kGevError;
    }
    made->starts_.Follow(made->stream_.get(), plan.buffers.size());
    made->frameTimeoutMs_ = plan.frameTimeoutMs;
    made->bufferBytes_ = plan.bufferBytes;
    g_object_set(made->stream_.get(), "socket-buffer", ARV_GV_STREAM_SOCKET_BUFFER_AUTO, nullptr);
    auto* const camera = ARV_GV_DEVICE(device.Handle());
    const std::uint64_t packetSize =
        arv_gv_device_get_packet_size(camera, error.Out()) & kPacketSizeBits;
    if (!error) {
        made->tickFrequency_ = device.TickFrequency(error.Out());
    }
    const std::string fault = error ? error.Text() : PacketSizeFault(packetSize);
    if (!fault.empty()) {
        log.Add(2, fmt::format("network camera {} doesn't tell how it streams: {}", device.Serial(),
                               fault));
        return kGevError;
    }
    made->counts_.Make(packetSize, plan.bufferBytes);
    made->chunks_ = MakeChunkParser(device.Handle());
    made->places_.resize(plan.buffers.size());
    for (std::size_t i = 0; i < plan.buffers.size(); ++i) {
        Place& place = made->places_[i];
        place.buffer.reset(arv_buffer_new_full(plan.bufferBytes, plan.buffers[i], &place, nullptr));
        made->Push(ARV_BUFFER(g_object_ref(place.buffer.get())));
    }
    *transfer = made;
    return kGevOk;
}

LibraryTransfer::~LibraryTransfer()
{
    const std::lock_guard lock(device_.Mutex());
    stream_.reset();
}

bool LibraryTransfer::IsStarted() const
{
    const std::lock_guard lock(mutex_);
    return started_;
}

void LibraryTransfer::Start(std::uint32_t frames, const Geometry& geometry, const Pace& pace)
{
    const base::SignalsBlocked blocked;
    const std::lock_guard lock(mutex_);
    geometry_ = geometry;
    counts_.Start(geometry.payloadBytes);
    framesLeft_ = frames == kForEverAsked ? kForEver : frames;
    const std::uint32_t holdBackUs =
        HoldBackUs(pace, static_cast<std::uint32_t>(places_.size()), frameTimeoutMs_);
    g_object_set(stream_.get(), "frame-retention", holdBackUs, "packet-timeout",
                 std::min(holdBackUs / kRequests, kPacketTimeoutUs), nullptr);
    if (!running_) { // a new thread, or the frames that begin at 1 again are taken for late ones
        arv_stream_start_thread(stream_.get());
        running_ = true;
    }
    started_ = true;
}

void LibraryTransfer::StartWasRefused(bool refused)
{
    const std::lock_guard lock(mutex_);
    counts_.StartWasRefused(refused);
}

void LibraryTransfer::Stop()
{
    const std::lock_guard lock(mutex_);
    started_ = false;
    if (running_) {
        arv_stream_stop_thread(stream_.get(), FALSE);
        running_ = false;
    }
    starts_.Clear();
    ForgetFrameValues();
}

void LibraryTransfer::Retire()
{
    const base::SignalsBlocked blocked;
    const std::lock_guard lock(mutex_);
    started_ = false;
    retired_ = true;
    // The stream releases its buffers only when its thread is stopped, and needs a running thread
    // when it is destroyed itself; the new one has no buffer to write to.
    if (!running_) {
        arv_stream_start_thread(stream_.get());
    }
    arv_stream_stop_thread(stream_.get(), TRUE);
    arv_stream_start_thread(stream_.get());
    running_ = true;
}

/** Gives a buffer, and the reference to it, to the stream. A frame whose first packet is lost
 *  leaves number and time as they are, so those of the buffer's last frame are taken out. */
void LibraryTransfer::Push(ArvBuffer* buffer)
{
    arv_buffer_set_frame_id(buffer, kNoNumber);
    arv_buffer_set_timestamp(buffer, 0);
    arv_stream_push_buffer(stream_.get(), buffer);
}

int LibraryTransfer::Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs)
{
    *frame = nullptr;
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    for (;;) {
        const auto left =
            std::clamp(std::chrono::duration_cast<std::chrono::microseconds>(end - Clock::now()),
                       std::chrono::microseconds(0), std::chrono::microseconds(kSlice));
        ArvBuffer* buffer =
            arv_stream_timeout_pop_buffer(stream_.get(), static_cast<guint64>(left.count()));
        const std::lock_guard lock(mutex_);
        if (buffer != nullptr) {
            int status = kGevOk;
            Place* const place = Receive(buffer, &status);
            if (place != nullptr) {
                *frame = &place->entry;
                return status;
            }
            continue;
        }
        if (retired_) {
            return kGevNotReady;
        }
        if (Clock::now() >= end || gevplat::Interruption::IsOn()) {
            return kGevTimeout;
        }
    }
}

/** On the receiver's thread. */
void LibraryTransfer::OnStream(void* starts, ArvStreamCallbackType event, ArvBuffer*) noexcept
{
    if (event == ARV_STREAM_CALLBACK_TYPE_START_BUFFER) {
        static_cast<FrameStarts*>(starts)->Add();
    }
}

LibraryTransfer::Place* LibraryTransfer::Receive(ArvBuffer* buffer, int* status)
{
    const ArvBufferStatus result = arv_buffer_get_status(buffer);
    if (retired_) {
        g_object_unref(buffer); // nothing may be written to it any more
        return nullptr;
    }
    if (result == ARV_BUFFER_STATUS_CLEARED) { // ignored: the library doesn't know its payload type
        if (started_) {
            counts_.HadUnknownPayload(); // the packets behind it become a frame without a number
        }
        Push(buffer);
        return nullptr;
    }
    DeliveredFrame frame;
    const FrameStart start = starts_.Take(&frame.end);
    if (result == ARV_BUFFER_STATUS_ABORTED || !started_ || framesLeft_ == 0) {
        Push(buffer);
        return nullptr;
    }
    auto& place = *const_cast<Place*>(static_cast<const Place*>(arv_buffer_get_user_data(buffer)));
    if (arv_buffer_get_frame_id(buffer) != kNoNumber) {
        frame.number = arv_buffer_get_frame_id(buffer);
    }
    // Without its number a frame lacks at least the packet that has it.
    frame.complete = result == ARV_BUFFER_STATUS_SUCCESS && frame.number && HoldsImage(buffer);
    frame.bytes = BytesOf(buffer);
    frame.begin = start.before;
    frame.resent = starts_.Now().resent;
    framesLeft_ -= framesLeft_ == kForEver ? 0 : 1;
    place.entry = {};
    place.entry.frameId = static_cast<std::uint32_t>(counts_.Came(frame, &place.entry.reception));
    place.entry.frameNumber = frame.number.value_or(0);
    place.entry.arrivalNs = start.realTimeNs;
    Describe(place, frame.complete);
    if (frame.complete) {
        ReadFrameValues(buffer);
        *status = kGevOk;
    } else {
        ForgetFrameValues();
        place.entry.reception.fault = FaultOf(buffer, frame.number.has_value());
        *status = kGevIncomplete;
    }
    place.taken = true;
    g_object_unref(buffer); // the place has its own reference
    return &place;
}

/** The library also calls a frame a success when it was cut to the buffer's size. */
bool LibraryTransfer::HoldsImage(ArvBuffer* buffer) const
{
    return BytesOf(buffer) >= geometry_.imageBytes;
}

/** The library doesn't distinguish a refusal from a packet that did not come in time. */
GevFrameFault LibraryTransfer::FaultOf(ArvBuffer* buffer, bool hasNumber) const
{
    switch (arv_buffer_get_status(buffer)) {
    case ARV_BUFFER_STATUS_SIZE_MISMATCH:
        return kGevBufferTooSmall;
    case ARV_BUFFER_STATUS_WRONG_PACKET_ID:
        return kGevContradictory;
    case ARV_BUFFER_STATUS_SUCCESS:
        if (hasNumber) {
            return BytesOf(buffer) < bufferBytes_ ? kGevSmallerThanImage : kGevBufferTooSmall;
        }
        break;
    default:
        break;
    }
    return kGevPacketsMissing;
}

void LibraryTransfer::Describe(Place& place, bool complete)
{
    ArvBuffer* const buffer = place.buffer.get();
    std::size_t size = 0;
    const void* const data = arv_buffer_get_data(buffer, &size);
    const std::uint64_t ticks = TicksOf(arv_buffer_get_timestamp(buffer), tickFrequency_);
    _tag_GEVBUF_ENTRY& entry = place.entry;
    entry.status = complete ? kGevOk : kGevIncomplete;
    entry.timestamp = ticks;
    entry.timestampHigh = static_cast<std::uint32_t>(ticks >> 32);
    entry.timestampLow = static_cast<std::uint32_t>(ticks);
    entry.width = geometry_.width;
    entry.height = geometry_.height;
    entry.address = const_cast<void*>(data);
    entry.receivedBytes = std::min<std::uint64_t>(size, geometry_.imageBytes);
    if (!complete) {
        return;
    }
    const ArvBufferPayloadType payload = arv_buffer_get_payload_type(buffer);
    if (payload == ARV_BUFFER_PAYLOAD_TYPE_IMAGE) { // the frame says it itself
        entry.width = static_cast<std::uint32_t>(arv_buffer_get_image_width(buffer));
        entry.height = static_cast<std::uint32_t>(arv_buffer_get_image_height(buffer));
    } else if (arv_buffer_has_chunks(buffer) && size > geometry_.imageBytes) {
        entry.chunkData = static_cast<const std::uint8_t*>(data) + geometry_.imageBytes;
        entry.chunkSize = static_cast<std::uint32_t>(size - geometry_.imageBytes);
    }
}

/** Without a parser there are no such values, and the device's lock isn't needed. */
void LibraryTransfer::ForgetFrameValues()
{
    if (chunks_ != nullptr) {
        features_.ForgetFrameValues();
    }
}

/** Gain and exposure time of the frame itself, when it has them in its chunks. */
void LibraryTransfer::ReadFrameValues(ArvBuffer* buffer)
{
    ForgetFrameValues();
    if (chunks_ == nullptr || !arv_buffer_has_chunks(buffer)) {
        return;
    }
    static constexpr struct {
        const char* chunk;
        const char* feature;
    } kValues[] = {{kChunkGain, "Gain"}, {kChunkExposure, "ExposureTime"}};
    for (const auto& row : kValues) {
        ErrorSlot error;
        const double value =
            arv_chunk_parser_get_float_value(chunks_.get(), buffer, row.chunk, error.Out());
        if (!error) { // a frame without this chunk is as good as any
            features_.SetFrameValue(row.feature, value);
        }
    }
}

int LibraryTransfer::Release(_tag_GEVBUF_ENTRY* frame)
{
    const std::lock_guard lock(mutex_);
    Place* const place = PlaceOf(places_, frame);
    if (place == nullptr || !place->taken) {
        return kGevInvalidArgument;
    }
    place->taken = false;
    if (!retired_) {
        Push(ARV_BUFFER(g_object_ref(place->buffer.get())));
    }
    return kGevOk;
}

GEV_TRANSFER_STATISTICS LibraryTransfer::Statistics() const
{
    const std::lock_guard lock(mutex_);
    return counts_.Read(starts_.Now());
}

} // namespace net
