/** What stands in for the dynamic look-up table until there is one: nothing is measured, and the
 *  table leaves the picture as it is. Pure. */
#pragma once

#include <cstdint>

namespace kvgrab
{

/** Zeros for all 2^bits entries. Nothing when `bits` is above 16. */
void FillEmptyStatistics(unsigned bits, std::uint32_t* cdf);

/** 2^bits entries of `outBits` bits that rise evenly, none above 4087 when `outBits` is 12. For 8
 *  and 16 `bits` the first 128 entries span the whole input range, as the driver interpolates
 *  between them; the rest repeats the last of them. */
void FillIdentityTable(unsigned bits, int outBits, std::uint16_t* lut);

} // namespace kvgrab
