#include "sim/replay/grey_png.h"

#include <cerrno>
#include <csetjmp>
#include <png.h>
#include <unistd.h>

namespace sim
{

namespace
{

/** Reads a file through libpng, which leaves by longjmp on an error: nothing in the functions that
 *  call it may need a destructor. */
class Reader
{
public:
    explicit Reader(int fd) : fd_(fd)
    {
        png_ = png_create_read_struct(PNG_LIBPNG_VER_STRING, this, &Reader::Fail, &Reader::Ignore);
        info_ = png_ == nullptr ? nullptr : png_create_info_struct(png_);
        if (info_ != nullptr) {
            png_set_read_fn(png_, this, &Reader::Read);
        }
    }
    ~Reader() { png_destroy_read_struct(&png_, &info_, nullptr); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    bool Header(GreyPngHeader* header)
    {
        if (info_ == nullptr || setjmp(png_jmpbuf(png_)) != 0) { // NOLINT: libpng's way to report
            return false;
        }
        png_read_info(png_, info_);
        header->width = png_get_image_width(png_, info_);
        header->height = png_get_image_height(png_, info_);
        header->bits = png_get_bit_depth(png_, info_);
        header->isGrey = png_get_color_type(png_, info_) == PNG_COLOR_TYPE_GRAY &&
                         png_get_valid(png_, info_, PNG_INFO_tRNS) == 0;
        header->interlaced = png_get_interlace_type(png_, info_) != PNG_INTERLACE_NONE;
        return true;
    }
    std::size_t LineBytes() const { return png_get_rowbytes(png_, info_); }
    bool Line(std::uint8_t* values)
    {
        if (setjmp(png_jmpbuf(png_)) != 0) { // NOLINT: libpng's way to report
            return false;
        }
        png_read_row(png_, values, nullptr);
        return true;
    }
    bool End()
    {
        if (setjmp(png_jmpbuf(png_)) != 0) { // NOLINT: libpng's way to report
            return false;
        }
        png_read_end(png_, nullptr);
        return true;
    }
    const std::string& Problem() const { return problem_; }

private:
    static void Read(png_structp png, png_bytep bytes, std::size_t count)
    {
        auto* const self = static_cast<Reader*>(png_get_io_ptr(png));
        while (count > 0) {
            const ssize_t got = pread(self->fd_, bytes, count, self->at_);
            if (got < 0 && errno == EINTR) {
                continue;
            }
            if (got <= 0) {
                png_error(png, got < 0 ? "it can't be read" : "it ends too early");
            }
            bytes += got;
            count -= static_cast<std::size_t>(got);
            self->at_ += got;
        }
    }
    [[noreturn]] static void Fail(png_structp png, png_const_charp text)
    {
        static_cast<Reader*>(png_get_error_ptr(png))->problem_ = text;
        png_longjmp(png, 1);
    }
    static void Ignore(png_structp, png_const_charp) {}

    int fd_;
    off_t at_ = 0;
    png_structp png_ = nullptr;
    png_infop info_ = nullptr;
    std::string problem_ = "out of memory";
};

} // namespace

std::string ReadPngHeader(int fd, GreyPngHeader* header)
{
    Reader reader(fd);
    return reader.Header(header) ? std::string() : reader.Problem();
}

std::string
ReadGreyPng(int fd, const std::function<bool(std::uint32_t y, const std::uint8_t* values)>& line)
{
    Reader reader(fd);
    GreyPngHeader header;
    if (!reader.Header(&header)) {
        return reader.Problem();
    }
    std::vector<std::uint8_t> values(reader.LineBytes());
    for (std::uint32_t y = 0; y < header.height; ++y) {
        if (!reader.Line(values.data())) {
            return reader.Problem();
        }
        if (!line(y, values.data())) {
            return {};
        }
    }
    return reader.End() ? std::string() : reader.Problem();
}

} // namespace sim
