/** Whether frames are requested of which no packet came. */
#pragma once

#include <cstdint>

namespace net
{

/** A camera that leaves out numbers, and has nothing for them, isn't asked each time: such a
 * request holds the frames behind back. */
class WholeRequests
{
public:
    static constexpr std::uint64_t kMost = 8; ///< frames at a time

    void Restart() { *this = WholeRequests(); }
    bool MayBegin(std::uint64_t sequence) const { return sequence >= from_; }
    void Came() { inVain_ = 0; }
    void InVain(std::uint64_t sequence)
    {
        if (++inVain_ == kMostInVain) {
            *this = WholeRequests();
            from_ = sequence + kPauseFrames;
        }
    }

private:
    static constexpr std::uint32_t kMostInVain = 16; ///< in a row
    static constexpr std::uint64_t kPauseFrames = 1000;

    std::uint32_t inVain_ = 0;
    std::uint64_t from_ = 0; ///< earlier frames are not requested
};

} // namespace net
