#include "net/stream/reassembly.h"

#include "net/stream/frame_assembly.h"
#include "net/stream/frame_buffers.h"
#include "net/stream/frame_order.h"
#include "net/stream/gvsp_packet.h"
#include "net/stream/ignored_frames.h"
#include "net/stream/stream_state.h"
#include "net/stream/whole_requests.h"

#include <algorithm>
#include <optional>
#include <utility>

namespace net
{

namespace
{

constexpr std::size_t kRequests = 1024; ///< that wait to be sent
constexpr Ns kLongest = 3'600'000'000'000;
constexpr Ns kShortestRequestTimeout = 1000;

constexpr std::ptrdiff_t kMostUnconfirmed = 1; ///< frames, besides the newest one
constexpr std::uint32_t kEnds = 2;             ///< packets: leader and trailer

ReassemblySettings Sane(ReassemblySettings settings)
{
    settings.reorderWindow = std::clamp<Ns>(settings.reorderWindow, 0, kLongest);
    settings.requestTimeout =
        std::clamp(settings.requestTimeout, kShortestRequestTimeout, kLongest);
    settings.retention = std::clamp<Ns>(settings.retention, 0, kLongest);
    return settings;
}

} // namespace

struct Reassembly::State {
    using Window = std::vector<FrameAssembly*>;

    State(std::size_t count, MayFill mayFill) : buffers(count, std::move(mayFill)) {}

    void Restart(const ReassemblySettings& settings);
    void SetPacketsOfFrame(bool extendedIds);
    void Take(std::span<const std::uint8_t> datagram, Ns now);
    void Tick(Ns now);
    Ns Due() const;
    void TakeOther(const GvspPacket& packet, Ns now);
    FrameAssembly* Find(const GvspPacket& packet);
    FrameAssembly* Begin(const GvspPacket& packet, Ns now);
    bool MayBegin(const FrameOrder::Place& place, const GvspPacket& packet);
    void BeginIgnored(const FrameOrder::Place& place, const GvspPacket& packet, Ns now);
    void Trust(const FrameOrder::Place& place, std::uint64_t number, bool extended, Ns now);
    void RequestSkipped(const FrameOrder::Place& place, Ns now);
    FrameAssembly* UseBuffer(std::uint64_t number, bool extended, Ns now);
    void Insert(FrameAssembly* frame, const FrameOrder::Place& place, Ns now);
    void Confirm(FrameAssembly* frame, Ns now);
    void DropUnconfirmed(std::ptrdiff_t most);
    Window::iterator Drop(Window::iterator at);
    void Deliver(Ns now);
    Ns OrderDue(const FrameAssembly& frame) const;
    void LeaveIgnored();
    void Leave(std::uint64_t sequence);

    StreamState stream;
    std::vector<FrameAssembly> frames; ///< one for each buffer
    FrameBuffers buffers;
    Window window;                   ///< frames under way, in order
    FrameAssembly* newest = nullptr; ///< the frame of the newest packet, if it is under way
    FrameOrder order;
    IgnoredFrames ignored;
    WholeRequests wholes;
    std::uint64_t unknownNumber = 0; ///< of a packet that might belong to a frame without a buffer
    bool unknownExtended = false;
    std::optional<std::uint64_t> left; ///< the newest frame that isn't under way any more
};

void Reassembly::State::Restart(const ReassemblySettings& settings)
{
    stream.settings = Sane(settings);
    stream.counts = {};
    stream.step.Restart(settings.packetSize);
    stream.requests.Reserve(kRequests);
    SetPacketsOfFrame(false);
    window.clear();
    newest = nullptr;
    for (FrameAssembly& frame : frames) {
        frame.Reserve();
    }
    buffers.Restart();
    wholes.Restart();
    order.Restart();
    ignored.Clear();
    left.reset();
}

/** As the settings give it; the size of the header shows in the first packet. */
void Reassembly::State::SetPacketsOfFrame(bool extendedIds)
{
    const std::uint64_t bytes = stream.settings.payloadBytes;
    const std::uint32_t step = stream.step.Bytes(extendedIds);
    stream.counts.packetsOfFrame = bytes / step + (bytes % step != 0 ? 1 : 0) + kEnds;
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
    }
    if (newest != nullptr && newest->TakeNext(packet, now)) {
        return;
    }
    TakeOther(packet, now);
}

