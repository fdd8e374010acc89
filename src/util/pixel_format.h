/** The pixel formats that the driver knows. */
#pragma once

#include <cstdint>

namespace KvTd
{

struct PixelFormatRow {
    std::uint8_t code;      ///< the host's
    const char* name;       ///< in log lines
    std::uint32_t gevCode;  ///< the camera's PixelFormat
    std::uint8_t pixelBits; ///< stored bits of a pixel
    std::uint8_t dataBits;  ///< significant bits of a pixel
    const char* codec;      ///< published to the host
    bool isYuv;
    bool fallsBack; ///< to host code 1 when the camera refuses
};

/** The row of a host code, or null. */
const PixelFormatRow* FindPixelFormat(std::uint8_t code);

} // namespace KvTd
