#include "sim/camera/stream.h"

#include "core/buffer_guard.h"
#include "core/interruption.h"
#include "injection/record.h"
#include "sim/camera/camera_model.h"

#include <algorithm>
#include <mutex>
#include <utility>

namespace sim
{

namespace
{

constexpr std::int64_t kNsPerMs = 1'000'000;
/** How often a waiting caller checks the transfer while no frame is expected: another thread may
 *  have started or ended it. */
constexpr std::int64_t kLookAgainNs = 10 * kNsPerMs;
constexpr std::size_t kUsualFramesOnTheWay = 16;

} // namespace

Stream::Stream(CameraModel& camera, std::shared_ptr<const LightImage> image,
               std::shared_ptr<const Recording> recording)
    : camera_(camera), scene_(std::move(image)), sensor_(camera, scene_, std::move(recording)),
      onTheWay_(kUsualFramesOnTheWay), waiting_(0)
{
}

void Stream::Configure(std::uint32_t framesBuffered, std::uint32_t packetSize)
{
    framesBuffered_ = std::max(framesBuffered, 1U);
    packetSize_ = std::max(packetSize, 1U);
}

/** When the next exposure starts. A recording that is played back as fast as possible waits until
 *  the frame before is delivered and there is a free buffer. */
std::int64_t Stream::NextStartNs()
{
    const Playback* const replay = sensor_.Replay();
    return replay != nullptr && replay->IsFast() && !HasRoom() ? Sensor::kNever
                                                               : sensor_.NextStartNs();
}

bool Stream::HasRoom() const
{
    return onTheWay_.Empty() && waiting_.Empty() && HasFreeSlot();
}

bool Stream::HasFreeSlot() const
{
    return std::any_of(slots_.begin(), slots_.end(),
                       [](const Slot& slot) { return slot.state == State::Free; });
}

void Stream::Advance(std::int64_t nowNs)
{
    for (;;) {
        const std::int64_t startNs = NextStartNs();
        const std::int64_t arrivalNs =
            onTheWay_.Empty() ? Sensor::kNever : onTheWay_.Front().arrivalNs;
        if (std::min(startNs, arrivalNs) > nowNs ||
            std::min(startNs, arrivalNs) == Sensor::kNever) {
            return;
        }
        if (arrivalNs <= startNs) {
            Arrive(onTheWay_.Pop());
        } else {
            onTheWay_.Push(sensor_.Expose());
        }
    }
}

int Stream::Initialize(std::uint64_t size, std::uint32_t count, void** buffers)
{
    if (IsRunning()) {
        return kGevBusy;
    }
    if (size == 0 || count == 0 ||
        std::find(buffers, buffers + count, nullptr) != buffers + count) {
        return kGevInvalidArgument;
    }
    std::vector<Slot> slots(count);
    for (std::uint32_t i = 0; i < count; ++i) {
        slots[i].memory = static_cast<std::uint8_t*>(buffers[i]);
    }
    slots_ = std::move(slots);
    waiting_ = Ring<std::uint32_t>(count);
    onTheWay_.Clear();
    bufferSize_ = size;
    nextSlot_ = 0;
    statistics_ = {};
    lostBefore_ = underrunsBefore_ = 0;
    return kGevOk;
}

int Stream::Start(std::uint32_t frames)
{
    if (!IsInitialized()) {
        return kGevNotReady;
    }
    if (IsRunning()) {
        return kGevBusy;
    }
    if (frames == 0) {
        return kGevInvalidArgument;
    }
    DropUndelivered();
    sensor_.Start(camera_.Time().NowNs(), frames);
    return kGevOk;
}

void Stream::DropUndelivered()
{
    onTheWay_.Clear();
    waiting_.Clear();
    for (Slot& slot : slots_) {
        slot.state = slot.state == State::Callers ? State::Callers : State::Free;
    }
}

int Stream::Abort()
{
    if (!IsInitialized()) {
        return kGevNotReady;
    }
    sensor_.Stop();
    DropUndelivered();
    return kGevOk;
}

int Stream::Free()
{
    if (!IsInitialized()) {
        return kGevNotReady;
    }
    Abort();
    slots_.clear();
    return kGevOk;
}

/** The next free buffer in turn that the host lets be filled, or else the next free one;
 *  Frame::kNoBuffer: none is free. */
std::uint32_t Stream::ChooseFree() const
{
    const auto count = static_cast<std::uint32_t>(slots_.size());
    std::uint32_t kept = Frame::kNoBuffer;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t index = (nextSlot_ + i) % count;
        if (slots_[index].state != State::Free) {
            continue;
        }
        if (gevplat::BufferGuard::MayFill(slots_[index].memory, false)) {
            return index;
        }
        kept = kept == Frame::kNoBuffer ? index : kept;
    }
    if (kept != Frame::kNoBuffer) {
        gevplat::BufferGuard::MayFill(slots_[kept].memory, true);
    }
    return kept;
}

