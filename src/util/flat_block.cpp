/** Checks that buffers lie evenly spaced in memory. */
#include "util/flat_block.h"

namespace KvTd
{

FlatBlock::FlatBlock(const void* first, std::uint32_t size)
    : last_(reinterpret_cast<std::uintptr_t>(first)), size_(size)
{
}

bool FlatBlock::Add(const void* next)
{
    const auto address = reinterpret_cast<std::uintptr_t>(next);
    if (address <= last_) {
        return false;
    }
    const std::uint64_t gap = address - last_;
    if (gap < size_ || (stride_ != 0 && gap != stride_)) {
        return false;
    }
    stride_ = gap;
    last_ = address;
    return true;
}

} // namespace KvTd
