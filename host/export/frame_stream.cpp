#include "export/frame_stream.h"

#include "export/pixels.h"
#include "kv_frame_stream.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <fmt/format.h>
#include <poll.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace kvgrab
{

namespace
{

static_assert(sizeof(kv_frame_stream_header) == 128);
static_assert(std::endian::native == std::endian::little);

std::span<const std::uint8_t> Bytes(const void* from, std::size_t count)
{
    return {static_cast<const std::uint8_t*>(from), count};
}

/** Writes all bytes and waits for as long as that takes, also where standard output does not block.
 *  Returns 0 or an error number; `*written` counts the bytes. */
int WriteWaiting(int fd, std::span<const std::uint8_t> bytes, std::size_t* written)
{
    while (!bytes.empty()) {
        const ssize_t count = write(fd, bytes.data(), bytes.size());
        if (count > 0) {
            bytes = bytes.subspan(static_cast<std::size_t>(count));
            *written += static_cast<std::size_t>(count);
        } else if (count < 0 && errno == EAGAIN) {
            pollfd room = {fd, POLLOUT, 0};
            poll(&room, 1, -1);
        } else if (count == 0 || errno != EINTR) {
            return count == 0 ? ENOSPC : errno;
        }
    }
    return 0;
}

bool IsWide(PixelLayout layout)
{
    return layout == PixelLayout::kGrey12 || layout == PixelLayout::kGrey12Packed;
}

/** The pixels scaled to 16 bits. */
void Unpack(const ExportSlot& slot, PixelLayout layout, std::vector<std::uint16_t>* grey)
{
    grey->resize(std::size_t{slot.values.width} * slot.values.height);
    if (layout == PixelLayout::kGrey12Packed) {
        UnpackMono12Packed(slot.pixels, *grey);
    } else {
        UnpackMono12(slot.pixels, *grey);
    }
}

} // namespace

int TakeStandardOutput(std::string* error)
{
    struct stat out = {};
    struct stat err = {};
    if (fstat(STDOUT_FILENO, &out) != 0) {
        *error = "standard output is closed, so that no frames can be written to it";
        return -1;
    }
    if (isatty(STDOUT_FILENO) != 0) {
        *error = "standard output is a terminal; lead it into a program or a file to write frames "
                 "to it";
        return -1;
    }
    const bool isDevice = S_ISCHR(out.st_mode); // such as /dev/null
    if (!isDevice && fstat(STDERR_FILENO, &err) == 0 && out.st_dev == err.st_dev &&
        out.st_ino == err.st_ino) {
        *error = "standard error goes where standard output goes, so that messages would get "
                 "between the frames";
        return -1;
    }
    std::fflush(stdout);
    constexpr int kBeyondTheStandardOnes = 3;
    const int fd = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, kBeyondTheStandardOnes);
    if (fd < 0 || dup2(STDERR_FILENO, STDOUT_FILENO) < 0) {
        *error = fmt::format("standard output can't be used for frames: {}",
                             std::generic_category().message(errno));
        return -1;
    }
    return fd;
}

FrameStream::~FrameStream()
{
    Close();
}

void FrameStream::Open(int fd, StreamFormat format)
{
    fd_ = fd;
    format_ = format;
    struct stat status = {};
    isFile_ = fstat(fd, &status) == 0 && S_ISREG(status.st_mode);
}

void FrameStream::Close()
{
    if (fd_ >= 0) {
        close(std::exchange(fd_, -1));
    }
}

std::string FrameStream::Accepts(const FrameView& frame)
{
    if (format_ == StreamFormat::kRaw) {
        return {};
    }
    const PixelLayout layout = LayoutOfCodec(frame.codec);
    const bool y4m = format_ == StreamFormat::kY4m;
    if (layout == PixelLayout::kUnknown || (y4m && layout == PixelLayout::kBayerRg8)) {
        return fmt::format("Pixel format '{}' has no {} form; use another stream format.",
                           frame.codec, y4m ? "y4m" : "PNM");
    }
    const std::size_t needed = PictureBytes(layout, frame.width, frame.height);
    if (needed == 0 || frame.bytes < needed) {
        return fmt::format("A frame of {} x {} pixels {} takes {} bytes, but {} came.", frame.width,
                           frame.height, frame.codec, needed, frame.bytes);
    }
    if (!y4m) {
        return {};
    }
    if (layout == PixelLayout::kUyvy && frame.width % 2 != 0) {
        return fmt::format("A y4m stream can't have frames of {} columns in UYVY; expected an even "
                           "number of columns.",
                           frame.width);
    }
    if (fixedWidth_ == 0) {
        fixedWidth_ = frame.width;
        fixedHeight_ = frame.height;
        fixedCodec_ = frame.codec;
    }
    if (frame.width != fixedWidth_ || frame.height != fixedHeight_ || frame.codec != fixedCodec_) {
        return fmt::format("A y4m stream keeps its size and format, here {} x {} pixels {}: frames "
                           "of {} x {} pixels {} are not written.",
                           fixedWidth_, fixedHeight_, fixedCodec_, frame.width, frame.height,
                           frame.codec);
    }
    return {};
}

std::string FrameStream::Write(ExportSlot* slot)
{
    slot->fileBytes = 0;
    if (!broken_.empty()) {
        return broken_;
    }
    const auto body = format_ == StreamFormat::kRaw   ? RawFrame(*slot)
                      : format_ == StreamFormat::kPnm ? PnmFrame(*slot)
                                                      : Y4mFrame(*slot);
    std::string trouble = Put(Bytes(head_.data(), head_.size()), body);
    if (trouble.empty()) {
        begun_ = true;
        slot->fileBytes = head_.size() + body.size();
    }
    return trouble;
}

