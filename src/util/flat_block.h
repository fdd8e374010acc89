/** Are these buffers one evenly spaced block? */
#pragma once

#include <cstdint>

namespace KvTd
{

/** Takes the addresses of buffers one after the other. */
class FlatBlock
{
public:
    /** `size`: bytes that each buffer must have. */
    FlatBlock(const void* first, std::uint32_t size);

    /** False: it lies below the one before, or too close to it, or at another distance than those
     *  before. */
    bool Add(const void* next);

    /** Distance of two buffers in bytes; 0 as long as there is only one. */
    std::uint64_t Stride() const { return stride_; }

private:
    std::uintptr_t last_;
    std::uint32_t size_;
    std::uint64_t stride_ = 0;
};

} // namespace KvTd
