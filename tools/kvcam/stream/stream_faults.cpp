#include "tools/kvcam/stream/stream_faults.h"

#include "tools/kvcam/stream/packet_fault.h"

#include <algorithm>
#include <cstddef>
#include <utility>

namespace kvcam
{

namespace
{

constexpr unsigned kUsualBits = 16;
constexpr unsigned kExtendedBits = 64;
constexpr std::uint64_t kMostUsual = 0xFFFF;

/** A datagram that takes its turn behind a packet of the frame. */
struct Placed {
    std::uint32_t behind;
    FaultyDatagram datagram;
};

/** One packet and a fault that hits it. */
struct Hit {
    std::uint32_t packet;
    const PacketFault* fault;
};

/** What becomes of the packets that are hit, in the order in which it is sent. */
std::vector<Placed> Changed(const FramePackets& packets, const Sending& sending,
                            const std::vector<Hit>& hits)
{
    std::vector<Placed> placed;
    for (auto hit = hits.begin(); hit != hits.end();) {
        const std::uint32_t number = hit->packet;
        std::vector<FaultyDatagram> datagrams(1);
        datagrams[0].bytes = packets.Datagram(number, sending.resent ? kResent : 0);
        for (; hit != hits.end() && hit->packet == number; ++hit) {
            hit->fault->Change(packets, &datagrams);
        }
        for (FaultyDatagram& datagram : datagrams) {
            const std::uint32_t behind = number + std::min(datagram.behind, sending.last - number);
            placed.push_back({behind, std::move(datagram)});
        }
    }
    std::stable_sort(placed.begin(), placed.end(),
                     [](const Placed& a, const Placed& b) { return a.behind < b.behind; });
    return placed;
}

} // namespace

StreamFaults::~StreamFaults() = default;
StreamFaults::StreamFaults(StreamFaults&&) noexcept = default;
StreamFaults& StreamFaults::operator=(StreamFaults&&) noexcept = default;

bool StreamFaults::IsKind(std::string_view kind)
{
    return kind == "numbers" || kind == "ticks" || PacketFault::IsKind(kind);
}

StreamFaults::StreamFaults(std::span<const std::string> texts, std::string_view serial)
{
    for (const std::string& given : texts) {
        FaultText text(given);
        if (!IsKind(text.Kind())) {
            text.Refuse("there is no such fault of the stream");
        }
        const bool mine = text.Text("camera", serial) == serial;
        StreamFaults checked({}, serial);
        (mine ? *this : checked).Add(text);
        text.CheckAllTaken();
    }
}

void StreamFaults::Add(FaultText& text)
{
    if (text.Kind() == "numbers") {
        numbers_.first = text.Number("first", 1);
        numbers_.wrapsToZero = text.Text("wrap", "1") == "0";
        if (text.Has("bits")) {
            numbers_.bits = static_cast<unsigned>(text.Number("bits", 0) & 0xFF);
        }
        if (numbers_.bits && numbers_.bits != kUsualBits && numbers_.bits != kExtendedBits) {
            text.Refuse("numbers have 16 or 64 bits");
        }
        if (numbers_.first == 0 && !numbers_.wrapsToZero) {
            text.Refuse("the first number is 0 only with wrap=0");
        }
        return;
    }
    if (text.Kind() == "ticks") {
        const std::uint64_t bits = text.Number("bits", 64);
        if (bits == 0 || bits > 64) {
            text.Refuse("a tick counter has 1 to 64 bits");
        }
        const std::uint64_t jump = text.Number("jump", 0) - text.Number("back", 0);
        const bool zero = text.Number("zero", 0) != 0;
        tickFaults_.push_back({Occurrence(text), ~std::uint64_t{0} >> (64 - bits), jump, zero});
        return;
    }
    packetFaults_.emplace_back(text);
}

void StreamFaults::Plan(const FramePackets& packets, const Sending& sending,
                        std::vector<Outgoing>* outgoing)
{
    outgoing->clear();
    std::vector<Hit> hits;
    std::vector<std::uint32_t> numbers;
    for (PacketFault& fault : packetFaults_) {
        numbers.clear();
        if (fault.Concerns(sending)) {
            fault.Hits(packets, sending, &numbers);
        }
        for (const std::uint32_t number : numbers) {
            if (packets.Has(number)) {
                hits.push_back({number, &fault});
            }
        }
    }
    std::stable_sort(hits.begin(), hits.end(),
                     [](const Hit& a, const Hit& b) { return a.packet < b.packet; });
    std::vector<Placed> placed = Changed(packets, sending, hits);

    std::uint32_t next = sending.first;
    auto hit = hits.begin();
    const auto sendUnchanged = [&](std::uint32_t last) { // up to this packet
        for (; hit != hits.end() && hit->packet <= last; ++hit) {
            if (hit->packet > next) {
                outgoing->push_back({.first = next, .last = hit->packet - 1});
            }
            next = hit->packet + 1;
        }
        if (next <= last) {
            outgoing->push_back({.first = next, .last = last});
            next = last + 1;
        }
    };
    for (Placed& place : placed) {
        sendUnchanged(place.behind);
        outgoing->push_back({.datagram = std::move(place.datagram.bytes),
                             .lateMs = place.datagram.lateMs,
                             .stranger = place.datagram.stranger});
    }
    sendUnchanged(sending.last);
}

std::uint64_t StreamFaults::Block(std::uint64_t frame, bool extendedIds) const
{
    const std::uint64_t number = numbers_.first + (frame - 1);
    if (numbers_.bits.value_or(extendedIds ? kExtendedBits : kUsualBits) == kUsualBits) {
        return numbers_.wrapsToZero ? number & kMostUsual : (number - 1) % kMostUsual + 1;
    }
    const bool wrapped = number < numbers_.first;
    return number + (wrapped && !numbers_.wrapsToZero ? 1 : 0);
}

std::uint64_t StreamFaults::Ticks(std::uint64_t frame, std::uint64_t ticks)
{
    std::uint64_t mask = ~std::uint64_t{0};
    bool zero = false;
    for (TickFault& fault : tickFaults_) {
        if (fault.occurrence.Occurs(frame)) {
            jumped_ += fault.jump;
            mask &= fault.mask;
            zero |= fault.zero;
        }
    }
    return zero ? 0 : (ticks + jumped_) & mask;
}

bool StreamFaults::IgnoresRequest(std::uint64_t block)
{
    return std::any_of(packetFaults_.begin(), packetFaults_.end(), [&](PacketFault& fault) {
        return fault.kind == PacketFault::Kind::IgnoreResend && fault.occurrence.Occurs(block);
    });
}

} // namespace kvcam
