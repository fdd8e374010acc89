#include "picture.h"

#include <cstring>

namespace kvgst
{
namespace
{

/** Full range, matrix of ITU-R BT.601, nothing said about transfer and primaries: what the pictures
 *  of an export are made with, too. */
constexpr const char* kColorimetry = "1:4:0:0";

std::size_t RoundUp4(std::size_t bytes)
{
    return (bytes + 3) & ~std::size_t{3};
}

/** Bytes of this many pixels in the host's memory. */
std::uint64_t PackedBytes(kvf_format format, std::uint64_t pixels)
{
    switch (format) {
    case KVF_MONO12_PACKED:
        return (pixels * 3 + 1) / 2;
    case KVF_MONO12:
    case KVF_UYVY:
        return pixels * 2;
    default:
        return pixels;
    }
}

template <bool scale> std::uint8_t* Put12(std::uint8_t* to, unsigned value)
{
    const unsigned wide = scale ? value << 4 | value >> 8 : value;
    to[0] = static_cast<std::uint8_t>(wide & 255);
    to[1] = static_cast<std::uint8_t>(wide >> 8);
    return to + 2;
}

unsigned FirstOfPair(const std::uint8_t* pair)
{
    return static_cast<unsigned>(pair[0] << 4 | (pair[1] & 15));
}
unsigned SecondOfPair(const std::uint8_t* pair)
{
    return static_cast<unsigned>(pair[2] << 4 | pair[1] >> 4);
}

/** Unpacks pixels `first` to `end`, counted from the picture's first. A line of an odd width begins
 *  or ends inside a pair. */
template <bool scale>
void UnpackPacked12(const std::uint8_t* picture, std::size_t first, std::size_t end,
                    std::uint8_t* to)
{
    const std::uint8_t* pair = picture + first / 2 * 3;
    if (first % 2 != 0) {
        to = Put12<scale>(to, SecondOfPair(pair));
        pair += 3;
        ++first;
    }
    for (; first + 1 < end; first += 2, pair += 3) {
        to = Put12<scale>(to, FirstOfPair(pair));
        to = Put12<scale>(to, SecondOfPair(pair));
    }
    if (first < end) {
        Put12<scale>(to, FirstOfPair(pair));
    }
}

template <bool scale>
void Unpack12(const std::uint8_t* picture, std::size_t first, std::size_t end, std::uint8_t* to)
{
    for (const std::uint8_t* from = picture + first * 2; from != picture + end * 2; from += 2) {
        to = Put12<scale>(to, static_cast<unsigned>(from[0] | (from[1] & 15) << 8));
    }
}

} // namespace

std::optional<Picture> Picture::Of(const kvf_frame& frame, PictureOptions options)
{
    const std::uint64_t pixels = std::uint64_t{frame.width} * frame.height;
    if (frame.format < KVF_MONO8 || frame.format > KVF_BAYER_RG8 || pixels == 0 ||
        frame.width > G_MAXINT32 || frame.height > G_MAXINT32 ||
        PackedBytes(frame.format, pixels) > frame.bytes) {
        return std::nullopt;
    }
    const bool one = frame.format == KVF_MONO8 || frame.format == KVF_BAYER_RG8;
    Picture picture;
    picture.format_ = frame.format;
    picture.options_ = options;
    picture.width_ = frame.width;
    picture.height_ = frame.height;
    picture.lineBytes_ = picture.width_ * (one ? 1 : 2);
    picture.stride_ = RoundUp4(picture.lineBytes_);
    return picture;
}

GstCaps* Picture::Caps() const
{
    const bool bayer = format_ == KVF_BAYER_RG8 && !options_.bayerAsGrey;
    const char* format = "GRAY8";
    if (format_ == KVF_MONO12_PACKED || format_ == KVF_MONO12) {
        format = "GRAY16_LE";
    } else if (format_ == KVF_UYVY) {
        format = "UYVY";
    } else if (bayer) {
        format = "rggb";
    }
    GstCaps* caps = gst_caps_new_simple(
        bayer ? "video/x-bayer" : "video/x-raw", "format", G_TYPE_STRING, format, "width",
        G_TYPE_INT, static_cast<int>(width_), "height", G_TYPE_INT, static_cast<int>(height_),
        "framerate", GST_TYPE_FRACTION_RANGE, 0, 1, G_MAXINT, 1, nullptr);
    if (!bayer) {
        gst_caps_set_simple(caps, "interlace-mode", G_TYPE_STRING, "progressive",
                            "pixel-aspect-ratio", GST_TYPE_FRACTION, 1, 1, "colorimetry",
                            G_TYPE_STRING, kColorimetry, nullptr);
    }
    return caps;
}

bool Picture::IsAsReceived() const
{
    const bool changed =
        format_ == KVF_MONO12_PACKED || (format_ == KVF_MONO12 && options_.scale12);
    return !changed && stride_ == lineBytes_;
}

bool Picture::Copy(const kvf_source* source, const kvf_frame& frame, std::uint8_t* to) const
{
    const auto* from = static_cast<const std::uint8_t*>(frame.pixels);
    const bool packed = format_ == KVF_MONO12_PACKED;
    if (packed || format_ == KVF_MONO12) {
        const auto unpack = packed
                                ? (options_.scale12 ? UnpackPacked12<true> : UnpackPacked12<false>)
                                : (options_.scale12 ? Unpack12<true> : Unpack12<false>);
        for (std::size_t y = 0; y < height_; ++y) {
            unpack(from, y * width_, (y + 1) * width_, to + y * stride_);
        }
    } else if (stride_ == lineBytes_) {
        std::memcpy(to, from, stride_ * height_);
    } else {
        for (std::size_t y = 0; y < height_; ++y) {
            std::memcpy(to + y * stride_, from + y * lineBytes_, lineBytes_);
        }
    }
    for (std::size_t y = 0; stride_ != lineBytes_ && y < height_; ++y) {
        std::memset(to + y * stride_ + lineBytes_, 0, stride_ - lineBytes_);
    }
    return kvf_is_valid(source, &frame) == 1;
}

GstCaps* AllCaps()
{
    return gst_caps_from_string(
        "video/x-raw, format=(string){ GRAY8, GRAY16_LE, UYVY }, width=(int)[ 1, max ], "
        "height=(int)[ 1, max ], framerate=(fraction)[ 0/1, max ]; "
        "video/x-bayer, format=(string)rggb, width=(int)[ 1, max ], height=(int)[ 1, max ], "
        "framerate=(fraction)[ 0/1, max ]");
}

} // namespace kvgst
