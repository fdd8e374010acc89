/** How the pixels of a frame look in GStreamer: caps, size, and the copy into a buffer.
 *
 *  The host's lines have no padding; GStreamer expects lines of a multiple of 4 bytes. */
#pragma once

#include "kvframes.h"

#include <gst/gst.h>

#include <cstdint>
#include <optional>

namespace kvgst
{

/** What the element's properties say about pictures. */
struct PictureOptions {
    bool scale12 = true;      ///< 12-bit values fill 16 bits
    bool bayerAsGrey = false; ///< Bayer pictures are offered as grey ones

    bool operator==(const PictureOptions&) const = default;
};

/** The size and form of a frame's picture. */
class Picture
{
public:
    /** None if GStreamer has no such format, or if the frame is shorter than its size requires. */
    static std::optional<Picture> Of(const kvf_frame& frame, PictureOptions options);

    /** With any frame rate. The caller owns the result. */
    GstCaps* Caps() const;
    /** Of a buffer. */
    gsize Bytes() const { return stride_ * height_; }
    /** True if the host's bytes are what a buffer would have. */
    bool IsAsReceived() const;
    /** Copies the frame into a buffer of Bytes(). False if it was overwritten meanwhile. */
    bool Copy(const kvf_source* source, const kvf_frame& frame, std::uint8_t* to) const;

    bool operator==(const Picture&) const = default;

private:
    Picture() = default;

    kvf_format format_ = KVF_UNKNOWN;
    PictureOptions options_;
    std::size_t width_ = 0;
    std::size_t height_ = 0;
    std::size_t lineBytes_ = 0; ///< of the result, without padding
    std::size_t stride_ = 0;    ///< of the result
};

/** Everything that the element may offer. The caller owns the result. */
GstCaps* AllCaps();

} // namespace kvgst
