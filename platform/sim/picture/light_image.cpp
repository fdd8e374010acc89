#include "sim/picture/light_image.h"

#include "sim/picture/picture_job.h"

#include <fmt/format.h>
#include <png.h>

#include <bit>
#include <cerrno>
#include <cmath>
#include <csetjmp>
#include <cstdio>
#include <filesystem>
#include <fmt/format.h>
#include <stdexcept>
#include <system_error>

namespace sim
{

namespace
{

[[noreturn]] void Refuse(const std::string& path, const std::string& why)
{
    throw std::runtime_error(fmt::format("The scene {} can't be used: {}.", path, why));
}

struct CloseFile {
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

File OpenFile(const std::string& path)
{
    std::error_code error;
    const auto status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        Refuse(path, "it is no file"); // opening a pipe could block for ever
    }
    File file(std::fopen(path.c_str(), "rb"));
    if (file == nullptr) {
        Refuse(path, std::generic_category().message(errno));
    }
    return file;
}

/** Reads a PNG file by libpng. An error that libpng reports ends the call in progress. */
class Reader
{
public:
    explicit Reader(std::FILE* file)
    {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, &Reader::Fail, &Reader::Ignore);
        info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
        if (info_ != nullptr) {
            png_init_io(png_, file);
        }
    }
    ~Reader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    /** Nothing in here and in `Rows` may need a destructor: libpng leaves by longjmp on an error.
     */
    bool Header()
    {
        if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) { // NOLINT: libpng's way to report
            return false;
        }
        png_read_info(png_, info_);
        png_set_expand_16(png_); // palettes, transparent colours and all depths into 16 bits
        if constexpr (std::endian::native == std::endian::little) {
            png_set_swap(png_);
        }
        png_set_interlace_handling(png_);
        png_read_update_info(png_, info_);
        return true;
    }
    std::uint32_t Width() const { return png_get_image_width(png_, info_); }
    std::uint32_t Height() const { return png_get_image_height(png_, info_); }
    /** Values per pixel: 1 or 3, and one more with alpha. */
    std::uint32_t Channels() const { return png_get_channels(png_, info_); }

    /** `rows` has room for all rows, of 16-bit values. */
    bool Rows(png_bytepp rows)
    {
        if (setjmp(png_jmpbuf(png_)) != 0) { // NOLINT: libpng's way to report
            return false;
        }
        png_read_image(png_, rows);
        png_read_end(png_, nullptr);
        return true;
    }
    const std::string& Problem() const { return problem_; }

private:
    [[noreturn]] static void Fail(png_structp png, png_const_charp text)
    {
        static_cast<Reader*>(png_get_error_ptr(png))->problem_ = text;
        png_longjmp(png, 1);
    }
    static void Ignore(png_structp, png_const_charp) {}

    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::string problem_ = "out of memory";
};

/** Light by 16-bit sRGB value. */
const std::vector<std::uint16_t>& LightOfSrgb()
{
    static const std::vector<std::uint16_t> kTable = [] {
        std::vector<std::uint16_t> table;
        for (std::uint32_t value = 0; value <= 0xFFFF; ++value) {
            const double srgb = value / 65535.0;
            const double light =
                srgb <= 0.04045 ? srgb / 12.92 : std::pow((srgb + 0.055) / 1.055, 2.4);
            table.push_back(static_cast<std::uint16_t>(std::lrint(light * kLightMax)));
        }
        return table;
    }();
    return kTable;
}

/** Converts values into light in place. Transparent pixels are blended with black, and alpha is
 *  dropped. */
void ToLight(std::vector<std::uint16_t>* values, std::uint32_t channelsInFile,
             std::uint32_t channels)
{
    const auto& light = LightOfSrgb();
    std::size_t to = 0;
    for (std::size_t at = 0; at < values->size(); at += channelsInFile) {
        const std::uint32_t alpha = channelsInFile == channels ? 0xFFFF : (*values)[at + channels];
        for (std::uint32_t channel = 0; channel < channels; ++channel) {
            const std::uint32_t full = light[(*values)[at + channel]];
            (*values)[to++] = static_cast<std::uint16_t>((full * alpha + 0x7FFF) / 0xFFFF);
        }
    }
    values->resize(to);
}

bool BeginsAsPng(std::FILE* file)
{
    png_byte signature[8] = {};
    const std::size_t count = std::fread(signature, 1, sizeof(signature), file);
    std::rewind(file);
    return count == sizeof(signature) && png_sig_cmp(signature, 0, sizeof(signature)) == 0;
}

} // namespace

std::shared_ptr<const LightImage> LightImage::Load(const std::string& path)
{
    const File file = OpenFile(path);
    if (!BeginsAsPng(file.get())) {
        Refuse(path, "it is no PNG file");
    }
    Reader reader(file.get());
    if (!reader.Header()) {
        Refuse(path, fmt::format("its header is damaged ({})", reader.Problem()));
    }
    const std::uint64_t pixels = std::uint64_t{reader.Width()} * reader.Height();
    if (pixels > kMostPixels || reader.Width() > kMostSide || reader.Height() > kMostSide) {
        Refuse(path,
               fmt::format("it has {} x {} pixels; at most {} are supported, and {} along a side",
                           reader.Width(), reader.Height(), kMostPixels, kMostSide));
    }
    std::shared_ptr<LightImage> image(new LightImage);
    image->width_ = reader.Width();
    image->height_ = reader.Height();
    image->channels_ = reader.Channels() < 3 ? 1 : 3;
    image->values_.resize(pixels * reader.Channels());
    std::vector<png_bytep> rows;
    for (std::size_t y = 0; y < image->height_; ++y) {
        rows.push_back(reinterpret_cast<png_bytep>(image->values_.data() +
                                                   y * image->width_ * reader.Channels()));
    }
    if (!reader.Rows(rows.data())) {
        Refuse(path, fmt::format("its pixels are damaged or missing ({})", reader.Problem()));
    }
    ToLight(&image->values_, reader.Channels(), image->channels_);
    return image;
}

} // namespace sim
