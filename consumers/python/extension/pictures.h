/** Conversions of pixels. They read `pixels` once, in order of lines, and depend on nothing else,
 * so that they may run while the host writes there: the result is then worthless, and harmless. */
#pragma once

#include "kvframes.h"

#include <cstddef>
#include <cstdint>

namespace kvpython
{

/** Bytes of a picture, or 0 for a format that isn't known. */
std::size_t PictureBytes(kvf_format format, std::uint32_t width, std::uint32_t height);

/** Two pixels in three bytes become values from 0 to 4095. */
void UnpackMono12(const std::uint8_t* packed, std::size_t pixels, std::uint16_t* values);

/** 8-bit red, green and blue, as in the PNG files of an export; of 12 bits the upper 8 are left.
 *  The format has to be known. */
void ToRgb(const kvf_frame& frame, std::uint8_t* rgb);

} // namespace kvpython
