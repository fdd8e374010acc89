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
