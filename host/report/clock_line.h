/** How far the host's clock is ahead of the camera's, from the frames that were delayed least. */
#pragma once

#include <array>
#include <cstddef>

namespace kvgrab
{

/** Takes each frame's camera time and the offset of its arrival from that, and keeps a straight
 *  line through the offsets of the least delayed frames, for the times of now. All times in
 *  nanoseconds.
 *
 *  Arrivals are late, never early. Frames are therefore taken in blocks, and each block is
 *  represented by its frame with the least delay. Blocks grow until they last a second and have 16
 *  frames. Until then there are few of them, and the line is the one below all of them that is most
 *  likely if delays are distributed exponentially and clocks differ by some 100 parts per million.
 *  Then the line is fitted to the blocks by least squares, without those that stand out, over as
 *  many of the newest 256 blocks as agree with the line through fewer of them: long when the drift
 *  is constant, short when it wanders.
 *
 *  Allocates nothing. A frame takes a few steps; one that completes a block some thousand. */
class ClockLine
{
public:
    struct Point {
        double cameraNs = 0;
        double offsetNs = 0;
    };
    /** Frames come in the order of their camera times, which all differ. */
    void Add(Point frame);

    double OffsetAt(double cameraNs) const
    {
        return line_.offsetNs + line_.slope * (cameraNs - line_.atNs);
    }
    /** By how much the offsets of blocks scatter, one standard deviation; 0: not yet known. */
    double ScatterNs() const { return scatterNs_; }

private:
    static constexpr std::size_t kBlocks = 256;
    static constexpr std::size_t kGrowingBlocks = 16; ///< while blocks grow

    struct Line {
        double atNs = 0;
        double offsetNs = 0; ///< there
        double slope = 0;
        double blocks = 0; ///< that it was fitted to
    };
    double Delay(const Point& frame) const;
    void CompleteBlock();
    void MergePairs();
    double Scatter() const;
    Line LineBelow(double atNs) const;
    Line LineThroughNewest(std::size_t count, double atNs) const;
    void FitBlocks(double atNs);

    std::array<Point, kBlocks> blocks_{};
    std::size_t count_ = 0;
    Point unfinished_; ///< the least delayed frame of the block that isn't complete yet
    double unfinishedFromNs_ = 0;
    std::size_t unfinishedFrames_ = 0;
    std::size_t framesPerBlock_ = 1; ///< while blocks grow
    bool grown_ = false;
    Line line_;
    double scatterNs_ = 0;
};

} // namespace kvgrab
