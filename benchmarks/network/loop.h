/** Loops that receive frames and do nothing else, and which frames of a run came whole. */
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

namespace bench
{

/** Short enough not to limit the frame rate. */
constexpr double kExposureUs = 100;
/** How long a loop waits for a frame before it takes the rest of the run for lost. */
constexpr std::uint32_t kPatienceMs = 1000;

/** One run of a loop that receives frames and does nothing else. */
struct LoopPlan {
    std::string address;
    std::int64_t width = 0;  ///< pixels
    std::int64_t height = 0; ///< lines
    double fps = 0;
    int packetSize = 0; ///< bytes
    int buffers = 0;
    std::uint64_t frames = 0; ///< that the camera sends from the first one that comes
    std::uint64_t damagedEvery =
        0;                     ///< the camera damages frames whose number this divides; 0: none
    bool packetSocket = false; ///< the library's packet socket, not its UDP socket
};

class Tally
{
public:
    explicit Tally(const LoopPlan& plan)
        : damagedEvery_(plan.damagedEvery), whole_(plan.frames),
          limit_(2 + 2 * static_cast<double>(plan.frames) / plan.fps)
    {
    }

    /** `number` is the camera's own; 0 if nothing that came of the frame said it. */
    void Add(std::uint64_t number, bool whole)
    {
        end_ = std::chrono::steady_clock::now();
        if (begin_ == std::chrono::steady_clock::time_point{}) {
            begin_ = end_;
        }
        first_ = first_ == 0 ? number : first_;
        const std::uint64_t index = number - first_;
        if (number == 0 || index > kHighest) {
            return;
        }
        last_ = std::max(last_, index);
        if (whole && index < whole_.size()) {
            whole_[index] = true;
        }
    }

    /** The last frame came, or the run takes more than twice the time that it should. */
    bool IsDone() const { return last_ + 1 >= whole_.size() || end_ - begin_ > limit_; }

    /** One line of words and numbers. "spared" frames were lost although the camera sent them
     * whole.
     */
    void Print(std::uint64_t packetsResent) const
    {
        unsigned long long received = 0;
        unsigned long long spared = 0;
        for (std::size_t i = 0; i < whole_.size(); ++i) {
            const bool damaged = damagedEvery_ != 0 && (first_ + i) % damagedEvery_ == 0;
            received += whole_[i] ? 1 : 0;
            spared += whole_[i] || damaged ? 0 : 1;
        }
        const auto us = std::chrono::duration_cast<std::chrono::microseconds>(end_ - begin_);
        std::printf("received %llu lost %llu spared %llu resent %llu sent %llu took %lld us\n",
                    received, whole_.size() - received, spared,
                    static_cast<unsigned long long>(packetsResent),
                    static_cast<unsigned long long>(last_), static_cast<long long>(us.count()));
    }

private:
    static constexpr std::uint64_t kHighest = 1'000'000; ///< frames of a run; a later one isn't its

    std::uint64_t damagedEvery_;
    std::vector<bool> whole_;
    std::chrono::duration<double> limit_;
    std::uint64_t first_ = 0; ///< number of the first frame that came; 0: none has
    std::uint64_t last_ = 0;  ///< the highest number, counted from there
    std::chrono::steady_clock::time_point begin_;
    std::chrono::steady_clock::time_point end_;
};

/** The two sides. Each prints its tally and returns the exit status. */
int RunPlainLoop(const LoopPlan& plan);    ///< the network library alone
int RunPlatformLoop(const LoopPlan& plan); ///< the camera calls, as the driver makes them

} // namespace bench
