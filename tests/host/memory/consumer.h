/** A consumer: maps the frame memory as another process does. */
#pragma once

#include "kv_frame_memory.h"

#include <fcntl.h>
#include <string>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

/** A name of this process's own, so that tests run beside each other and beside a real host. */
inline std::string OwnMemoryName()
{
    return "/kvgrab-test-" + std::to_string(getpid());
}

class Consumer
{
public:
    explicit Consumer(const std::string& name = OwnMemoryName())
        : fd_(shm_open(name.c_str(), O_RDONLY, 0))
    {
        fstat(fd_, &status_);
        base_ =
            static_cast<const std::byte*>(mmap(nullptr, Bytes(), PROT_READ, MAP_SHARED, fd_, 0));
    }
    ~Consumer()
    {
        munmap(const_cast<std::byte*>(base_), Bytes());
        close(fd_);
    }
    Consumer(const Consumer&) = delete;
    Consumer& operator=(const Consumer&) = delete;

    const KvFrames::FrameMemoryHeader& Header() const
    {
        return *reinterpret_cast<const KvFrames::FrameMemoryHeader*>(base_);
    }
    const KvFrames::FrameBufferInfo& Info(std::uint32_t index) const
    {
        return reinterpret_cast<const KvFrames::FrameBufferInfo*>(
            base_ + sizeof(KvFrames::FrameMemoryHeader))[index];
    }
    KvFrames::FrameState State(std::uint32_t index) const
    {
        return KvFrames::StateOfFrame(Info(index).word);
    }
    const std::uint8_t* Pixels(std::uint32_t index) const
    {
        return reinterpret_cast<const std::uint8_t*>(base_) + Header().pixelOffset +
               index * Header().stride;
    }
    std::size_t Bytes() const { return static_cast<std::size_t>(status_.st_size); }
    /** Of the object, on the disk or in memory, when it was mapped. */
    std::size_t ReservedBytes() const { return static_cast<std::size_t>(status_.st_blocks) * 512; }

private:
    int fd_ = -1;
    struct stat status_ = {};
    const std::byte* base_ = nullptr;
};

/** The board, as a consumer that may hold frames maps it. */
class Board
{
public:
    explicit Board(const std::string& name = OwnMemoryName())
        : fd_(shm_open((name + KvFrames::kConsumerBoardSuffix).c_str(), O_RDWR, 0)),
          board_(static_cast<KvFrames::ConsumerBoard*>(
              mmap(nullptr, sizeof(KvFrames::ConsumerBoard), PROT_READ | PROT_WRITE, MAP_SHARED,
                   fd_, 0)))
    {
    }
    ~Board()
    {
        munmap(board_, sizeof(KvFrames::ConsumerBoard));
        close(fd_);
    }
    Board(const Board&) = delete;
    Board& operator=(const Board&) = delete;

    KvFrames::ConsumerBoard& Get() const { return *board_; }
    mode_t Mode() const
    {
        struct stat status = {};
        fstat(fd_, &status);
        return status.st_mode & 0777;
    }
    /** A lease on the frame with this number; nobody locks it unless it is `alive`. */
    void Hold(std::uint32_t lease, std::uint64_t sequence, bool alive) const
    {
        struct flock lock = {};
        lock.l_type = alive ? F_WRLCK : F_UNLCK;
        lock.l_whence = SEEK_SET;
        lock.l_start = lease;
        lock.l_len = 1;
        fcntl(fd_, F_OFD_SETLK, &lock);
        board_->inUse |= std::uint64_t{1} << lease;
        board_->leases[lease] = sequence;
    }
    /** Leaves nothing of it. */
    bool Cut() const { return ftruncate(fd_, 0) == 0; }

private:
    int fd_;
    KvFrames::ConsumerBoard* board_;
};
