/** The table of pixel formats. */
#include "util/pixel_format.h"

namespace KvTd
{

/** In order: code, name, GigE Vision code, stored bits, data bits, codec, is YUV, falls back. */
constexpr PixelFormatRow kPixelFormats[] = {
    {1, "MONO8T", 0x01080001, 8, 8, "MONO8T", false, false},
    {2, "MONO12PT", 0x010C0006, 12, 12, "MONO12PT", false, true},
    {3, "MONO12T", 0x01100005, 16, 12, "MONO12T", false, true},
    {5, "YUV422PT", 0x0210001F, 16, 16, "UYVY", true, true},
    {9, "Bayer8T", 0x01080009, 8, 8, "BayerRG8T", false, false},
};

const PixelFormatRow* FindPixelFormat(std::uint8_t code)
{
    for (const PixelFormatRow& row : kPixelFormats) {
        if (row.code == code) {
            return &row;
        }
    }
    return nullptr;
}

} // namespace KvTd
