#include "net/stream/reassembly.h"

#include "net/stream/frame_assembly.h"
#include "net/stream/frame_order.h"
#include "net/stream/gvsp_packet.h"
#include "net/stream/stream_state.h"

#include <algorithm>
#include <array>
#include <optional>

namespace net
{

namespace
{

constexpr std::size_t kRequests = 1024; ///< that wait to be sent
constexpr Ns kLongest = 3'600'000'000'000;
constexpr Ns kShortestRequestTimeout = 1000;

constexpr std::uint32_t kEnds = 2; ///< packets: leader and trailer

ReassemblySettings Sane(ReassemblySettings settings)
{
    settings.reorderWindow = std::clamp<Ns>(settings.reorderWindow, 0, kLongest);
    settings.requestTimeout =
        std::clamp(settings.requestTimeout, kShortestRequestTimeout, kLongest);
    settings.retention = std::clamp<Ns>(settings.retention, 0, kLongest);
    return settings;
}

/** Frames that found no buffer, so that their packets are recognised. Frames far behind each other
 *  use the same entry, of which the older one is forgotten. */
class IgnoredFrames
{
public:
    void Clear() { sequences_.fill(0); }
    void Add(std::uint64_t sequence) { sequences_[sequence % kEntries] = sequence; }
    bool Has(std::uint64_t sequence) const { return sequences_[sequence % kEntries] == sequence; }

private:
    static constexpr std::size_t kEntries = 1024;

    std::array<std::uint64_t, kEntries> sequences_{};
};

/** Where a buffer is. */
enum class BufferPlace { Caller, Free, Frame, Ready };

} // namespace

struct Reassembly::State {
    void Restart(const ReassemblySettings& settings);
    void AddBuffer(std::uint32_t buffer);
    void Take(std::span<const std::uint8_t> datagram, Ns now);
    void Tick(Ns now);
    Ns Due() const;
    FrameAssembly* Find(const GvspPacket& packet);
    FrameAssembly* Begin(const GvspPacket& packet, Ns now);
    FrameAssembly* BeginAt(const FrameOrder::Place& place, const GvspPacket& packet, Ns now);
    bool MayBegin(const FrameOrder::Place& place, const GvspPacket& packet);
    void Deliver();
    void Leave(std::uint64_t sequence);

