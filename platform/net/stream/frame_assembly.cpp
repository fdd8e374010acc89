#include "net/stream/frame_assembly.h"

#include <algorithm>

namespace net
{

namespace
{

constexpr std::uint32_t kLeastStep = 512; ///< payload bytes, unless the settings ask for less
constexpr std::uint64_t kMostPackets = 1U << 24;
constexpr std::uint32_t kLeastRuns = 64;
constexpr std::uint32_t kMostRuns = 4096;
constexpr std::uint32_t kAhead = 32; ///< packets that may overtake others behind the promised end

} // namespace

void FrameAssembly::Reserve()
{
    const ReassemblySettings& settings = stream_->settings;
    const std::uint64_t least = std::min(kLeastStep, stream_->step.Bytes(true));
    const std::uint64_t packets = std::min(settings.bufferBytes / least + 3, kMostPackets);
    packetLimit_ = static_cast<std::uint32_t>(packets);
    received_.assign(packets / 64 + 1, 0);
    missing_.Reserve(std::clamp(settings.mostRequested, kLeastRuns, kMostRuns));
    horizon_ = 0;
    finished_ = true;
}

void FrameAssembly::Begin(std::uint64_t number, bool extendedIds, Ns now)
{
    std::fill_n(received_.begin(), horizon_ / 64 + 1, 0);
    missing_.Clear();
    sequence_ = 0;
    const std::uint32_t buffer = frame_.buffer;
    frame_ = {};
    frame_.buffer = buffer;
    frame_.number = number;
    frame_.extendedIds = extendedIds;
    frame_.firstPacket = now;
    newest_ = now;
    leader_ = {};
    trailer_ = {};
    horizon_ = highest_ = fullPackets_ = 0;
    trailerId_ = shortId_ = oddId_ = oddPackets_ = requested_ = 0;
    nextBegan_ = kNever;
    tailClosed_ = doomed_ = refused_ = lastWasWrong_ = confirmed_ = skipped_ = finished_ = false;
    SetStep(stream_->step.Bytes(extendedIds));
}

void FrameAssembly::SetStep(std::uint32_t bytes)
{
    step_ = bytes;
    lastFull_ = static_cast<std::uint32_t>(
        std::min<std::uint64_t>(stream_->settings.bufferBytes / step_, packetLimit_ - 1));
}

void FrameAssembly::Take(const GvspPacket& packet, Ns now)
{
    if (finished_) {
        TakeFinished();
        return;
    }
    if ((packet.status & gvsp_status::kError) != 0) {
        TakeStatus(packet);
    } else {
        TakeContent(packet, now);
    }
    if (!finished_ && IsHopeless()) {
        GiveUp();
    }
}

void FrameAssembly::TakeContent(const GvspPacket& packet, Ns now)
{
    switch (packet.content) {
    case GvspContent::Leader:
        TakeLeader(packet, now);
        return;
    case GvspContent::Payload:
        TakePayload(packet, now);
        return;
    case GvspContent::Trailer:
        TakeTrailer(packet, now);
        return;
    case GvspContent::AllInOne:
    case GvspContent::Compressed:
    case GvspContent::MultiZone:
    case GvspContent::MultiPart:
    case GvspContent::GenDc:
        if (!frame_.hasLeader) {
            Finish(FrameFault::UnknownPayload);
            return;
        }
        break;
    }
    ++stream_->counts.malformed;
}

/** Packets of a frame that waits for those before it. */
void FrameAssembly::TakeFinished()
{
    switch (frame_.fault) {
    case FrameFault::None:
        ++stream_->counts.duplicate;
        return;
    case FrameFault::PacketsMissing:
    case FrameFault::Refused:
    case FrameFault::Malformed:
        ++stream_->counts.late;
        return;
    case FrameFault::TooLarge:
    case FrameFault::UnknownPayload:
        return;
    }
}

/** The camera answers a request without the packet. One that it will have later is requested again
 *  as if there had been no answer. */
void FrameAssembly::TakeStatus(const GvspPacket& packet)
{
    switch (packet.status) {
    case gvsp_status::kNotYetAvailable:
    case gvsp_status::kTemporarilyUnavailable:
        return;
    case gvsp_status::kAllBeforeRemoved:
        ++stream_->counts.refused;
        if (missing_.RemoveRequestedUpTo(packet.id) == 0) {
            return;
        }
        break;
    case gvsp_status::kUnavailable:
    case gvsp_status::kRemoved:
        ++stream_->counts.refused;
        if (!missing_.WasRequested(packet.id) || !missing_.Remove(packet.id, kNever)) {
            return;
        }
        break;
    default:
        ++stream_->counts.malformed;
        return;
    }
    refused_ = doomed_ = true;
}

void FrameAssembly::TakeLeader(const GvspPacket& packet, Ns now)
{
    GvspLeader leader;
    if (packet.id != 0 || !ReadLeader(packet.data, &leader)) {
        ++stream_->counts.malformed;
        return;
    }
    if (WasReceived(0)) {
        ++stream_->counts.duplicate;
        return;
    }
    leader_ = leader;
    frame_.hasLeader = true;
    frame_.payloadType = leader.payloadType;
    frame_.ticks = leader.ticks;
    frame_.pixelFormat = leader.pixelFormat;
    frame_.width = leader.width;
    frame_.height = leader.height;
    Came(packet, now);
    if (!IsReceived(leader.payloadType)) {
        Finish(FrameFault::UnknownPayload);
        return;
    }
    if (ImageBytes(leader, leader.height) > stream_->settings.bufferBytes) {
        Finish(FrameFault::TooLarge);
        return;
    }
    CheckComplete(now);
}

void FrameAssembly::TakePayload(const GvspPacket& packet, Ns now)
{
    const std::uint32_t id = packet.id;
    const auto bytes = static_cast<std::uint32_t>(packet.data.size());
    if (id == 0 || bytes == 0 || (trailerId_ != 0 && id >= trailerId_) || !IsPlausible(id)) {
        ++stream_->counts.malformed;
        return;
    }
    if (id >= packetLimit_) {
        TakeBeyondBuffer(id);
        return;
    }
    if (WasReceived(id)) {
        ++stream_->counts.duplicate;
        return;
    }
    if (!FitsLength(id, bytes, now)) {
        ++stream_->counts.malformed;
        return;
    }
    // Only now, since the size of the packets may just have been learned.
    const std::uint64_t place = std::uint64_t{id - 1} * step_;
    const std::uint64_t size = stream_->settings.bufferBytes;
    if (place >= size || bytes > size - place) {
        if (stream_->settings.requests && id == Promised() && !lastWasWrong_) {
            lastWasWrong_ = true; // too long only this time, perhaps: it is requested again
            ++stream_->counts.malformed;
            return;
        }
        TakeBeyondBuffer(id);
        return;
    }
    std::memcpy(data_ + place, packet.data.data(), bytes);
    if (shortId_ != 0 && id > shortId_) {
        WasCut(shortId_, now);
    }
    if (bytes == step_) {
        ++fullPackets_;
    } else {
        shortId_ = id;
        shortBytes_ = bytes;
        lastFull_ = 0;
    }
    highest_ = std::max(highest_, id);
    Came(packet, now);
    CheckComplete(now);
}

/** One packet with such a number is a fault of the packet; one behind all others says that the
 *  frame goes on there. */
void FrameAssembly::TakeBeyondBuffer(std::uint32_t id)
{
    if (id <= horizon_) {
        Finish(FrameFault::TooLarge);
        return;
    }
    ++stream_->counts.malformed;
}

void FrameAssembly::TakeTrailer(const GvspPacket& packet, Ns now)
{
    GvspTrailer trailer;
    const std::uint32_t id = packet.id;
    if (id == 0 || id >= packetLimit_ || id <= highest_ || !IsPlausible(id) ||
        !ReadTrailer(packet.data, &trailer)) {
        ++stream_->counts.malformed;
        return;
    }
    if (trailerId_ != 0) {
        ++(id == trailerId_ ? stream_->counts.duplicate : stream_->counts.malformed);
        return;
    }
    trailer_ = trailer;
    if (std::uint64_t{id - 1} * step_ < Required()) { // the image isn't over yet
        trailer_ = {};
        ++stream_->counts.malformed;
        return;
    }
    if (shortId_ != 0 && id != shortId_ + 1) {
        WasCut(shortId_, now);
    }
    trailerId_ = id;
    lastFull_ = 0;
    missing_.RemoveFrom(id + 1);
    Came(packet, now);
    CheckComplete(now);
}

/** Far behind the last packet that the settings promise there is none, even if the buffer has
 *  room. */
bool FrameAssembly::IsPlausible(std::uint32_t id) const
{
    const std::uint32_t promised = Promised();
    return promised == 0 || id <= std::uint64_t{std::max(promised + 1, horizon_)} + kAhead;
}

/** A packet that had not come before is in its place. */
void FrameAssembly::Came(const GvspPacket& packet, Ns now)
{
    const ReassemblySettings& settings = stream_->settings;
    const std::uint32_t id = packet.id;
    SetReceived(id);
    ++frame_.packetsReceived;
    if (id < horizon_) {
        if (missing_.WasRequested(id)) {
            ++frame_.packetsResent;
            ++stream_->counts.resent;
        } else {
            newest_ = now;
        }
        missing_.Remove(id, now + settings.reorderWindow);
        return;
    }
    newest_ = now;
    if (id > horizon_ &&
        !missing_.Append({horizon_, id - 1, now + settings.reorderWindow, false})) {
        doomed_ = true;
    }
    horizon_ = id + 1;
}

/** Payload packets that the settings promise, or the leader if they don't; 0: not known. */
std::uint32_t FrameAssembly::Promised() const
{
    std::uint64_t bytes = stream_->settings.payloadBytes;
    if (bytes == 0 && frame_.hasLeader) {
        bytes = ImageBytes(leader_, leader_.height);
    }
    const std::uint64_t packets = bytes / step_ + (bytes % step_ != 0 ? 1 : 0);
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(packets, packetLimit_ - 2));
}

