#include "memory/leases.h"

#include <bit>
#include <fcntl.h>

namespace kvgrab
{

using namespace KvFrames;

bool Leases::Hold(std::uint64_t sequence) const
{
    const ConsumerBoard* const board = object_.Board();
    if (board == nullptr) {
        return false;
    }
    for (std::uint64_t left = board->inUse.load(); left != 0; left &= left - 1) {
        const auto lease = static_cast<unsigned>(std::countr_zero(left));
        if (board->leases[lease].load() == sequence && IsLocked(lease)) {
            return true;
        }
    }
    return false;
}

unsigned Leases::Most() const
{
    const ConsumerBoard* const board = object_.Board();
    return board == nullptr ? 0 : static_cast<unsigned>(std::popcount(board->inUse.load()));
}

/** Its lock ends with the consumer. */
bool Leases::IsLocked(unsigned lease) const
{
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    lock.l_start = lease;
    lock.l_len = 1;
    return fcntl(object_.Fd(), F_OFD_GETLK, &lock) == 0 && lock.l_type != F_UNLCK;
}

} // namespace kvgrab
