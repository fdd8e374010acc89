#include "board.h"

#include <fcntl.h>
#include <unistd.h>

namespace kvframes
{

std::shared_ptr<const Board> Board::Open(const std::string& memoryName)
{
    int error = 0;
    std::uint64_t bytes = 0;
    const std::string name = memoryName + KvFrames::kConsumerBoardSuffix;
    auto mapping = Mapping::Open(name.c_str(), Mapping::Access::kReadWrite,
                                 sizeof(KvFrames::ConsumerBoard), &error, &bytes);
    if (!mapping) {
        return nullptr;
    }
    auto board = std::make_shared<const Board>(std::move(mapping));
    const KvFrames::ConsumerBoard& words = board->Words();
    const bool usable =
        words.magic.load(std::memory_order_acquire) == KvFrames::kConsumerBoardMagic &&
        words.version.load(std::memory_order_relaxed) == KvFrames::kFrameMemoryVersion;
    return usable ? board : nullptr;
}

bool Board::ChangeLock(std::uint32_t lease, short type) const
{
    struct flock lock = {};
    lock.l_type = type;
    lock.l_whence = SEEK_SET;
    lock.l_start = lease;
    lock.l_len = 1;
    return fcntl(mapping_->Fd(), F_OFD_SETLK, &lock) == 0;
}

std::optional<std::uint32_t> Board::LockLease() const
{
    for (std::uint32_t lease = 0; lease < KvFrames::kLeases; ++lease) {
        if (ChangeLock(lease, F_WRLCK)) {
            return lease;
        }
    }
    return std::nullopt;
}

void Board::UnlockLease(std::uint32_t lease) const
{
    ChangeLock(lease, F_UNLCK);
}

void Board::SetLease(std::uint32_t lease, std::uint64_t sequence) const
{
    Words().inUse.fetch_or(std::uint64_t{1} << lease);
    Words().leases[lease].store(sequence);
}

void Board::ClearLease(std::uint32_t lease) const
{
    Words().leases[lease].store(0);
    Words().inUse.fetch_and(~(std::uint64_t{1} << lease));
}

} // namespace kvframes