/** Bytes that a complete frame has at least, as far as leader and trailer say it. */
std::uint64_t FrameAssembly::Required() const
{
    const bool cut = trailer_.lines != 0 && trailer_.lines < leader_.height;
    const std::uint64_t image = ImageBytes(leader_, cut ? trailer_.lines : leader_.height);
    return std::max<std::uint64_t>(image, trailer_.bytes);
}

/** Of the buffer, up to the end of the last payload packet. */
std::uint64_t FrameAssembly::Bytes() const
{
    if (highest_ == 0) {
        return 0;
    }
    return std::uint64_t{highest_ - 1} * step_ + (shortId_ == highest_ ? shortBytes_ : step_);
}

void FrameAssembly::CheckComplete(Ns now)
{
    if (trailerId_ == 0 || frame_.packetsReceived != trailerId_ + 1) {
        return;
    }
    if (Bytes() >= Required()) {
        Finish(FrameFault::None);
        return;
    }
    if (!stream_->settings.requests || lastWasWrong_ || highest_ == 0) {
        Finish(FrameFault::Malformed);
        return;
    }
    lastWasWrong_ = true;
    WasCut(highest_, now);
}

void FrameAssembly::GiveUp()
{
    if (HasAllButTrailer()) {
        Finish(FrameFault::None);
        return;
    }
    Finish(refused_ ? FrameFault::Refused : FrameFault::PacketsMissing);
}