/** Any packet but the one that is expected next. */
void Reassembly::State::TakeOther(const GvspPacket& packet, Ns now)
{
    if (newest != nullptr) {
        newest->Take(packet, now);
        if (!newest->IsConfirmed() && newest->DeservesConfirmation()) {
            Confirm(newest, now);
        }
    }
    if (!window.empty() && (window.front()->IsFinished() || !window.back()->IsConfirmed())) {
        Deliver(now);
    }
}

/** The frame that the packet says it belongs to, if it is under way. */
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
    if (buffers.CountFree() == 0) {
        DropUnconfirmed(0);
    }
    if (buffers.CountFree() == 0) {
        BeginIgnored(place, packet, now);
        return nullptr;
    }
    if (!order.HasBegun()) {
        SetPacketsOfFrame(packet.extendedIds);
    }
    FrameAssembly* const frame = UseBuffer(packet.number, packet.extendedIds, now);
    if (place.next) {
        frame->Confirm();
        Trust(place, packet.number, packet.extendedIds, now);
    } else {
        DropUnconfirmed(kMostUnconfirmed);
    }
    Insert(frame, place, now);
    return frame;
}

/** There is a free one. */
FrameAssembly* Reassembly::State::UseBuffer(std::uint64_t number, bool extended, Ns now)
{
    const std::uint32_t buffer = buffers.Use();
    frames[buffer].Begin(number, extended, now);
    return &frames[buffer];
}

/** There is no buffer. */
void Reassembly::State::BeginIgnored(const FrameOrder::Place& place, const GvspPacket& packet,
                                     Ns now)
{
    const bool again = unknownNumber == packet.number && unknownExtended == packet.extendedIds;
    unknownNumber = packet.number;
    unknownExtended = packet.extendedIds;
    if (!place.next && !again) {
        return;
    }
    ++stream.counts.framesWithoutBuffer;
    ignored.Add(place.sequence);
    Trust(place, packet.number, packet.extendedIds, now);
    LeaveIgnored();
}

/** The number is one that the camera sends: later ones are compared with it. */
void Reassembly::State::Trust(const FrameOrder::Place& place, std::uint64_t number, bool extended,
                              Ns now)
{
    if (!place.newest) {
        return;
    }
    RequestSkipped(place, now);
    order.Begin(number, extended, place);
    for (FrameAssembly* const frame : window) {
        if (frame->Sequence() < place.sequence || !frame->IsConfirmed()) {
            frame->NextBegan(now);
        }
    }
}

/** Frames of which no packet came, although one behind them did: the camera may still have them. */
void Reassembly::State::RequestSkipped(const FrameOrder::Place& place, Ns now)
{
    const ReassemblySettings& settings = stream.settings;
    if (!settings.requests || !order.HasBegun() || place.restarts ||
        !wholes.MayBegin(place.sequence) || stream.counts.packetsOfFrame > settings.mostRequested) {
        return;
    }
    const std::uint64_t skipped = place.sequence - order.Newest() - 1;
    const std::uint64_t most =
        std::min<std::uint64_t>(WholeRequests::kMost, buffers.CountFree() / 2);
    for (std::uint64_t i = place.sequence - std::min(skipped, most); i < place.sequence; ++i) {
        const std::uint64_t number = order.NumberAt(i);
        const bool underWay = std::any_of(window.begin(), window.end(), [&](const auto* frame) {
            return frame->Is(number, order.Extended());
        });
        if (!underWay) {
            FrameAssembly* const frame = UseBuffer(number, order.Extended(), now);
            frame->ConfirmSkipped();
            Insert(frame, {i, false, false, false}, now);
        }
    }
}

void Reassembly::State::Insert(FrameAssembly* frame, const FrameOrder::Place& place, Ns now)
{
    frame->Place(place.sequence);
    if (!place.newest) {
        frame->NextBegan(now);
    }
    const auto at = std::find_if(window.begin(), window.end(), [&](const FrameAssembly* other) {
        return other->Sequence() > place.sequence;
    });
    window.insert(at, frame);
}

/** Its place is where its number belongs by now. */
void Reassembly::State::Confirm(FrameAssembly* frame, Ns now)
{
    const std::uint64_t number = frame->Result().number;
    const bool extended = frame->Result().extendedIds;
    const FrameOrder::Place place = order.Find(number, extended);
    const auto at = std::find(window.begin(), window.end(), frame);
    if (left && place.sequence <= *left) {
        Drop(at);
        return;
    }
    window.erase(at);
    frame->Confirm();
    Trust(place, number, extended, now);
    Insert(frame, place, now);
}

