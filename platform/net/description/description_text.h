/** The text of a camera's description, before the network library reads it.
 *
 *  The library trusts what a camera says about the place and the size of the text, about the
 * archive that it is packed into, and about what it consists of. So all of this is checked first:
 * each function returns what is wrong, as the rest of a sentence that begins with "its
 * description", or "". */
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace net
{

/** Of a text, packed and unpacked. Those of real cameras have some megabytes at most. */
constexpr std::size_t kLargestDescription = 16U << 20;

/** Where in the camera's memory the text is. */
struct TextPlace {
    std::uint32_t address = 0;
    std::uint32_t size = 0;
    bool packed = false; ///< a ZIP archive, whose first file is the text
};

/** `url` is what the camera's register has, for example "Local:camera.zip;C0000;3A2F". */
std::string FindText(std::string_view url, TextPlace* place);

/** The first file of an archive. */
std::string Unpack(std::string_view archive, std::string* text);

/** Sizes, depth and kinds of what the text consists of; not its meaning, which description.h
 *  examines. */
std::string TextFault(std::string_view text);

} // namespace net
