/** Frames that are not received. */
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

namespace net
{

/** Frames that found no buffer, so that their packets are recognised. Frames far behind each other
 *  use the same entry, of which the older one is forgotten. */
class IgnoredFrames
{
public:
    void Clear() { *this = IgnoredFrames(); }
    void Add(std::uint64_t sequence)
    {
        sequences_[sequence % kEntries] = sequence;
        newest_ = std::max(newest_, sequence);
    }
    std::uint64_t Newest() const { return newest_; }
    bool Has(std::uint64_t sequence) const { return sequences_[sequence % kEntries] == sequence; }

private:
    static constexpr std::size_t kEntries = 1024;

    std::array<std::uint64_t, kEntries> sequences_{};
    std::uint64_t newest_ = 0;
};

} // namespace net