/** The oldest one, if there are more than so many. */
void Reassembly::State::DropUnconfirmed(std::ptrdiff_t most)
{
    const auto isUnconfirmed = [](const FrameAssembly* frame) { return !frame->IsConfirmed(); };
    if (std::count_if(window.begin(), window.end(), isUnconfirmed) > most) {
        Drop(std::find_if(window.begin(), window.end(), isUnconfirmed));
    }
}

/** One packet with a wrong number isn't a frame. Returns the place of the next frame. */
Reassembly::State::Window::iterator Reassembly::State::Drop(Window::iterator at)
{
    newest = newest == *at ? nullptr : newest;
    buffers.Free((*at)->Result().buffer);
    stream.counts.malformed += (*at)->Result().packetsReceived;
    return window.erase(at);
}

bool Reassembly::State::MayBegin(const FrameOrder::Place& place, const GvspPacket& packet)
{
    if ((packet.status & gvsp_status::kError) != 0) {
        ++(IsRefusal(packet.status) ? stream.counts.refused : stream.counts.malformed);
        return false;
    }
    if (packet.content < GvspContent::Leader || packet.content > GvspContent::GenDc) {
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
    return true;
}

/** Frames leave in order. One that comes before those that should have come first waits for them,
 *  as long as packets may overtake each other. */
void Reassembly::State::Deliver(Ns now)
{
    for (auto at = window.begin(); at != window.end();) {
        const bool stray = (*at)->IsFinished() && !(*at)->IsConfirmed();
        at = stray ? Drop(at) : at + 1;
    }
    std::size_t count = 0;
    while (count < window.size() && window[count]->IsFinished() &&
           now >= OrderDue(*window[count])) {
        FrameAssembly* const frame = window[count++];
        const std::uint32_t buffer = frame->Result().buffer;
        if (frame->IsUnseen()) {
            wholes.InVain(frame->Sequence());
            buffers.Free(buffer);
        } else {
            if (frame->WasSkipped()) {
                wholes.Came();
            }
            Leave(frame->Sequence());
            buffers.MakeReady(buffer);
        }
        newest = newest == frame ? nullptr : newest;
    }
    window.erase(window.begin(), window.begin() + static_cast<std::ptrdiff_t>(count));
    LeaveIgnored();
}

/** When a frame may leave although some before it have not been seen. */
Ns Reassembly::State::OrderDue(const FrameAssembly& frame) const
{
    const std::uint64_t sequence = frame.Sequence();
    std::uint64_t next = left.value_or(sequence) + 1;
    while (next < sequence && ignored.Has(next)) {
        ++next;
    }
    return next < sequence ? frame.Result().firstPacket + stream.settings.reorderWindow : 0;
}

/** Frames without a buffer leave when none is under way before them. */
void Reassembly::State::LeaveIgnored()
{
    if (window.empty() && ignored.Newest() > left.value_or(0)) {
        Leave(ignored.Newest());
    }
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
    for (FrameAssembly* const frame : window) {
        frame->Tick(now);
    }
    Deliver(now);
}

Ns Reassembly::State::Due() const
{
    Ns due = kNever;
    if (!window.empty() && window.front()->IsFinished()) {
        due = OrderDue(*window.front());
    }
    for (const FrameAssembly* const frame : window) {
        due = std::min(due, frame->Due());
    }
    return due;
}

Reassembly::Reassembly(const ReassemblySettings& settings, std::span<std::uint8_t* const> buffers,
                       MayFill mayFill)
    : state_(std::make_unique<State>(buffers.size(), std::move(mayFill)))
{
    state_->frames.reserve(buffers.size());
    for (std::uint8_t* const data : buffers) {
        const auto index = static_cast<std::uint32_t>(state_->frames.size());
        state_->frames.emplace_back(state_->stream, index, data);
    }
    state_->window.reserve(buffers.size());
    state_->Restart(settings);
}

Reassembly::~Reassembly() = default;

void Reassembly::Restart(const ReassemblySettings& settings)
{
    state_->Restart(settings);
}

void Reassembly::AddBuffer(std::uint32_t buffer)
{
    state_->buffers.TakeFromCaller(buffer);
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
    if (!state_->buffers.GiveToCaller(&buffer)) {
        return false;
    }
    *frame = state_->frames[buffer].Result();
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
