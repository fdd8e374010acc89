#include "board.h"

#include <fcntl.h>
#include <sys/stat.h>
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
    return board->IsWhole() ? board : nullptr;
}

bool Board::IsWhole() const
{
    struct stat status = {};
    return fstat(mapping_->Fd(), &status) == 0 && status.st_nlink > 0 &&
           static_cast<std::size_t>(status.st_size) >= sizeof(KvFrames::ConsumerBoard) &&
           Words().magic.load(std::memory_order_acquire) == KvFrames::kConsumerBoardMagic &&
           Words().version.load(std::memory_order_relaxed) == KvFrames::kFrameMemoryVersion;
}

void Board::AnnounceWaiting() const
{
    if (IsWhole()) {
        Words().waiting.store(1);
    }
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
    if (IsWhole()) {
        Words().inUse.fetch_or(std::uint64_t{1} << lease);
        Words().leases[lease].store(sequence);
    }
}

void Board::ClearLease(std::uint32_t lease) const
{
    if (IsWhole()) {
        Words().leases[lease].store(0);
        Words().inUse.fetch_and(~(std::uint64_t{1} << lease));
    }
}

} // namespace kvframes
