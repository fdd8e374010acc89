#include "tools/kvcam/stream/sim_acquisition.h"

#include "base/pixel_format.h"
#include "base/signals_blocked.h"
#include "sim/camera/camera_model.h"

#include <algorithm>
#include <array>
#include <new>
#include <sys/prctl.h>
#include <utility>

namespace kvcam
{

namespace
{

constexpr std::uint32_t kWaitMs = 100;
/** Buffers beyond those of the frames in memory: for the one that is sent, the one that is sent
 *  again, and those that are exposed meanwhile. */
constexpr std::size_t kMoreBuffers = 6;
constexpr unsigned kAllChunks = (1U << sim::kChunkKinds) - 1;
constexpr std::size_t kMostChunkBytes = 64;
constexpr std::uint32_t kIpAndUdpBytes = 28;
constexpr std::size_t kLargestDatagram = 65507;

PacketClock ClockOf(const sim::CameraModel& model)
{
    const std::uint64_t frequency = model.Setup().tickFrequency;
    return {.nowNs = [&model] { return model.Time().NowNs(); },
            .sleepUntilNs = [&model](std::int64_t ns) { model.Time().SleepUntilNs(ns); },
            .tickFrequency = frequency == 0 ? 1'000'000'000 : static_cast<std::int64_t>(frequency)};
}

} // namespace

struct SimAcquisition::Buffers {
    Buffers(std::size_t count, std::size_t bufferBytes) : bytes(bufferBytes)
    {
        for (std::size_t i = 0; i < count; ++i) {
            memory.push_back(std::make_unique_for_overwrite<std::uint8_t[]>(bytes));
            places.push_back(memory.back().get());
        }
    }
    /** Frames that nobody paints show a ramp. */
    void FillWithRamp()
    {
        for (const auto& buffer : memory) {
            std::uint8_t grey = 0;
            std::generate_n(buffer.get(), bytes, [&grey] { return grey++; });
        }
    }

