/** A shared-memory object that is mapped into this process. */
#pragma once

#include "kv_frame_memory.h"

#include <cstddef>
#include <cstdint>
#include <memory>

namespace kvframes
{

/** One mapping of an object, with a file descriptor of its own. Immutable, so it may be shared by
 *  threads; it lasts as long as somebody looks at a frame in it. */
class Mapping
{
public:
    enum class Access { kRead, kReadWrite };

    /** Null: `*error` is the system's error number, or 0 if the object is smaller than
     *  `leastBytes`. `*bytes` is its size then. */
    static std::shared_ptr<const Mapping>
    Open(const char* name, Access access, std::size_t leastBytes, int* error, std::uint64_t* bytes);
    /** Maps the whole object again, which may have grown. Null: `*error` as in Open(). */
    std::shared_ptr<const Mapping> Again(std::size_t leastBytes, int* error) const;

    ~Mapping();
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;

    std::byte* Base() const { return base_; }
    std::size_t Bytes() const { return bytes_; }
    int Fd() const { return fd_; }

    const KvFrames::FrameMemoryHeader& Header() const
    {
        return *reinterpret_cast<const KvFrames::FrameMemoryHeader*>(base_);
    }
    /** Only for indices below the number of buffers of a layout that fits the mapping. */
    const KvFrames::FrameBufferInfo& Info(std::uint32_t index) const
    {
        return reinterpret_cast<const KvFrames::FrameBufferInfo*>(
            base_ + sizeof(KvFrames::FrameMemoryHeader))[index];
    }

private:
    Mapping(int fd, std::byte* base, std::size_t bytes) : fd_(fd), base_(base), bytes_(bytes) {}
    /** Takes over `fd`. */
    static std::shared_ptr<const Mapping> Map(int fd, Access access, std::size_t leastBytes,
                                              int* error, std::uint64_t* bytes);

    int fd_;
    std::byte* base_;
    std::size_t bytes_;
};

/** True while a host lives and uses the memory. Its lock disappears with its process, however that
 *  ends. */
bool HasHost(const Mapping& memory);

} // namespace kvframes
