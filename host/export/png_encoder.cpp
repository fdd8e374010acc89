#include "export/png_encoder.h"

#include <csetjmp>
#include <exception>
#include <png.h>
#include <zlib.h>

namespace kvgrab
{
namespace
{

constexpr int kFastLevel = 1;

/** Lines of a picture in the form that libpng takes. */
struct Lines {
    const std::uint8_t* first;
    std::size_t lineBytes;
    std::uint32_t width;
    std::uint32_t height;
    int bits;
    int colour;
};

/** What libpng passes to its callbacks. */
struct Sink {
    std::vector<std::uint8_t>* file;
    std::string* error;
};

void OnError(png_structp png, png_const_charp text)
{
    *static_cast<Sink*>(png_get_error_ptr(png))->error = text;
    png_longjmp(png, 1);
}

void OnWarning(png_structp, png_const_charp) {}

void OnWrite(png_structp png, png_bytep data, png_size_t bytes)
{
    auto* sink = static_cast<Sink*>(png_get_io_ptr(png));
    bool stored = true;
    try {
        sink->file->insert(sink->file->end(), data, data + bytes);
    } catch (const std::exception&) {
        stored = false; // out of memory; an exception can't cross libpng
    }
    if (!stored) {
        png_error(png, "out of memory");
    }
}

void OnFlush(png_structp) {}

class PngWriter
{
public:
    explicit PngWriter(Sink* sink)
        : png_(png_create_write_struct(PNG_LIBPNG_VER_STRING, sink, OnError, OnWarning)),
          info_(png_ == nullptr ? nullptr : png_create_info_struct(png_))
    {
        if (png_ != nullptr) {
            png_set_write_fn(png_, sink, OnWrite, OnFlush);
        }
    }
    ~PngWriter() { png_destroy_write_struct(&png_, &info_); }
    PngWriter(const PngWriter&) = delete;
    PngWriter& operator=(const PngWriter&) = delete;

    /** Nothing in here may need a destructor: libpng leaves it by longjmp on an error. */
    bool Write(const Lines& lines, int compression)
    {
        if (info_ == nullptr) {
            return false;
        }
        if (setjmp(png_jmpbuf(png_)) != 0) // NOLINT: libpng's way to report
            return false;
        png_set_compression_level(png_, compression);
        if (compression == kFastLevel) {
            png_set_compression_strategy(png_, Z_RLE); // half the time on noisy pictures
        }
        // With camera noise, searching the best filter for each line gains nothing.
        png_set_filter(png_, PNG_FILTER_TYPE_BASE, PNG_FILTER_SUB);
        png_set_IHDR(png_, info_, lines.width, lines.height, lines.bits, lines.colour,
                     PNG_INTERLACE_NONE, PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
        png_write_info(png_, info_);
        if (lines.bits == 16) {
            png_set_swap(png_); // the file is big-endian
        }
        for (std::uint32_t y = 0; y < lines.height; ++y) {
            png_write_row(png_, lines.first + y * lines.lineBytes);
        }
        png_write_end(png_, nullptr);
        return true;
    }

private:
    png_structp png_;
    png_infop info_;
};

} // namespace

bool PngEncoder::Encode(const Picture& picture, std::vector<std::uint8_t>* file, std::string* error)
{
    const std::size_t pixels = std::size_t{picture.width} * picture.height;
    Lines lines = {nullptr, picture.width, picture.width, picture.height, 8, PNG_COLOR_TYPE_GRAY};
    const auto asGrey16 = [&] {
        lines.first = reinterpret_cast<const std::uint8_t*>(grey_.data());
        lines.lineBytes = std::size_t{picture.width} * 2;
        lines.bits = 16;
    };
    const auto asColour = [&] {
        lines.first = rgb_.data();
        lines.lineBytes = std::size_t{picture.width} * 3;
        lines.colour = PNG_COLOR_TYPE_RGB;
    };
    switch (picture.layout) {
    case PixelLayout::kGrey8:
        lines.first = picture.bytes.data();
        break;
    case PixelLayout::kGrey12Packed:
        grey_.resize(pixels);
        UnpackMono12Packed(picture.bytes, grey_);
        asGrey16();
        break;
    case PixelLayout::kGrey12:
        grey_.resize(pixels);
        UnpackMono12(picture.bytes, grey_);
        asGrey16();
        break;
    case PixelLayout::kUyvy:
        rgb_.resize(pixels * 3);
        UyvyToRgb(picture.bytes, rgb_);
        asColour();
        break;
    case PixelLayout::kBayerRg8:
        rgb_.resize(pixels * 3);
        BayerRgToRgb(picture.bytes, picture.width, picture.height, rgb_);
        asColour();
        break;
    case PixelLayout::kUnknown:
        *error = "its pixel format has no PNG form";
        return false;
    }
    file->clear();
    *error = "libpng can't be set up";
    Sink sink = {file, error};
    PngWriter writer(&sink);
    if (!writer.Write(lines, compression_)) {
        return false;
    }
    error->clear();
    return true;
}

} // namespace kvgrab
