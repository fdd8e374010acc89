#include "tools/kvcam/stream/packet_fault.h"

#include "tools/kvcam/control/memory.h"
#include "tools/kvcam/stream/wire_numbers.h"

#include <algorithm>
#include <iterator>

namespace kvcam
{

namespace
{

using Bytes = std::vector<std::uint8_t>;

/** The fields of a header. */
constexpr std::size_t kStatusAt = 0;
constexpr std::size_t kBlockAt = 2;
constexpr std::size_t kContentAt = 4;
constexpr std::size_t kPacketAt = 5;
constexpr std::size_t kExtendedBlockAt = 8;
constexpr std::size_t kExtendedPacketAt = 16;
constexpr std::size_t kPayloadTypeAt = 2; // behind the header, in leader and trailer
constexpr std::uint8_t kExtended = 0x80;
constexpr std::uint8_t kFiller = 0xA5;

/** Writes a number into a header, unless an earlier fault has cut off that part. */
template <std::size_t Width> void Overwrite(Bytes* bytes, std::size_t at, std::uint64_t number)
{
    if (bytes->size() >= at + Width) {
        PutNumber<Width>(bytes->data() + at, number);
    }
}

void OverwriteBlock(Bytes* bytes, bool extended, std::uint64_t block)
{
    if (extended) {
        Overwrite<8>(bytes, kExtendedBlockAt, block);
    } else {
        Overwrite<2>(bytes, kBlockAt, block);
    }
}

void OverwritePacket(Bytes* bytes, bool extended, std::uint64_t packet)
{
    if (extended) {
        Overwrite<4>(bytes, kExtendedPacketAt, packet);
    } else {
        Overwrite<3>(bytes, kPacketAt, packet);
    }
}

/** A kind's name, and the name of its own setting with the value when it isn't given. */
struct KindRow {
    const char* name;
    const char* setting; ///< null: it has none
    std::uint64_t usual;
};

/** In the order of PacketFault::Kind. */
constexpr KindRow kKinds[] = {
    {"lose", nullptr, 0},
    {"late", "ms", 10},
    {"reorder", "by", 1},
    {"duplicate", nullptr, 0},
    {"truncate", "bytes", 1},
    {"length", "bytes", 4},
    {"wrong-id", "block", 0},
    {"packet-number", "value", 0xFF'FFFF},
    {"content", "value", 0x7F},
    {"payload-type", "value", 0x0A},
    {"stranger", nullptr, 0},
    {"refuse-resend", "status", static_cast<std::uint64_t>(Status::PacketUnavailable)},
    {"ignore-resend", nullptr, 0}};

const KindRow* RowOf(std::string_view kind)
{
    return std::find_if(std::begin(kKinds), std::end(kKinds),
                        [&](const KindRow& row) { return row.name == kind; });
}

} // namespace

bool PacketFault::IsKind(std::string_view kind)
{
    return RowOf(kind) != std::end(kKinds);
}

PacketFault::PacketFault(FaultText& text)
    : kind(static_cast<Kind>(RowOf(text.Kind()) - std::begin(kKinds))),
      eachPacket(text.Has("ratio") && !text.Has("packet")), occurrence(text)
{
    const KindRow& row = kKinds[static_cast<std::size_t>(kind)];
    value = row.setting == nullptr ? 0 : text.Number(row.setting, row.usual);
    if (kind == Kind::RefuseResend || kind == Kind::IgnoreResend) {
        onFirst = false;
        onResent = true;
    } else {
        onResent = text.Number("resent", 0) != 0;
    }
    constexpr std::uint64_t kMostBytes = 0xFFFF;
    constexpr std::uint64_t kMostMs = 3'600'000;
    if ((kind == Kind::Truncate || kind == Kind::Length) && value > kMostBytes) {
        text.Refuse("no datagram is so long");
    }
    if (kind == Kind::Late && value > kMostMs) {
        text.Refuse("a packet is late by an hour at most");
    }
    if (!text.Has("packet")) {
        return;
    }
    constexpr std::uint64_t kMostPackets = 0xFFFF'FFFF;
    packets = std::min(text.Number("packets", 1), kMostPackets);
    if (packets == 0) {
        text.Refuse("packets=0 hits none");
    }
    const std::string chosen = FaultText(text).Text("packet", "");
    if (chosen == "trailer" || chosen == "-1") {
        text.Text("packet", "");
        packet = kTrailer;
    } else {
        packet = static_cast<std::int64_t>(std::min(text.Number("packet", 0), kMostPackets));
    }
}

void PacketFault::Hits(const FramePackets& packetsOfFrame, const Sending& sending,
                       std::vector<std::uint32_t>* hits)
{
    const std::uint64_t trailer = packetsOfFrame.Trailer();
    std::uint64_t first = sending.first;
    std::uint64_t last = sending.last;
    if (packet) {
        const std::uint64_t from =
            *packet == kTrailer ? trailer : static_cast<std::uint64_t>(*packet);
        first = std::max(first, from);
        last = std::min(last, from + packets - 1);
    }
    if (first > last || (!eachPacket && !occurrence.Occurs(sending.frame))) {
        return;
    }
    for (std::uint64_t number = first; number <= last; ++number) {
        const bool framed = number == 0 || number == trailer;
        if ((kind == Kind::PayloadType && !framed) ||
            (eachPacket && !occurrence.Occurs(sending.frame))) {
            continue;
        }
        hits->push_back(static_cast<std::uint32_t>(number));
    }
}

void PacketFault::Change(const FramePackets& packetsOfFrame,
                         std::vector<FaultyDatagram>* datagrams) const
{
    if (kind == Kind::Lose || kind == Kind::IgnoreResend) {
        datagrams->clear();
    } else if (kind == Kind::Duplicate || kind == Kind::Stranger) {
        Multiply(packetsOfFrame, datagrams);
    } else {
        for (FaultyDatagram& datagram : *datagrams) {
            ChangeOne(packetsOfFrame, &datagram);
        }
    }
}

/** The stranger's packets come first, so that they could take the place of the others. */
void PacketFault::Multiply(const FramePackets& packetsOfFrame,
                           std::vector<FaultyDatagram>* datagrams) const
{
    std::vector<FaultyDatagram> more = *datagrams;
    for (FaultyDatagram& datagram : more) {
        datagram.stranger |= kind == Kind::Stranger;
        for (std::size_t at = HeaderBytes(packetsOfFrame.Form());
             kind == Kind::Stranger && at < datagram.bytes.size(); ++at) {
            datagram.bytes[at] = static_cast<std::uint8_t>(~datagram.bytes[at]);
        }
    }
    datagrams->insert(datagrams->begin(), more.begin(), more.end());
}

void PacketFault::ChangeOne(const FramePackets& packetsOfFrame, FaultyDatagram* datagram) const
{
    Bytes& bytes = datagram->bytes;
    const bool extended = packetsOfFrame.Form().extendedIds;
    const std::size_t header = HeaderBytes(packetsOfFrame.Form());
    switch (kind) {
    case Kind::Late:
        datagram->lateMs += value;
        return;
    case Kind::Reorder:
        datagram->behind +=
            static_cast<std::uint32_t>(std::min<std::uint64_t>(value, packetsOfFrame.Trailer()));
        return;
    case Kind::Truncate:
        bytes.resize(bytes.size() - std::min<std::size_t>(bytes.size(), value));
        return;
    case Kind::Length:
        bytes.resize(bytes.size() + value, kFiller);
        return;
    case Kind::WrongId:
        OverwriteBlock(&bytes, extended, value);
        return;
    case Kind::PacketNumber:
        OverwritePacket(&bytes, extended, value);
        return;
    case Kind::Content:
        Overwrite<1>(&bytes, kContentAt, (value & 0x7F) | (extended ? kExtended : 0U));
        return;
    case Kind::PayloadType:
        Overwrite<2>(&bytes, header + kPayloadTypeAt, value);
        return;
    case Kind::RefuseResend:
        bytes.resize(std::min(bytes.size(), header));
        Overwrite<2>(&bytes, kStatusAt, value);
        return;
    default: // they change how many datagrams there are
        return;
    }
}

} // namespace kvcam