/** Gives the frame a free buffer. False when there is none, or when its recorded picture can't be
 *  read; then it is lost. */
bool Stream::Claim(Frame* frame)
{
    const std::uint32_t index = ChooseFree();
    if (index == Frame::kNoBuffer) {
        return false;
    }
    nextSlot_ = (index + 1) % static_cast<std::uint32_t>(slots_.size());
    slots_[index].state = State::Filling;
    Playback* const replay = sensor_.Replay();
    if (replay != nullptr && !FillRecorded(*replay, frame, &slots_[index])) {
        slots_[index].state = State::Free;
        return false;
    }
    frame->buffer = index;
    Fill(*frame, &slots_[index]);
    return true;
}

/** Writes the picture and its record. A frame that is larger than the buffer is cut off. */
void Stream::Fill(const Frame& frame, Slot* slot)
{
    const std::uint64_t room = std::min(frame.pixelBytes, bufferSize_);
    const std::uint64_t bytes = frame.incomplete ? room / 2 : room;
    if (sensor_.Replay() == nullptr && camera_.Setup().picture == Picture::Pattern) {
        scene_.Paint(frame.job, slot->memory, bytes);
    }
    _tag_GEVBUF_ENTRY& entry = slot->entry;
    entry = {};
    entry.status = bytes < frame.pixelBytes ? kGevIncomplete : kGevOk;
    entry.frameId = frame.id;
    entry.frameNumber = frame.number;
    entry.arrivalNs = 0;
    entry.timestamp = frame.timestamp;
    entry.timestampHigh = static_cast<std::uint32_t>(frame.timestampHalves >> 32);
    entry.timestampLow = static_cast<std::uint32_t>(frame.timestampHalves);
    entry.width = frame.job.width;
    entry.height = frame.job.height;
    entry.receivedBytes = bytes;
    entry.address = frame.nullImage ? nullptr : slot->memory;
    const std::size_t chunkBytes = ChunkBytes(frame.chunks);
    if (chunkBytes != 0 && entry.status == kGevOk && bufferSize_ - bytes >= chunkBytes) {
        WriteChunks(frame.chunks, frame.values, slot->memory + bytes);
        entry.chunkData = slot->memory + bytes;
        entry.chunkSize = static_cast<std::uint32_t>(chunkBytes);
    }
    slot->nullFrame = frame.nullFrame;
}

/** Reads the frame's picture. False: it can't be read, which ends the playback. */
bool Stream::FillRecorded(Playback& replay, Frame* frame, Slot* slot)
{
    const std::uint64_t room = std::min(frame->pixelBytes, bufferSize_);
    std::string trouble = replay.Source().ReadPicture(frame->recorded, slot->memory,
                                                      frame->incomplete ? room / 2 : room);
    if (!trouble.empty()) {
        replay.Fail(std::move(trouble));
        frame->lost = true;
        return false;
    }
    slot->gain = frame->values.gain;
    slot->exposureUs = frame->values.exposureUs;
    slot->last = frame->last;
    return true;
}

void Stream::Lose(const Frame& frame)
{
    if (Playback* const replay = sensor_.Replay(); replay != nullptr && frame.last) {
        replay->LastIsGone();
    }
    if (frame.buffer != Frame::kNoBuffer) {
        slots_[frame.buffer].state = State::Free;
    }
    ++statistics_.framesLost;
    statistics_.packetsMissing += Packets(frame);
}

/** The settings show the values that the frame was recorded with. */
void Stream::ShowSettings(Playback& replay, const Slot& slot)
{
    camera_.Features().gain->StoreAt(0, slot.gain);
    camera_.Features().exposureTime->StoreAt(0, slot.exposureUs);
    if (slot.last) {
        replay.LastIsGone();
    }
}

std::uint64_t Stream::Packets(const Frame& frame) const
{
    return (frame.pixelBytes + ChunkBytes(frame.chunks) + packetSize_ - 1) / packetSize_;
}

