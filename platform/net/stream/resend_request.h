/** Asks a camera to send packets again. */
#pragma once

#include "net/stream/reassembly.h"

#include <array>
#include <cstdint>
#include <span>

namespace net
{

/** The command PACKETRESEND of the control protocol, without an acknowledge. */
class ResendCommand
{
public:
    /** `id` is different from the one before, and not 0. */
    ResendCommand(const ResendRequest& request, std::uint16_t id);
    std::span<const std::uint8_t> Bytes() const { return std::span(bytes_).first(size_); }

private:
    void Put(std::uint64_t value, std::size_t bytes);

    std::array<std::uint8_t, 28> bytes_{};
    std::size_t size_ = 0;
};

} // namespace net
