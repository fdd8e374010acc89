#include "net/stream/resend_request.h"

namespace net
{

ResendCommand::ResendCommand(const ResendRequest& request, std::uint16_t id)
{
    constexpr std::uint64_t kKey = 0x42;
    constexpr std::uint64_t kLongIds = 0x10;
    constexpr std::uint64_t kResend = 0x0040;
    constexpr std::uint64_t kChannel = 0;
    constexpr std::uint64_t kBody = 12;
    constexpr std::uint64_t kLongBody = 20;
    Put(kKey, 1);
    Put(request.extendedIds ? kLongIds : 0, 1);
    Put(kResend, 2);
    Put(request.extendedIds ? kLongBody : kBody, 2);
    Put(id, 2);
    Put(kChannel, 2);
    Put(request.extendedIds ? 0 : request.number, 2);
    Put(request.first, 4);
    Put(request.last, 4);
    if (request.extendedIds) {
        Put(request.number, 8);
    }
}

/** Big endian. */
void ResendCommand::Put(std::uint64_t value, std::size_t bytes)
{
    for (std::size_t i = bytes; i-- > 0;) {
        bytes_[size_++] = static_cast<std::uint8_t>(value >> 8 * i);
    }
}

} // namespace net
