/** The address space of a camera, as its clients read and write it.
 *
 *      0x0000'0000  bootstrap registers of GigE Vision (control/)
 *      0x0010'0000  text of the description (features/)
 *      0x0100'0000  values of the features (features/)
 *
 *  All numbers are big endian. */
#pragma once

#include <cstdint>
#include <span>

namespace kvcam
{

constexpr std::uint32_t kDescriptionBase = 0x0010'0000;
constexpr std::uint32_t kFeatureBase = 0x0100'0000;

/** Status codes of GVCP and GVSP. */
enum class Status : std::uint16_t {
    Done = 0,
    NotImplemented = 0x8001,
    InvalidParameter = 0x8002,
    InvalidAddress = 0x8003,
    WriteProtected = 0x8004,
    BadAlignment = 0x8005,
    AccessDenied = 0x8006,
    Busy = 0x8007,
    PacketUnavailable = 0x800C,
    InvalidHeader = 0x800E,
    PacketNotYetAvailable = 0x8010,
    PacketAndPreviousRemoved = 0x8011,
    PacketRemoved = 0x8012,
    Error = 0x8FFF,
    NoAnswer = 0xFFFF ///< never sent: the camera doesn't answer, as one that has left the network
};

/** One part of the address space. Accesses come from one thread at a time. */
class Memory
{
public:
    virtual ~Memory() = default;
    /** Fills `bytes`, of any size from 1 on. */
    virtual Status Read(std::uint32_t address, std::span<std::uint8_t> bytes) = 0;
    virtual Status Write(std::uint32_t address, std::span<const std::uint8_t> bytes) = 0;
};

} // namespace kvcam
