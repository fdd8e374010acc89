/** Reads a PNG file. */
#pragma once

#include <csetjmp>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <png.h>
#include <vector>

struct PngFile {
    std::uint32_t width = 0;
    std::uint32_t height = 0;
    int bits = 0;
    int channels = 0;
    std::vector<std::uint8_t> bytes; ///< samples of 16 bits are big-endian, as in the file
    bool operator==(const PngFile&) const = default;
};

/** None when there is no whole picture. */
inline std::optional<PngFile> ReadPng(const std::filesystem::path& path)
{
    std::FILE* const file = std::fopen(path.c_str(), "rb");
    if (file == nullptr) {
        return std::nullopt;
    }
    PngFile result;
    png_structp png = png_create_read_struct(
        PNG_LIBPNG_VER_STRING, nullptr, [](png_structp p, const char*) { png_longjmp(p, 1); },
        nullptr);
    png_infop info = png_create_info_struct(png);
    const bool whole = setjmp(png_jmpbuf(png)) == 0 && [&] {
        png_init_io(png, file);
        png_read_png(png, info, PNG_TRANSFORM_IDENTITY, nullptr);
        return true;
    }();
    if (whole) {
        result.width = png_get_image_width(png, info);
        result.height = png_get_image_height(png, info);
        result.bits = png_get_bit_depth(png, info);
        result.channels = png_get_channels(png, info);
        for (std::uint32_t y = 0; y < result.height; ++y) {
            const png_bytep row = png_get_rows(png, info)[y];
            result.bytes.insert(result.bytes.end(), row, row + png_get_rowbytes(png, info));
        }
    }
    png_destroy_read_struct(&png, &info, nullptr);
    std::fclose(file);
    return whole ? std::optional(result) : std::nullopt;
}