std::string FrameStream::Put(std::span<const std::uint8_t> head, std::span<const std::uint8_t> body)
{
    std::size_t written = 0;
    int error = WriteWaiting(fd_, head, &written);
    if (error == 0) {
        error = WriteWaiting(fd_, body, &written);
    }
    if (error == 0) {
        return {};
    }
    const std::string text = std::generic_category().message(error);
    if (error == EPIPE || error == ECONNRESET) {
        broken_ =
            fmt::format("The program that read the frames from standard output is gone: {}.", text);
        return broken_;
    }
    std::string trouble = fmt::format("A frame can't be written to standard output: {}.", text);
    const off_t end = isFile_ ? lseek(fd_, 0, SEEK_CUR) : -1;
    const off_t whole = end - static_cast<off_t>(written);
    const bool cut = written == 0 || (end >= 0 && ftruncate(fd_, whole) == 0 &&
                                      lseek(fd_, whole, SEEK_SET) == whole);
    if (!cut) {
        broken_ = trouble; // a part of a frame is in the stream
    }
    return trouble;
}

std::span<const std::uint8_t> FrameStream::RawFrame(const ExportSlot& slot)
{
    const FrameView& values = slot.values;
    kv_frame_stream_header header = {};
    std::memcpy(header.magic, KV_FRAME_STREAM_MAGIC, sizeof(header.magic));
    header.headerBytes = sizeof(header);
    header.width = values.width;
    header.height = values.height;
    header.frameCounter = values.frameCounter;
    header.pixelBytes = slot.bytes;
    header.number = slot.number;
    header.timeUs = values.timeUs;
    header.captureTimeNs = values.captureTimeNs;
    header.cameraTicks = values.cameraTicks;
    header.cameraFrameNumber = values.cameraFrameNumber;
    header.gainDb = values.gainDb;
    header.exposureUs = values.exposureUs;
    std::memcpy(header.codec, values.codec.data(),
                std::min(values.codec.size(), sizeof(header.codec)));
    head_.assign(reinterpret_cast<const char*>(&header), sizeof(header));
    return Bytes(slot.pixels.data(), slot.bytes);
}

/** Grey, or colours by the same conversion as in a PNG file. */
std::span<const std::uint8_t> FrameStream::PnmFrame(const ExportSlot& slot)
{
    const FrameView& values = slot.values;
    const PixelLayout layout = LayoutOfCodec(values.codec);
    const std::size_t pixels = std::size_t{values.width} * values.height;
    const bool isGrey = layout == PixelLayout::kGrey8 || IsWide(layout);
    head_ = fmt::format("{}\n{} {}\n{}\n", isGrey ? "P5" : "P6", values.width, values.height,
                        IsWide(layout) ? 65535 : 255);
    if (layout == PixelLayout::kGrey8) {
        return Bytes(slot.pixels.data(), pixels);
    }
    if (IsWide(layout)) {
        Unpack(slot, layout, &grey_);
        for (std::uint16_t& value : grey_) {
            value = static_cast<std::uint16_t>(value << 8 | value >> 8); // high byte first
        }
        return Bytes(grey_.data(), grey_.size() * sizeof(grey_[0]));
    }
    body_.resize(3 * pixels);
    if (layout == PixelLayout::kUyvy) {
        UyvyToRgb(slot.pixels, body_);
    } else {
        BayerRgToRgb(slot.pixels, values.width, values.height, body_);
    }
    return body_;
}

std::span<const std::uint8_t> FrameStream::Y4mFrame(const ExportSlot& slot)
{
    const FrameView& values = slot.values;
    const PixelLayout layout = LayoutOfCodec(values.codec);
    head_.clear();
    if (!begun_) {
        constexpr std::uint32_t kUsPerS = 1'000'000;
        const char* const colours = layout == PixelLayout::kGrey8  ? "mono"
                                    : layout == PixelLayout::kUyvy ? "422"
                                                                   : "mono12";
        head_ = fmt::format("YUV4MPEG2 W{} H{} F{}:{} Ip A1:1 C{} XCOLORRANGE=FULL\n", values.width,
                            values.height, values.periodUs == 0 ? 0 : kUsPerS, values.periodUs,
                            colours);
    }
    head_ += "FRAME\n";
    if (layout == PixelLayout::kUyvy) {
        SplitUyvy(slot);
        return body_;
    }
    if (layout == PixelLayout::kGrey8) {
        return Bytes(slot.pixels.data(), std::size_t{values.width} * values.height);
    }
    Unpack(slot, layout, &grey_);
    for (std::uint16_t& value : grey_) {
        value = static_cast<std::uint16_t>(value >> 4); // 12 bits, low byte first
    }
    return Bytes(grey_.data(), grey_.size() * sizeof(grey_[0]));
}

/** From U Y V Y to all Y, all U and all V. */
void FrameStream::SplitUyvy(const ExportSlot& slot)
{
    const std::size_t pairs = std::size_t{slot.values.width} * slot.values.height / 2;
    body_.resize(4 * pairs);
    const std::uint8_t* in = slot.pixels.data();
    std::uint8_t* luma = body_.data();
    std::uint8_t* const u = luma + 2 * pairs;
    std::uint8_t* const v = u + pairs;
    for (std::size_t i = 0; i < pairs; ++i, in += 4) {
        u[i] = in[0];
        *luma++ = in[1];
        v[i] = in[2];
        *luma++ = in[3];
    }
}

} // namespace kvgrab
