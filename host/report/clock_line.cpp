#include "report/clock_line.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace kvgrab
{

namespace
{

constexpr std::size_t kLeastFrames = 16; ///< of a block that has grown
constexpr double kLeastNs = 1e9;
constexpr double kNsPerS = 1e9;
/** How clocks usually differ, one standard deviation; beyond three of these, differences are about
 * as unlikely as there, since the length of a tick may be rounded. */
constexpr double kUsualSlope = 100e-6;
constexpr double kUnusual = 3;
constexpr double kSteepest = 1;
/** From the median of absolute deviations to the standard deviation of normal errors. */
constexpr double kDeviationOfMedian = 1.4826;

/** Reorders the values. */
double MedianOf(double* values, std::size_t count)
{
    double* const middle = values + count / 2;
    std::nth_element(values, middle, values + count);
    return *middle;
}

/** The negative logarithm of a slope's probability. */
double Unlikeliness(double slope)
{
    const double deviations = std::abs(slope) / kUsualSlope;
    return deviations <= kUnusual ? deviations * deviations / 2
                                  : kUnusual * deviations - kUnusual * kUnusual / 2;
}

/** The slope at which Unlikeliness rises as fast as what is gained by a steeper one. */
double BestSlope(double gain)
{
    const double slope = gain * kUsualSlope * kUsualSlope;
    return std::abs(slope) <= kUnusual * kUsualSlope ? slope : std::copysign(kSteepest, slope);
}

double SlopeBetween(const ClockLine::Point& a, const ClockLine::Point& b)
{
    return (b.offsetNs - a.offsetNs) / (b.cameraNs - a.cameraNs);
}

/** The lower hull of points that come from left to right. */
template <std::size_t kMost> struct LowerHull {
    std::array<ClockLine::Point, kMost> corners;
    std::size_t count = 0;

    void Add(const ClockLine::Point& point)
    {
        while (count >= 2 && SlopeBetween(corners[count - 2], corners[count - 1]) >=
                                 SlopeBetween(corners[count - 1], point)) {
            --count;
        }
        corners[count++] = point;
    }
};

/** The mean delay, if delays are distributed exponentially: from the quartile of frames that are
 *  farthest above the hull. */
template <std::size_t kMost>
double TypicalDelay(const std::array<ClockLine::Point, kMost>& frames, std::size_t count,
                    const LowerHull<kMost>& hull)
{
    constexpr double kOfQuartile = 1 / 1.386;
    constexpr double kLeastDelayNs = 5000;
    std::array<double, kMost> above{};
    std::size_t side = 0;
    for (std::size_t i = 0; i < count; ++i) {
        while (side + 2 < hull.count && frames[i].cameraNs > hull.corners[side + 1].cameraNs) {
            ++side;
        }
        const ClockLine::Point& corner = hull.corners[side];
        const double slope = hull.count < 2 ? 0 : SlopeBetween(corner, hull.corners[side + 1]);
        above[i] =
            frames[i].offsetNs - corner.offsetNs - slope * (frames[i].cameraNs - corner.cameraNs);
    }
    double* const quartile = above.data() + count * 3 / 4;
    std::nth_element(above.data(), quartile, above.data() + count);
    return std::max(*quartile * kOfQuartile, kLeastDelayNs);
}

} // namespace

/** How late a frame came, apart from what the present slope explains; only good for comparisons. */
double ClockLine::Delay(const Point& frame) const
{
    return frame.offsetNs - line_.slope * frame.cameraNs;
}

void ClockLine::Add(Point frame)
{
    if (unfinishedFrames_ == 0) {
        unfinishedFromNs_ = frame.cameraNs;
        unfinished_ = frame;
    } else if (Delay(frame) < Delay(unfinished_)) {
        unfinished_ = frame;
    }
    ++unfinishedFrames_;
    const bool complete =
        grown_ ? unfinishedFrames_ >= kLeastFrames && frame.cameraNs - unfinishedFromNs_ >= kLeastNs
               : unfinishedFrames_ >= framesPerBlock_;
    if (complete) {
        CompleteBlock();
    }
    if (!grown_) {
        line_ = LineBelow(frame.cameraNs);
    } else if (complete) {
        FitBlocks(frame.cameraNs);
    }
}

void ClockLine::CompleteBlock()
{
    if (count_ == kBlocks) {
        std::move(blocks_.begin() + 1, blocks_.end(), blocks_.begin());
        --count_;
    }
    blocks_[count_++] = unfinished_;
    unfinishedFrames_ = 0;
    if (!grown_ && count_ == kGrowingBlocks) {
        MergePairs();
    }
}

void ClockLine::MergePairs()
{
    count_ /= 2;
    for (std::size_t i = 0; i < count_; ++i) {
        const Point& a = blocks_[2 * i];
        const Point& b = blocks_[2 * i + 1];
        blocks_[i] = Delay(b) < Delay(a) ? b : a;
    }
    framesPerBlock_ *= 2;
    const double blockNs =
        (blocks_[count_ - 1].cameraNs - blocks_[0].cameraNs) / static_cast<double>(count_ - 1);
    grown_ = framesPerBlock_ >= kLeastFrames && blockNs >= kLeastNs;
}

/** The most likely line below all frames. It touches a corner of their lower hull; its slope is
 *  between those of the two sides that meet there. */
ClockLine::Line ClockLine::LineBelow(double atNs) const
{
    std::array<Point, kGrowingBlocks + 1> frames;
    std::copy_n(blocks_.begin(), count_, frames.begin());
    std::size_t count = count_;
    if (unfinishedFrames_ != 0) {
        frames[count++] = unfinished_;
    }
    LowerHull<kGrowingBlocks + 1> hull;
    Point mean;
    for (std::size_t i = 0; i < count; ++i) {
        hull.Add(frames[i]);
        mean.cameraNs += frames[i].cameraNs / static_cast<double>(count);
        mean.offsetNs += frames[i].offsetNs / static_cast<double>(count);
    }
    const double perDelay = static_cast<double>(count) / TypicalDelay(frames, count, hull);
    Line best;
    double mostLikely = std::numeric_limits<double>::lowest();
    for (std::size_t i = 0; i < hull.count; ++i) {
        const Point& corner = hull.corners[i];
        const double left = i == 0 ? -kSteepest : SlopeBetween(hull.corners[i - 1], corner);
        const double right =
            i + 1 == hull.count ? kSteepest : SlopeBetween(corner, hull.corners[i + 1]);
        const double leverNs = mean.cameraNs - corner.cameraNs;
        const double slope = std::max(std::min(BestSlope(perDelay * leverNs), right), left);
        const double meanDelay = mean.offsetNs - corner.offsetNs - slope * leverNs;
        const double likelihood = -perDelay * meanDelay - Unlikeliness(slope);
        if (likelihood > mostLikely) {
            mostLikely = likelihood;
            best = {atNs, corner.offsetNs + slope * (atNs - corner.cameraNs), slope, 0};
        }
    }
    return best;
}

/** From how far each block is from the line between its neighbours, which a drift hardly affects.
 */
double ClockLine::Scatter() const
{
    constexpr std::size_t kNewest = 64;
    constexpr double kLeastScatterNs = 100;
    std::array<double, kNewest> apart{};
    std::size_t count = 0;
    for (std::size_t i = count_ - std::min(count_, kNewest + 2); i + 2 < count_; ++i) {
        const Point& a = blocks_[i];
        const Point& b = blocks_[i + 1];
        const Point& c = blocks_[i + 2];
        const double part = (b.cameraNs - a.cameraNs) / (c.cameraNs - a.cameraNs);
        const double between = a.offsetNs * (1 - part) + c.offsetNs * part;
        apart[count++] =
            std::abs(b.offsetNs - between) / std::sqrt(1 + part * part + (1 - part) * (1 - part));
    }
    return std::max(MedianOf(apart.data(), count) * kDeviationOfMedian, kLeastScatterNs);
}

/** By least squares, thrice: blocks that are far from the line before don't count. */
ClockLine::Line ClockLine::LineThroughNewest(std::size_t count, double atNs) const
{
    constexpr int kTimes = 3;
    constexpr double kFarOut = 4;
    constexpr double kLeastDeviationNs = 300;
    constexpr double kMostDeviationNs = 10e3; // where two crowds of blocks are as large
    const Point* const newest = blocks_.data() + count_ - count;
    Line line = {atNs, OffsetAt(atNs), line_.slope, static_cast<double>(count)};
    std::array<double, kBlocks> above;
    std::array<double, kBlocks> sorted;
    for (int time = 0; time < kTimes; ++time) {
        for (std::size_t i = 0; i < count; ++i) {
            above[i] =
                newest[i].offsetNs - line.offsetNs - line.slope * (newest[i].cameraNs - atNs);
        }
        std::copy_n(above.begin(), count, sorted.begin());
        const double middle = MedianOf(sorted.data(), count);
        for (std::size_t i = 0; i < count; ++i) {
            sorted[i] = std::abs(above[i] - middle);
        }
        const double deviation =
            std::clamp(MedianOf(sorted.data(), count) * kDeviationOfMedian, kLeastDeviationNs,
                       std::max(kMostDeviationNs, 3 * scatterNs_));
        double blocks = 0;
        double sumS = 0;
        double sumNs = 0;
        double squares = 0;
        double products = 0;
        for (std::size_t i = 0; i < count; ++i) {
            if (std::abs(above[i] - middle) <= kFarOut * deviation) {
                const double s = (newest[i].cameraNs - atNs) / kNsPerS;
                blocks += 1;
                sumS += s;
                sumNs += above[i];
                squares += s * s;
                products += s * above[i];
            }
        }
        const double determinant = blocks * squares - sumS * sumS;
        if (blocks < 3 || determinant <= 0) {
            break;
        }
        const double nsPerS = (blocks * products - sumS * sumNs) / determinant;
        line.slope += nsPerS / kNsPerS;
        line.offsetNs += (sumNs - nsPerS * sumS) / blocks;
        line.blocks = blocks;
    }
    return line;
}

/** Doubles the number of blocks for as long as the line through them agrees, at the present time,
 *  with the lines through fewer blocks, within two standard errors of each. */
void ClockLine::FitBlocks(double atNs)
{
    constexpr std::size_t kFewest = 32; // a crowd of late blocks is a minority
    scatterNs_ = Scatter();
    double low = std::numeric_limits<double>::lowest();
    double high = std::numeric_limits<double>::max();
    Line chosen = line_;
    for (std::size_t count = std::min(kFewest, count_);; count = std::min(2 * count, count_)) {
        const Line line = LineThroughNewest(count, atNs);
        const double standardError = 2 * scatterNs_ / std::sqrt(line.blocks); // at the line's end
        low = std::max(low, line.offsetNs - 2 * standardError);
        high = std::min(high, line.offsetNs + 2 * standardError);
        if (low > high) {
            break;
        }
        chosen = line;
        if (count == count_) {
            break;
        }
    }
    line_ = chosen;
}

} // namespace kvgrab
