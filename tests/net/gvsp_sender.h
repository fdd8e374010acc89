/** Packets of a stream channel as a camera sends them. */
#pragma once

#include <cstdint>
#include <vector>

using Packet = std::vector<std::uint8_t>;

template <class Number> void PutBig(Packet* packet, Number number)
{
    for (std::size_t i = sizeof number; i-- > 0;) {
        packet->push_back(static_cast<std::uint8_t>(std::uint64_t{number} >> 8 * i));
    }
}

/** A byte of the picture that the frame shows. */
inline std::uint8_t PictureByte(std::uint64_t frame, std::uint64_t at)
{
    return static_cast<std::uint8_t>(frame * 89 + at * 7 + at / 256);
}

/** Sends pictures of 100 bytes a line, of which each payload packet has as many as `step` says. */
struct GvspSender {
    bool extendedIds = false;
    std::uint64_t bytes = 300; ///< of a frame
    std::uint64_t step = 100;  ///< bytes of a payload packet
    std::uint16_t payloadType = 1;
    std::uint32_t width = 100;
    std::uint32_t height = 3;

    std::uint32_t Trailer() const
    {
        return static_cast<std::uint32_t>((bytes + step - 1) / step) + 1;
    }

    Packet Header(std::uint64_t frame, std::uint8_t content, std::uint32_t id,
                  std::uint16_t status = 0) const
    {
        Packet packet;
        PutBig(&packet, status);
        if (!extendedIds) {
            PutBig(&packet, static_cast<std::uint16_t>(frame));
            PutBig(&packet, std::uint32_t{content} << 24 | (id & 0xFFFFFF));
            return packet;
        }
        PutBig(&packet, std::uint16_t{0});
        PutBig(&packet, std::uint32_t{content} << 24 | std::uint32_t{1} << 31);
        PutBig(&packet, frame);
        PutBig(&packet, id);
        return packet;
    }

    Packet Leader(std::uint64_t frame) const
    {
        Packet packet = Header(frame, 1, 0);
        PutBig(&packet, std::uint16_t{0});
        PutBig(&packet, payloadType);
        PutBig(&packet, frame * 1000); // ticks
        for (const std::uint32_t value : {0x01080001U, width, height, 0U, 0U, 0U}) {
            PutBig(&packet, value);
        }
        return packet;
    }

    Packet TrailerPacket(std::uint64_t frame, std::uint32_t id, std::uint32_t lines) const
    {
        Packet packet = Header(frame, 2, id);
        PutBig(&packet, std::uint32_t{payloadType});
        if ((payloadType & 4) != 0) {
            PutBig(&packet, static_cast<std::uint32_t>(bytes));
        }
        PutBig(&packet, lines);
        return packet;
    }

    /** With `length` bytes of data. */
    Packet Payload(std::uint64_t frame, std::uint32_t id, std::uint64_t length) const
    {
        Packet packet = Header(frame, 3, id);
        const std::uint64_t begin = id == 0 ? 0 : (std::uint64_t{id} - 1) * step;
        for (std::uint64_t i = begin; i < begin + length; ++i) {
            packet.push_back(PictureByte(frame, i));
        }
        return packet;
    }

    std::uint64_t LengthOf(std::uint32_t id) const
    {
        const std::uint64_t begin = (std::uint64_t{id} - 1) * step;
        return begin < bytes && bytes - begin < step ? bytes - begin : step;
    }

    /** The packet of this number as it belongs. */
    Packet Make(std::uint64_t frame, std::uint32_t id) const
    {
        if (id == 0) {
            return Leader(frame);
        }
        return id == Trailer() ? TrailerPacket(frame, id, height)
                               : Payload(frame, id, LengthOf(id));
    }
};