    StreamState stream;
    std::vector<FrameAssembly> frames; ///< one for each buffer
    std::vector<BufferPlace> places;
    std::vector<std::uint32_t> free;
    std::vector<FrameAssembly*> window; ///< frames under way, in order
    FrameAssembly* newest = nullptr;    ///< the frame of the newest packet, if it is under way
    FixedQueue<std::uint32_t> ready;
    FrameOrder order;
    IgnoredFrames ignored;
    std::optional<std::uint64_t> left; ///< the newest frame that isn't under way any more
};

void Reassembly::State::Restart(const ReassemblySettings& settings)
{
    stream.settings = Sane(settings);
    stream.counts = {};
    stream.step.Restart(settings.packetSize);
    stream.requests.Reserve(kRequests);
    const std::uint32_t bytes = stream.step.Bytes(false);
    stream.counts.packetsOfFrame =
        settings.payloadBytes / bytes + (settings.payloadBytes % bytes != 0 ? 1 : 0) + kEnds;
    window.clear();
    newest = nullptr;
    free.clear();
    for (std::uint32_t i = 0; i < frames.size(); ++i) {
        frames[i].Reserve();
        if (places[i] != BufferPlace::Caller) {
            places[i] = BufferPlace::Free;
            free.push_back(i);
        }
    }
    ready.Clear();
    order.Restart();
    ignored.Clear();
    left.reset();
}

void Reassembly::State::AddBuffer(std::uint32_t buffer)
{
    if (buffer < places.size() && places[buffer] == BufferPlace::Caller) {
        places[buffer] = BufferPlace::Free;
        free.push_back(buffer);
    }
}

void Reassembly::State::Take(std::span<const std::uint8_t> datagram, Ns now)
{
    ++stream.counts.packets;
    GvspPacket packet;
    if (!ReadPacket(datagram, &packet)) {
        ++stream.counts.malformed;
        return;
    }
    if (newest == nullptr || !newest->Is(packet.number, packet.extendedIds)) {
        FrameAssembly* const frame = Find(packet);
        newest = frame != nullptr ? frame : Begin(packet, now);
        if (newest == nullptr) {
            return;
        }
    }
    if (newest->TakeNext(packet, now)) {
        return;
    }
    newest->Take(packet, now);
    if (newest->IsFinished()) {
        Deliver();
    }
}

FrameAssembly* Reassembly::State::Find(const GvspPacket& packet)
{
    const auto found = std::find_if(window.begin(), window.end(), [&](const FrameAssembly* frame) {
        return frame->Is(packet.number, packet.extendedIds);
    });
    return found == window.end() ? nullptr : *found;
}

/** Null: the packet begins no frame. */
FrameAssembly* Reassembly::State::Begin(const GvspPacket& packet, Ns now)
{
    const FrameOrder::Place place = order.Find(packet.number, packet.extendedIds);
    if (!MayBegin(place, packet)) {
        return nullptr;
    }
    if (place.newest) {
        order.Begin(packet.number, packet.extendedIds, place);
        for (FrameAssembly* const frame : window) {
            frame->NextBegan(now);
        }
    }
    return BeginAt(place, packet, now);
}

bool Reassembly::State::MayBegin(const FrameOrder::Place& place, const GvspPacket& packet)
{
    if ((packet.status & gvsp_status::kError) != 0) {
        ++(IsRefusal(packet.status) ? stream.counts.refused : stream.counts.malformed);
        return false;
    }
    if (packet.content < GvspContent::Leader || packet.content > GvspContent::GenDc ||
        (packet.number == 0 && packet.extendedIds)) {
        ++stream.counts.malformed;
        return false;
    }
    if (!place.newest && ignored.Has(place.sequence)) {
        return false;
    }
    if (left && place.sequence <= *left) {
        ++stream.counts.late;
        return false;
    }
    const bool leader = packet.content == GvspContent::Leader && packet.id == 0;
    if (!place.plausible && !leader) {
        ++stream.counts.malformed;
        return false;
    }
    return true;
}

/** Null: there is no free buffer. */
FrameAssembly* Reassembly::State::BeginAt(const FrameOrder::Place& place, const GvspPacket& packet,
                                          Ns now)
{
    if (free.empty()) {
        ++stream.counts.framesWithoutBuffer;
        ignored.Add(place.sequence);
        if (window.empty()) {
            Leave(place.sequence);
        }
        return nullptr;
    }
    const std::uint32_t buffer = free.back();
    free.pop_back();
    places[buffer] = BufferPlace::Frame;
    FrameAssembly* const frame = &frames[buffer];
    frame->Begin(place.sequence, packet.number, packet.extendedIds, now);
    if (!place.newest) {
        frame->NextBegan(now);
    }
    const auto at = std::find_if(window.begin(), window.end(), [&](const FrameAssembly* other) {
        return other->Sequence() > place.sequence;
    });
    window.insert(at, frame);
    return frame;
}

/** Frames leave in order. */
void Reassembly::State::Deliver()
{
    std::size_t count = 0;
    while (count < window.size() && window[count]->IsFinished()) {
        FrameAssembly* const frame = window[count++];
        const std::uint32_t buffer = frame->Result().buffer;
        Leave(frame->Sequence());
        places[buffer] = BufferPlace::Ready;
        ready.Push(buffer);
        newest = newest == frame ? nullptr : newest;
    }
    window.erase(window.begin(), window.begin() + static_cast<std::ptrdiff_t>(count));
}

/** Counts the frames between this one and the one that left before it. */
void Reassembly::State::Leave(std::uint64_t sequence)
{
    for (std::uint64_t i = left.value_or(sequence) + 1; i < sequence; ++i) {
        if (!ignored.Has(i)) {
            ++stream.counts.framesLost;
            stream.counts.missing += stream.counts.packetsOfFrame;
        }
    }
    left = sequence;
}

void Reassembly::State::Tick(Ns now)
{
    bool finished = false;
    for (FrameAssembly* const frame : window) {
        frame->Tick(now);
        finished = finished || frame->IsFinished();
    }
    if (finished) {
        Deliver();
    }
}

Ns Reassembly::State::Due() const
{
    Ns due = kNever;
    for (const FrameAssembly* const frame : window) {
        due = std::min(due, frame->Due());
    }
    return due;
}

Reassembly::Reassembly(const ReassemblySettings& settings, std::span<std::uint8_t* const> buffers)
    : state_(std::make_unique<State>())
{
    state_->frames.reserve(buffers.size());
    for (std::uint8_t* const data : buffers) {
        const auto index = static_cast<std::uint32_t>(state_->frames.size());
        state_->frames.emplace_back(state_->stream, index, data);
    }
    state_->places.assign(buffers.size(), BufferPlace::Caller);
    state_->free.reserve(buffers.size());
    state_->window.reserve(buffers.size());
    state_->ready.Reserve(buffers.size());
    state_->Restart(settings);
}

Reassembly::~Reassembly() = default;

void Reassembly::Restart(const ReassemblySettings& settings)
{
    state_->Restart(settings);
}

void Reassembly::AddBuffer(std::uint32_t buffer)
{
    state_->AddBuffer(buffer);
}

void Reassembly::Take(std::span<const std::uint8_t> packet, Ns now)
{
    state_->Take(packet, now);
}

void Reassembly::Tick(Ns now)
{
    state_->Tick(now);
}

Ns Reassembly::Due() const
{
    return state_->Due();
}

bool Reassembly::Next(ReceivedFrame* frame)
{
    std::uint32_t buffer = 0;
    if (!state_->ready.Pop(&buffer)) {
        return false;
    }
    *frame = state_->frames[buffer].Result();
    state_->places[buffer] = BufferPlace::Caller;
    return true;
}

bool Reassembly::NextRequest(ResendRequest* request)
{
    return state_->stream.requests.Pop(request);
}

const ReassemblyCounts& Reassembly::Counts() const
{
    return state_->stream.counts;
}

} // namespace net
