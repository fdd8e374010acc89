#include "sim/replay/picture_file.h"

#include "base/pixel_format.h"
#include "sim/replay/grey_png.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <stdexcept>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace sim
{

namespace
{

std::string Reason(int error)
{
    return error == ELOOP ? "it is a symbolic link, and links are not followed"
                          : std::generic_category().message(error);
}

/** Opens a regular file of the folder, and nothing else: a pipe could block for ever. Returns -1
 *  and why not. */
int OpenRegular(int folder, const std::string& name, std::uint64_t* size, std::string* why)
{
    const int fd =
        openat(folder, name.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY);
    struct stat status = {};
    if (fd < 0 || fstat(fd, &status) != 0) {
        *why = Reason(errno);
    } else if (!S_ISREG(status.st_mode)) {
        *why = "it is no regular file";
    } else {
        *size = static_cast<std::uint64_t>(status.st_size);
        return fd;
    }
    if (fd >= 0) {
        close(fd);
    }
    return -1;
}

/** Returns how many bytes there were; negative: an error, as in errno. */
ssize_t ReadFully(int fd, void* to, std::size_t count)
{
    std::size_t done = 0;
    while (done < count) {
        const ssize_t got = pread(fd, static_cast<std::uint8_t*>(to) + done, count - done,
                                  static_cast<off_t>(done));
        if (got < 0 && errno == EINTR) {
            continue;
        }
        if (got < 0) {
            return -errno;
        }
        if (got == 0) {
            break;
        }
        done += static_cast<std::size_t>(got);
    }
    return static_cast<ssize_t>(done);
}

/** Puts 12-bit pixels in the place of picture pixel `at` and those that follow it. */
class Writer12
{
public:
    Writer12(std::uint8_t* pixels, bool packed) : pixels_(pixels), packed_(packed) {}

    void Put(std::uint32_t value)
    {
        const auto high = static_cast<std::uint8_t>(value >> 4);
        const auto low = static_cast<std::uint8_t>(value & 15);
        if (!packed_) {
            *pixels_++ = static_cast<std::uint8_t>(value);
            *pixels_++ = static_cast<std::uint8_t>(value >> 8);
        } else if (first_) {
            *pixels_++ = high;
            *pixels_ = low;
        } else {
            *pixels_ = static_cast<std::uint8_t>(*pixels_ | low << 4);
            *++pixels_ = high;
            ++pixels_;
        }
        first_ = !first_;
    }

private:
    std::uint8_t* pixels_;
    bool packed_;
    bool first_ = true; ///< of two pixels that share three bytes
};

} // namespace

PictureFile::PictureFile(int folder, const std::string& name) : name_(name)
{
    constexpr std::size_t kLongest = 255;
    const bool plain = !name.empty() && name.size() <= kLongest && !name.starts_with('.') &&
                       name.find('/') == std::string::npos && name.find('\0') == std::string::npos;
    if (!plain || !(name.ends_with(".raw") || name.ends_with(".png"))) {
        throw std::runtime_error(fmt::format("the file is '{}'; expected the name of a raw or PNG "
                                             "file in the folder",
                                             name.substr(0, kLongest)));
    }
    std::string why;
    fd_ = OpenRegular(folder, name, &size_, &why);
    if (fd_ < 0) {
        Refuse(why);
    }
}

PictureFile::~PictureFile()
{
    if (fd_ >= 0) {
        close(fd_);
    }
}

void PictureFile::Refuse(std::string_view why) const
{
    throw std::runtime_error(fmt::format("{}: {}", name_, why));
}

void PictureFile::Check(const PictureForm& form, std::string_view codec) const
{
    if (name_.ends_with(".raw")) {
        if (size_ != form.bytes) {
            Refuse(fmt::format("the file has {} bytes; expected {} for {} x {} pixels {}", size_,
                               form.bytes, form.width, form.height, codec));
        }
        return;
    }
    const bool wide = form.pixelFormat == base::kMono12 || form.pixelFormat == base::kMono12Packed;
    if (!wide && form.pixelFormat != base::kMono8) {
        Refuse(fmt::format("a PNG file of {} does not have the pixels as they were received; "
                           "export with the format raw to replay them",
                           codec));
    }
    GreyPngHeader header;
    const std::string trouble = ReadPngHeader(fd_, &header);
    if (!trouble.empty()) {
        Refuse(fmt::format("the PNG file is damaged: {}", trouble));
    }
    const unsigned bits = wide ? 16 : 8;
    if (header.width != form.width || header.height != form.height || header.bits != bits ||
        !header.isGrey || header.interlaced) {
        Refuse(fmt::format("the PNG file has {} x {} pixels of {} bits{}{}; expected {} x {} grey "
                           "ones of {} bits",
                           header.width, header.height, header.bits,
                           header.isGrey ? "" : " with colours",
                           header.interlaced ? ", interlaced" : "", form.width, form.height, bits));
    }
}

void PictureFile::Read(const PictureForm& form, std::uint8_t* pixels, std::size_t size) const
{
    if (name_.ends_with(".raw")) {
        ReadRaw(pixels, std::min(size, form.bytes));
        return;
    }
    Check(form, {}); // it may have been replaced since it was looked at
    if (size >= form.bytes) {
        ReadPng(form, pixels);
        return;
    }
    std::vector<std::uint8_t> whole(form.bytes);
    ReadPng(form, whole.data());
    std::memcpy(pixels, whole.data(), size);
}

void PictureFile::ReadRaw(std::uint8_t* pixels, std::size_t size) const
{
    const ssize_t got = ReadFully(fd_, pixels, size);
    if (got < 0) {
        Refuse(Reason(static_cast<int>(-got)));
    }
    if (static_cast<std::size_t>(got) < size) {
        Refuse(fmt::format("the file has {} bytes now; it had more when the recording was opened",
                           got));
    }
}

void PictureFile::ReadPng(const PictureForm& form, std::uint8_t* pixels) const
{
    const bool wide = form.pixelFormat != base::kMono8;
    Writer12 writer(pixels, form.pixelFormat == base::kMono12Packed);
    bool scaled = true;
    const std::string trouble = ReadGreyPng(fd_, [&](std::uint32_t y, const std::uint8_t* values) {
        if (!wide) {
            std::memcpy(pixels + std::size_t{y} * form.width, values, form.width);
            return true;
        }
        for (std::uint32_t x = 0; x < form.width && scaled; ++x) {
            const std::uint32_t shown =
                static_cast<std::uint32_t>(values[2 * x]) << 8 | values[2 * std::size_t{x} + 1];
            const std::uint32_t value = shown >> 4;
            scaled = shown == (value << 4 | value >> 8);
            writer.Put(value);
        }
        return scaled;
    });
    if (!trouble.empty()) {
        Refuse(fmt::format("the PNG file is damaged: {}", trouble));
    }
    if (!scaled) {
        Refuse("the PNG file has values that no pixel of 12 bits becomes when it is exported");
    }
}

std::string ReadWholeFile(int folder, const std::string& name, std::string* text)
{
    constexpr std::uint64_t kLargest = std::uint64_t{1} << 30;
    std::string why;
    std::uint64_t size = 0;
    const int fd = OpenRegular(folder, name, &size, &why);
    if (fd < 0) {
        return why;
    }
    if (size > kLargest) {
        close(fd);
        return fmt::format("the file has {} bytes; expected at most {}", size, kLargest);
    }
    text->resize(size);
    const ssize_t got = ReadFully(fd, text->data(), size);
    close(fd);
    if (got < 0) {
        return Reason(static_cast<int>(-got));
    }
    text->resize(static_cast<std::size_t>(got));
    return {};
}

} // namespace sim
