/** What a datagram from a camera's control port says about a question. No socket and no clock. */
#pragma once

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <span>

namespace net
{

constexpr std::size_t kGvcpHeader = 8; ///< bytes of a question or an answer before its content

/** What was asked. */
struct GvcpQuestion {
    std::uint16_t command = 0;
    std::uint16_t id = 0;
    /** Bytes of the answer's content; 0: they don't matter. */
    std::size_t size = 0;
    /** The content begins with the address that was asked for: that of a block of memory. */
    bool isBlock = false;
    std::uint32_t address = 0;
};

struct GvcpAnswer {
    enum class Kind {
        Stray,     ///< no answer to this question, which is waited for further
        Pending,   ///< the camera needs more time
        Busy,      ///< the question has to be asked again
        Refused,   ///< the camera does not do it
        Malformed, ///< it answers, but not what was asked
        Given
    };
    Kind kind = Kind::Stray;
    std::uint32_t status = 0;                   ///< of Refused
    std::chrono::milliseconds more{0};          ///< of Pending
    std::span<const std::uint8_t> content = {}; ///< of Given: as many bytes as were asked for
};

GvcpAnswer ReadGvcpAnswer(const GvcpQuestion& question, std::span<const std::uint8_t> datagram);

std::uint32_t Take16(const std::uint8_t* from);
std::uint32_t Take32(const std::uint8_t* from);

} // namespace net
