/** The dynamic look-up table: how bright a picture's pixels are, and the table that spreads them
 *  over the whole range without tearing them apart (a contrast-limited equalisation).
 *
 *  Pure but for DynamicLut, which remembers the table that the camera works with. */
#pragma once

#include "export/pixels.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace kvgrab
{

/** A picture as the driver hands it over. Lines follow each other without padding. */
struct LevelSource {
    PixelLayout layout = PixelLayout::kUnknown;
    const void* image = nullptr;
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
    std::uint32_t lineLength = 0; ///< pixels from line to line
};

/** Counts the pixels up to each level into `cdf`, 2^bits entries, `bits` being the storage of a
 *  pixel: 8 for mono and for all of a colour mosaic; 12 packed; 16 for 12 bits in 16,
 *  right-aligned; 16 for UYVY, of which the luma counts, in the high byte. All zeros for a layout
 *  that does not go with `bits`. Nothing when `bits` is above 16. Of a picture of more than half a
 *  million pixels a part of the lines counts, evenly spread. */
void CountLevels(const LevelSource& source, unsigned bits, std::uint32_t* cdf);

/** A brightness curve: 12-bit outputs at 257 evenly spaced inputs, never falling. */
using ToneCurve = std::array<double, 257>;

/** The curve that flattens a distribution of 2^bits levels. It rises nowhere more than about four
 *  times as steeply as the identity, which keeps noise in even areas down. Without pixels it is the
 *  identity. */
ToneCurve Equalize(const std::uint32_t* cdf, unsigned bits);

/** `input` and result from 0 to 4096. */
double ValueAt(const ToneCurve& curve, double input);

/** What the host's two services do. One for all sessions; grab thread only. */
class DynamicLut
{
public:
    /** The table that the camera works with is not known any more, or is none of ours. */
    void Forget() { applied_.reset(); }
    /** 2^bits entries of `outBits` bits, none so large that rounding to 8 bits gives 256. For 8 and
     *  16 `bits` the first 128 entries are knots over the whole input range, as the driver
     *  interpolates between them; the rest repeats the last of them.
     *
     *  A camera's table of 8 bits acts on 8-bit pictures alone. Such a picture was counted behind
     *  the table that the camera works with; what it was ahead of it is worked out first. */
    void MakeTable(unsigned bits, const std::uint32_t* cdf, int outBits, std::uint16_t* lut);

private:
    std::optional<ToneCurve> applied_;
};

} // namespace kvgrab
