/** Reads the pixels of grey PNG files as kvgrab exports them, by libpng. */
#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace sim
{

struct GreyPngHeader {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    unsigned bits = 0;       ///< per value
    bool isGrey = false;     ///< neither colours nor transparency
    bool interlaced = false; ///< then its lines can't be read one after the other
};

/** Both read the open file from its beginning, and return an empty text or, as a part of a
 *  sentence, what is wrong with it. The file stays open. */
std::string ReadPngHeader(int fd, GreyPngHeader* header);

/** `line` gets each line in turn: bytes, or values of 16 bits with the high byte first. False ends
 *  the reading without an error. Only for grey files that are not interlaced. */
std::string
ReadGreyPng(int fd, const std::function<bool(std::uint32_t y, const std::uint8_t* values)>& line);

} // namespace sim