/** A frame that lacks its trailer is complete if it has just the bytes that were promised. */
bool FrameAssembly::HasAllButTrailer() const
{
    const std::uint64_t promised = stream_->settings.payloadBytes != 0
                                       ? stream_->settings.payloadBytes
                                       : ImageBytes(leader_, leader_.height);
    return trailerId_ == 0 && frame_.hasLeader && highest_ != 0 &&
           frame_.packetsReceived == highest_ + 1 && Bytes() == promised && Bytes() >= Required();
}

void FrameAssembly::Finish(FrameFault fault)
{
    finished_ = true;
    lastFull_ = 0;
    missing_.Clear();
    frame_.fault = fault;
    frame_.bytes = Bytes();
    if (trailer_.lines != 0 && trailer_.lines < frame_.height) {
        frame_.height = trailer_.lines;
    }
    if (IsUnseen() || (!confirmed_ && !DeservesConfirmation())) {
        return;
    }
    if (fault == FrameFault::TooLarge || fault == FrameFault::UnknownPayload) {
        stream_->counts.framesUnknownPayload += fault == FrameFault::UnknownPayload ? 1 : 0;
        return;
    }
    const std::uint32_t promised = Promised();
    const std::uint32_t expected = trailerId_ != 0 ? trailerId_ + 1
                                   : promised != 0 ? std::max(promised + 2, horizon_)
                                                   : horizon_;
    frame_.packetsMissing = expected - frame_.packetsReceived;
    stream_->counts.missing += frame_.packetsMissing;
    if (fault == FrameFault::None) {
        stream_->counts.packetsOfFrame = expected;
        stream_->step.Confirm();
    } else if (oddPackets_ > fullPackets_) {
        stream_->step.Doubt();
    }
}

} // namespace net