    const std::size_t bytes;
    std::vector<std::unique_ptr<std::uint8_t[]>> memory;
    std::vector<void*> places;
};

SimAcquisition::SimAcquisition(sim::CameraModel& model, std::uint32_t address,
                               StreamSettings settings)
    : model_(model),
      settings_(std::move(settings)), channel_{.socket = StreamSocket(address),
                                               .strangersSocket = StreamSocket(address),
                                               .clock = ClockOf(model),
                                               .isPresent = [&model] { return model.IsPresent(); },
                                               .faultsMutex = {},
                                               .faults = StreamFaults(settings_.faults,
                                                                      model.Setup().serial)},
      answers_(channel_, settings_.resendDepth), sender_(channel_)
{
    channel_.sendLater = [this](std::vector<std::uint8_t> datagram, std::int64_t whenNs) {
        answers_.SendLater(std::move(datagram), whenNs);
    };
    if (!settings_.segments) {
        channel_.socket.ForbidSegments();
    }
}

SimAcquisition::~SimAcquisition()
{
    Stop();
}

void SimAcquisition::SetTarget(const StreamTarget& target)
{
    channel_.socket.SetTarget(target);
    channel_.strangersSocket.SetTarget(target);
}

void SimAcquisition::Resend(const ResendRange& range)
{
    answers_.Request(range);
}

/** A packet of block 0, which no frame has. */
void SimAcquisition::SendTestPacket()
{
    const std::uint32_t size = channel_.socket.Target().packetSize;
    const Packet header = HeaderOf({.block = 0}, 0, PacketContent::Payload, 0);
    std::vector<std::uint8_t> datagram(std::clamp<std::size_t>(
        std::max(size, kIpAndUdpBytes) - kIpAndUdpBytes, header.headerBytes, kLargestDatagram));
    std::copy_n(header.header.begin(), header.headerBytes, datagram.begin());
    if (model_.IsPresent()) {
        FaultyChannel(channel_).SendDatagram(datagram);
    }
}

Status SimAcquisition::Start(std::uint32_t frames)
{
    const std::lock_guard lock(control_);
    if (running_) {
        return Status::Done;
    }
    Join();
    answers_.Forget();
    if (const Status status = Prepare(frames); status != Status::Done) {
        return status;
    }
    limited_ = frames != kForEver;
    stop_ = false;
    running_ = true;
    const base::SignalsBlocked blocked;
    thread_ = std::thread([this] { Run(); });
    return Status::Done;
}

Status SimAcquisition::Prepare(std::uint32_t frames)
{
    const genapi::AccessScope scope(model_);
    if (!model_.IsPresent()) {
        return Status::NoAnswer;
    }
    sim::Stream& stream = model_.Frames();
    const std::size_t bytes = model_.Features().PixelBytes() + sim::ChunkBytes(kAllChunks);
    try {
        buffers_ = std::make_shared<Buffers>(settings_.resendDepth + kMoreBuffers, bytes);
    } catch (const std::bad_alloc&) {
        return Status::Error;
    }
    if (model_.Setup().picture == sim::Picture::Plain) {
        buffers_->FillWithRamp();
    }
    ++transfer_;
    const auto count = static_cast<std::uint32_t>(buffers_->places.size());
    stream.Configure(count, channel_.socket.Target().packetSize); // all may wait when we are late
    if (stream.Initialize(bytes, count, buffers_->places.data()) != kGevOk ||
        stream.Start(frames) != kGevOk) {
        return Status::Busy; // somebody else takes frames from the model
    }
    return Status::Done;
}

Status SimAcquisition::Stop()
{
    const std::lock_guard lock(control_);
    stop_ = true;
    if (running_) {
        const genapi::AccessScope scope(model_);
        model_.Frames().Abort();
    }
    Join();
    return Status::Done;
}

/** Waits for the end of the thread, if there is one. */
void SimAcquisition::Join()
{
    if (!thread_.joinable()) {
        return;
    }
    thread_.join();
    const genapi::AccessScope scope(model_);
    model_.Frames().Free();
    running_ = false;
}

void SimAcquisition::Run()
{
    prctl(PR_SET_TIMERSLACK, 1UL); // ns; the delay between packets is shorter than the usual slack
    while (!stop_ && !IsOver()) {
        _tag_GEVBUF_ENTRY* entry = nullptr;
        model_.Frames().Wait(&entry, kWaitMs);
        if (entry == nullptr) {
            continue;
        }
        const std::shared_ptr<SentFrame> frame = Take(*entry);
        answers_.Remember(frame);
        sender_.Send(frame.get(), 0, frame->packets.Trailer(), false, stop_);
    }
    const genapi::AccessScope scope(model_);
    model_.Frames().Abort(); // the camera's settings aren't locked any more
    running_ = false;
}

/** All frames that were asked for have left, or are lost. */
bool SimAcquisition::IsOver() const
{
    if (!limited_) {
        return false;
    }
    const genapi::AccessScope scope(model_);
    return model_.Frames().IsOver();
}

/** Its pixels stay in the stream's buffer. */
std::shared_ptr<SentFrame> SimAcquisition::Take(const _tag_GEVBUF_ENTRY& entry)
{
    // In place of the chunks of an incomplete frame, which are never sent.
    static constexpr std::array<std::uint8_t, kMostChunkBytes> kMissingChunks{};
    const StreamTarget target = channel_.socket.Target();
    FrameContent content;
    bool chunks = false;
    std::uint64_t transfer = 0;
    {
        const genapi::AccessScope scope(model_);
        const sim::CameraFeatures& features = model_.Features();
        const auto region = features.FrameRegion();
        content.offsetX = region.offsetX;
        content.offsetY = region.offsetY;
        content.pixelFormat = static_cast<std::uint32_t>(features.pixelFormat->Value());
        chunks = features.chunkMode->Value() || entry.chunkData != nullptr;
        content.chunks = {kMissingChunks.data(), sim::ChunkBytes(features.ChunksOn())};
        transfer = transfer_;
    }
    content.width = entry.width;
    content.height = entry.height;
    const std::size_t bytes = base::PictureBytes(entry.width, entry.height, content.pixelFormat);
    const bool there = entry.address != nullptr; // if not, only leader and trailer are
    const void* const memory = there ? entry.address : buffers_->places.front();
    content.pixels = {static_cast<const std::uint8_t*>(memory), std::min(bytes, buffers_->bytes)};
    content.pixelsThere =
        there ? std::min<std::size_t>(entry.receivedBytes, content.pixels.size()) : 0;
    if (entry.status == kGevOk) {
        content.chunks = {entry.chunkData, entry.chunkData == nullptr ? 0U : entry.chunkSize};
    }
    const bool extendedIds = target.extendedIds || settings_.extendedIds;
    PacketForm form{.packetSize = target.packetSize, .extendedIds = extendedIds};
    if (chunks) {
        form.payloadType = settings_.extendedChunks ? kExtendedChunkPayload : kChunkPayload;
    }
    {
        const std::lock_guard lock(channel_.faultsMutex);
        form.block = channel_.faults.Block(entry.frameId, extendedIds);
        content.ticks = channel_.faults.Ticks(entry.frameId, entry.timestamp);
    }
    return std::make_shared<SentFrame>(
        entry.frameId, FramePackets(content, form),
        [this, owner = buffers_, place = &entry, transfer] { GiveBack(place, transfer); });
}

void SimAcquisition::GiveBack(const _tag_GEVBUF_ENTRY* entry, std::uint64_t transfer)
{
    const genapi::AccessScope scope(model_);
    if (transfer == transfer_) { // otherwise the buffer has left the stream
        model_.Frames().Release(entry);
    }
}

} // namespace kvcam
