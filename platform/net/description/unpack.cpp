/** The ZIP archive that a description may be packed into. */
#include "net/description/description_text.h"

#include "net/library_owners.h"

#include <fmt/format.h>
#include <optional>

namespace net
{

namespace
{

// The parts of an archive, from the back: the end record, which says where the directory is; the
// directory, which has an entry for each file; and the files, each behind a header of its own. All
// numbers are little endian.
constexpr std::string_view kEndMark("PK\x05\x06");
constexpr std::string_view kEntryMark("PK\x01\x02");
constexpr std::string_view kHeaderMark("PK\x03\x04");
constexpr std::size_t kEndSize = 22;
constexpr std::size_t kEntrySize = 46;
constexpr std::size_t kHeaderSize = 30;
constexpr std::uint32_t kStored = 0;
constexpr std::uint32_t kDeflated = 8;
constexpr std::uint32_t kMostFiles = 16;

class Archive
{
public:
    explicit Archive(std::string_view bytes) : bytes_(bytes) {}

    /** The first file; nothing if its place doesn't lie in the archive. */
    struct File {
        std::uint32_t method = 0;
        std::uint32_t size = 0;
        std::string_view packed;
    };
    std::optional<File> First() const
    {
        const std::size_t end = bytes_.rfind(kEndMark);
        if (end == std::string_view::npos || bytes_.find(kEndMark) != end || !Has(end, kEndSize) ||
            Number(end + 20, 2) != bytes_.size() - end - kEndSize) {
            return std::nullopt;
        }
        const std::uint32_t files = Number(end + 10, 2);
        const std::size_t directory = Number(end + 16, 4);
        const bool parted = Number(end + 4, 4) != 0 || Number(end + 8, 2) != files;
        if (parted || files == 0 || files > kMostFiles || Number(end + 12, 4) != end - directory ||
            !IsDirectory(directory, end, files)) {
            return std::nullopt;
        }
        File file;
        file.method = Number(directory + 10, 2);
        file.size = Number(directory + 24, 4);
        const std::size_t packed = Number(directory + 20, 4);
        const std::size_t header = Number(directory + 42, 4);
        if (!Has(header, kHeaderSize) || bytes_.substr(header, 4) != kHeaderMark) {
            return std::nullopt;
        }
        const std::size_t data =
            header + kHeaderSize + Number(header + 26, 2) + Number(header + 28, 2);
        if (!Has(data, packed)) {
            return std::nullopt;
        }
        file.packed = bytes_.substr(data, packed);
        return file;
    }

private:
    bool Has(std::size_t at, std::size_t size) const
    {
        return at <= bytes_.size() && size <= bytes_.size() - at;
    }
    /** Inside the archive. */
    std::uint32_t Number(std::size_t at, std::size_t size) const
    {
        std::uint32_t number = 0;
        for (std::size_t i = 0; i < size; ++i) {
            number |= std::uint32_t{static_cast<std::uint8_t>(bytes_[at + i])} << (8 * i);
        }
        return number;
    }
    /** Its entries fill the room up to the end record. */
    bool IsDirectory(std::size_t at, std::size_t end, std::uint32_t files) const
    {
        for (std::uint32_t i = 0; i < files; ++i) {
            if (!Has(at, kEntrySize) || bytes_.substr(at, 4) != kEntryMark) {
                return false;
            }
            at += kEntrySize + Number(at + 28, 2) + Number(at + 30, 2) + Number(at + 32, 2);
        }
        return at == end;
    }

    std::string_view bytes_;
};

/** Exactly `size` bytes come out. */
bool Inflate(std::string_view packed, std::size_t size, std::string* text)
{
    const Ref<GZlibDecompressor> inflater(g_zlib_decompressor_new(G_ZLIB_COMPRESSOR_FORMAT_RAW));
    text->resize(size + 1); // one more than are expected
    gsize in = 0;
    gsize out = 0;
    for (;;) {
        gsize read = 0;
        gsize written = 0;
        ErrorSlot error;
        const GConverterResult result = g_converter_convert(
            G_CONVERTER(inflater.get()), packed.data() + in, packed.size() - in, text->data() + out,
            text->size() - out, G_CONVERTER_INPUT_AT_END, &read, &written, error.Out());
        in += read;
        out += written;
        if (result == G_CONVERTER_FINISHED) {
            break;
        }
        if (result == G_CONVERTER_ERROR || out > size) {
            return false;
        }
    }
    text->resize(std::min(out, size));
    return out == size;
}

} // namespace

std::string Unpack(std::string_view archive, std::string* text)
{
    const std::optional<Archive::File> file = Archive(archive).First();
    if (!file) {
        return "is packed into what is no ZIP archive";
    }
    if (file->size == 0 || file->size > kLargestDescription) {
        return fmt::format("has {} bytes unpacked, where 1 to {} are possible", file->size,
                           kLargestDescription);
    }
    if (file->method == kStored && file->packed.size() == file->size) {
        *text = file->packed;
        return "";
    }
    // The library takes a file that is not smaller when packed for one that is not packed.
    if (file->method != kDeflated || file->packed.size() >= file->size) {
        return "is packed in an unknown way";
    }
    return Inflate(file->packed, file->size, text)
               ? ""
               : "can't be unpacked to the size that its archive says";
}

} // namespace net
