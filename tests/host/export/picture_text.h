/** Pictures in text cases. */
#pragma once

#include <cstdint>
#include <iterator>
#include <sstream>
#include <string>
#include <vector>

/** A picture as a camera sends it: "MONO8T 3x2 00 01 80 FF 07 09". */
struct PictureText {
    explicit PictureText(const std::string& text)
    {
        std::istringstream in(text);
        char by = 0;
        in >> codec >> width >> by >> height >> std::hex;
        bytes.assign(std::istream_iterator<unsigned>(in), {});
    }
    std::string codec;
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    std::vector<std::uint8_t> bytes;
};
