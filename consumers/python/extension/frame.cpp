#include "frame.h"

#include "errors.h"
#include "pictures.h"
#include "unlocked.h"

#include <cstring>

namespace kvpython
{

namespace py = pybind11;

namespace
{

py::array::ShapeContainer ShapeOf(const kvf_frame& frame)
{
    const auto width = static_cast<py::ssize_t>(frame.width);
    const auto height = static_cast<py::ssize_t>(frame.height);
    return frame.format == KVF_UYVY ? py::array::ShapeContainer({height, width, py::ssize_t{2}})
                                    : py::array::ShapeContainer({height, width});
}

py::dtype TypeOf(const kvf_frame& frame)
{
    const bool isWide = frame.format == KVF_MONO12 || frame.format == KVF_MONO12_PACKED;
    return isWide ? py::dtype::of<std::uint16_t>() : py::dtype::of<std::uint8_t>();
}

void MakeReadOnly(const py::array& array)
{
    array.attr("setflags")(false);
}

} // namespace

void Frame::FailIfPixelsAreMissing() const
{
    const kvf_frame& frame = Values();
    const std::size_t bytes = PictureBytes(frame.format, frame.width, frame.height);
    if (bytes == 0) {
        throw Failure(KVF_SYSTEM, "There is no array for codec " + std::string(frame.codec) +
                                      "; 'data' has the bytes.");
    }
    if (bytes > frame.bytes) {
        throw Failure(KVF_SYSTEM, "The frame is shorter than its size requires; 'data' has its "
                                  "bytes.");
    }
}

void Frame::FailIfOverwritten() const
{
    if (!IsValid()) {
        throw Failure(KVF_OVERWRITTEN, "The frame was overwritten while its pixels were read.");
    }
}

py::array Frame::View(const py::dtype& type, const py::array::ShapeContainer& shape) const
{
    auto* owner = new std::shared_ptr<const Pixels>(pixels_);
    const py::capsule base(
        owner, [](void* shared) { delete static_cast<std::shared_ptr<const Pixels>*>(shared); });
    py::array view(type, shape, Values().pixels, base);
    MakeReadOnly(view);
    return view;
}

py::array Frame::Bytes() const
{
    return View(py::dtype::of<std::uint8_t>(), {static_cast<py::ssize_t>(Values().bytes)});
}

py::array Frame::Array()
{
    FailIfPixelsAreMissing();
    if (Values().format != KVF_MONO12_PACKED) {
        return View(TypeOf(Values()), ShapeOf(Values()));
    }
    if (unpacked_.is_none()) {
        py::array unpacked = Copy();
        MakeReadOnly(unpacked);
        unpacked_ = std::move(unpacked);
    }
    return py::reinterpret_borrow<py::array>(unpacked_);
}

py::array Frame::Copy() const
{
    FailIfPixelsAreMissing();
    const kvf_frame& frame = Values();
    py::array to(TypeOf(frame), ShapeOf(frame));
    void* const room = to.mutable_data();
    const auto bytes = static_cast<std::size_t>(to.nbytes());
    const Unlocked unlocked;
    if (frame.format == KVF_MONO12_PACKED) {
        UnpackMono12(static_cast<const std::uint8_t*>(frame.pixels),
                     std::size_t{frame.width} * frame.height, static_cast<std::uint16_t*>(room));
    } else {
        std::memcpy(room, frame.pixels, bytes);
    }
    FailIfOverwritten();
    return to;
}

py::array Frame::Rgb() const
{
    FailIfPixelsAreMissing();
    py::array_t<std::uint8_t> to({static_cast<py::ssize_t>(Values().height),
                                  static_cast<py::ssize_t>(Values().width), py::ssize_t{3}});
    std::uint8_t* const room = to.mutable_data();
    const Unlocked unlocked;
    ToRgb(Values(), room);
    FailIfOverwritten();
    return to;
}

std::string Frame::Repr() const
{
    const kvf_frame& frame = Values();
    return py::str("<kvframes.Frame {}: {} x {} {}>")
        .format(frame.sequence, frame.width, frame.height, frame.codec);
}

Hold::Hold(const std::shared_ptr<Frame>& frame) : frame_(frame)
{
    frame_->Origin()->Hold(frame_->Values());
}

Hold::~Hold()
{
    if (!isReleased_) {
        frame_->Origin()->Release();
    }
}

void Hold::Release()
{
    if (isReleased_) {
        return;
    }
    isReleased_ = true;
    Check(frame_->Origin()->Release());
}

} // namespace kvpython
