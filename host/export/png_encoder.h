/** Encodes a picture as a PNG file in memory. */
#pragma once

#include "export/pixels.h"

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kvgrab
{

struct Picture {
    std::span<const std::uint8_t> bytes; ///< as received, at least PictureBytes of them
    PixelLayout layout = PixelLayout::kUnknown;
    std::uint32_t width = 0; ///< pixels
    std::uint32_t height = 0;
};

/** Keeps its work buffers from picture to picture. One thread at a time. */
class PngEncoder
{
public:
    /** `compression`: 0 none, 1 fast to 9 small. */
    explicit PngEncoder(int compression) : compression_(compression) {}

    /** Gives 8-bit grey for 8-bit grey, 16-bit grey for 12-bit grey, and 8-bit RGB for the rest.
     *  Replaces the contents of `*file`. False: `*error` says why. */
    bool Encode(const Picture& picture, std::vector<std::uint8_t>* file, std::string* error);

private:
    int compression_;
    std::vector<std::uint16_t> grey_;
    std::vector<std::uint8_t> rgb_;
};

} // namespace kvgrab