void Stream::Arrive(Frame frame)
{
    const std::uint64_t packets = Packets(frame);
    statistics_.framesLost += frame.lostBefore;
    statistics_.packetsMissing += packets * frame.lostBefore;
    frame.lostBefore = 0;
    if (frame.lost || camera_.Attendance().AbsentWithin(frame.startNs, frame.arrivalNs)) {
        Lose(frame);
        return;
    }
    // A waiting caller claims a buffer for the oldest frame only, so this limit never delays it.
    const bool held = waiting_.Size() >= framesBuffered_;
    if (frame.last && (held || (frame.buffer == Frame::kNoBuffer && !HasFreeSlot()))) {
        frame.arrivalNs +=
            kNsPerMs; // a client that waits for the end of a recording gets its last frame
        onTheWay_.Push(frame);
        return;
    }
    const std::uint64_t missing = frame.incomplete ? packets - packets / 2 : 0;
    statistics_.packetsMissing += missing;
    statistics_.packetsReceived += packets - missing;
    if (held || (frame.buffer == Frame::kNoBuffer && !Claim(&frame))) {
        if (frame.lost) {
            Lose(frame);
        } else {
            ++statistics_.underruns;
        }
        return;
    }
    Slot& slot = slots_[frame.buffer];
    DescribeReception(frame, missing, &slot.entry.reception);
    slot.state = State::Waiting;
    waiting_.Push(frame.buffer);
}

void Stream::DescribeReception(const Frame& frame, std::uint64_t missing, GEV_FRAME_RECEPTION* to)
{
    const bool cut = frame.pixelBytes > bufferSize_;
    to->fault = frame.incomplete ? kGevPacketsMissing : cut ? kGevBufferTooSmall : kGevNoFault;
    to->packetsReceived = static_cast<std::uint32_t>(Packets(frame) - missing);
    to->packetsMissing = static_cast<std::uint32_t>(missing);
    to->framesLost = static_cast<std::uint32_t>(statistics_.framesLost - lostBefore_);
    to->framesWithoutBuffer = static_cast<std::uint32_t>(statistics_.underruns - underrunsBefore_);
    lostBefore_ = statistics_.framesLost;
    underrunsBefore_ = statistics_.underruns;
}

int Stream::Deliver(_tag_GEVBUF_ENTRY** frame)
{
    Slot& slot = slots_[waiting_.Pop()];
    if (Playback* const replay = sensor_.Replay(); replay != nullptr) {
        ShowSettings(*replay, slot);
    }
    if (slot.nullFrame) {
        slot.state = State::Free;
        return kGevOk;
    }
    slot.state = State::Callers;
    ++(slot.entry.status == kGevOk ? statistics_.framesReceived : statistics_.framesIncomplete);
    *frame = &slot.entry;
    return slot.entry.status;
}

int Stream::Wait(_tag_GEVBUF_ENTRY** frame, std::uint32_t timeoutMs)
{
    *frame = nullptr;
    std::unique_lock lock(camera_.Mutex());
    std::int64_t nowNs = camera_.Time().NowNs();
    const std::int64_t deadlineNs = nowNs + std::int64_t{timeoutMs} * kNsPerMs;
    for (;;) {
        if (!IsInitialized()) {
            return kGevNotReady;
        }
        Advance(nowNs);
        if (!waiting_.Empty()) {
            return Deliver(frame);
        }
        if (nowNs >= deadlineNs || gevplat::Interruption::IsOn()) {
            return kGevTimeout;
        }
        std::int64_t wakeNs = std::min(deadlineNs, nowNs + gevplat::kLookForInterruptionNs);
        if (!onTheWay_.Empty()) {
            Frame& next = onTheWay_.Front();
            if (next.buffer == Frame::kNoBuffer && !next.lost) {
                Claim(&next);
            }
            wakeNs = std::min(wakeNs, next.arrivalNs);
        }
        const std::int64_t startNs = NextStartNs();
        wakeNs = std::min(wakeNs, startNs);
        if (onTheWay_.Empty() && startNs == Sensor::kNever) {
            wakeNs = std::min(wakeNs, nowNs + kLookAgainNs);
        }
        lock.unlock();
        camera_.Time().SleepUntilNs(wakeNs);
        nowNs = camera_.Time().NowNs();
        lock.lock();
    }
}

int Stream::Release(const _tag_GEVBUF_ENTRY* frame)
{
    if (!IsInitialized()) {
        return kGevNotReady;
    }
    // The record is the first member of its slot; any other address matches no slot.
    const auto distance =
        reinterpret_cast<std::uintptr_t>(frame) - reinterpret_cast<std::uintptr_t>(slots_.data());
    const std::size_t index = distance / sizeof(Slot);
    if (index >= slots_.size() || &slots_[index].entry != frame ||
        slots_[index].state != State::Callers) {
        return kGevInvalidArgument;
    }
    slots_[index].state = State::Free;
    return kGevOk;
}

} // namespace sim
