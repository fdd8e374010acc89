/** The dynamic table: counts a picture's brightness levels and computes the look-up table that
 *  spreads them over the whole range (contrast-limited histogram equalisation).
 *
 *  Pure except for DynamicLut, which remembers the table that the camera uses. */
#pragma once

#include "export/pixels.h"

#include <array>
#include <cstdint>
#include <optional>
#include <span>

namespace kvgrab
{

/** A picture as the driver passes it. Lines follow each other without padding. */
struct LevelSource {
    PixelLayout layout = PixelLayout::kUnknown;
    const void* image = nullptr;
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
    std::uint32_t lineLength = 0; ///< pixels from line to line
};

/** How many of the picture's lines lie within `bytes`, for pixels that take `bits`. */
std::uint32_t LinesWithin(const LevelSource& source, unsigned bits, std::size_t bytes);

/** Writes to `cdf`, for each of 2^bits levels, the number of pixels up to that level. `bits` is the
 *  storage of a pixel: 8 for mono and for a colour mosaic, whose pixels are counted together; 12
 *  for packed pixels; 16 for 12 bits in 16, right-aligned; 16 for UYVY, whose luma is counted, in
 *  the high byte. Writes zeros if the layout doesn't match `bits`, and nothing if `bits` is
 *  above 16. In pictures of more than half a million pixels only some lines, evenly spread, are
 *  counted. */
void CountLevels(const LevelSource& source, unsigned bits, std::uint32_t* cdf);

/** A brightness curve: 12-bit outputs at 257 evenly spaced inputs, never falling. */
using ToneCurve = std::array<double, 257>;

/** The curve that equalises a distribution of 2^bits levels. It is nowhere steeper than about four
 *  times the identity, to limit the noise in even areas. Without pixels it is the identity. */
ToneCurve Equalize(const std::uint32_t* cdf, unsigned bits);

/** `input` and result from 0 to 4096. */
double ValueAt(const ToneCurve& curve, double input);

/** The work of the host's two services for dynamic tables. One object for all sessions; grab thread
 *  only. */
class DynamicLut
{
public:
    /** Call it when the camera's table is not the last one from MakeTable any more. */
    void Forget() { applied_.reset(); }
    /** Writes 2^bits entries of `outBits` bits, none so large that rounding to 8 bits gives 256.
     *  With 8 or 16 `bits` the first 128 entries are knots over the whole input range, between
     *  which the driver interpolates; the rest repeat the last of them.
     *
     *  A camera's table of 8 bits acts on 8-bit pictures only. Since such a picture was counted
     *  after the camera's present table, the levels before that table are computed first. */
    void MakeTable(unsigned bits, const std::uint32_t* cdf, int outBits, std::uint16_t* lut);

private:
    std::optional<ToneCurve> applied_;
};

} // namespace kvgrab
