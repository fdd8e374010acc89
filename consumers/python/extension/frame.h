/** What Python sees of a frame. The caller of everything here has the GIL. */
#pragma once

#include "source.h"

#include <memory>
#include <pybind11/numpy.h>
#include <string>

namespace kvpython
{

/** A frame of a source: its values, and its pixels as arrays. */
class Frame
{
public:
    Frame(std::shared_ptr<Source> source, std::shared_ptr<const Pixels> pixels)
        : source_(std::move(source)), pixels_(std::move(pixels))
    {
    }

    const kvf_frame& Values() const { return pixels_->Frame(); }
    const std::shared_ptr<Source>& Origin() const { return source_; }
    bool IsValid() const { return source_->IsValid(Values()); }

    /** The pixels, read-only: in place, or unpacked once if two of them share a byte. */
    pybind11::array Array();
    /** The bytes as received, in place, read-only. */
    pybind11::array Bytes() const;
    /** Like Array(), but the caller's own and certainly of this frame. */
    pybind11::array Copy() const;
    pybind11::array Rgb() const;
    std::string Repr() const;

private:
    pybind11::array View(const pybind11::dtype& type,
                         const pybind11::array::ShapeContainer& shape) const;
    void FailIfPixelsAreMissing() const;
    void FailIfOverwritten() const;

    std::shared_ptr<Source> source_;
    std::shared_ptr<const Pixels> pixels_;
    pybind11::object unpacked_ = pybind11::none();
};

/** A frame that the host was asked not to overwrite, until Release() or the end of this object. */
class Hold
{
public:
    explicit Hold(const std::shared_ptr<Frame>& frame); ///< throws Failure
    ~Hold();
    Hold(const Hold&) = delete;
    Hold& operator=(const Hold&) = delete;

    const std::shared_ptr<Frame>& Held() const { return frame_; }
    /** Throws Failure if the host had taken the frame back. Without effect when called again. */
    void Release();

private:
    std::shared_ptr<Frame> frame_;
    bool isReleased_ = false;
};

} // namespace kvpython
