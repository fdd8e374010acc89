// The module kvframes._kvframes. Docstrings here are what help() shows.

#include "errors.h"
#include "frame.h"
#include "unlocked.h"

#include <pybind11/pybind11.h>
#include <pybind11/stl.h>

namespace kvpython
{

namespace
{

namespace py = pybind11;
using namespace py::literals;

constexpr const char* kSourceDoc =
    R"(The frames of one host, which may come, leave and return at any time.

name: of the host's shared memory, "/kvgrab" unless another one is given.

Threads: a source may be used from several threads, which share its position: each frame goes to one
of them. For each thread to see every frame, open a source in each.

Raises ValueError if the name makes no sense.)";

constexpr const char* kWaitDoc =
    R"(Waits for a frame, and for a host if there is none. The first frame is the newest one.

timeout: seconds; None waits for ever, 0 only looks.
newest: True skips to the newest frame, if it is newer than the one before; False gives the frame
after the one before, or the oldest one that can still be read. Frame.missed says how many were
skipped.

Other threads run meanwhile, and Ctrl-C ends the wait.

Raises Timeout (no frame in time), NoHost (no host at the end of the time), Denied, Incompatible,
Interrupted (by interrupt() or close()), ValueError (a negative time), or Error.)";

constexpr const char* kFrameDoc =
    R"(A frame: its values when it was received, and its pixels in the host's memory.

The host fills its buffers in turn, so the pixels stay for a few frames only. There are three ways
to use them:

- in place, and ask `valid` afterwards: `frame.array`;
- in place under `with frame.hold():`, as long as the host can do without the buffer;
- a copy that is certainly of this frame: `frame.copy()`, `frame.rgb()`.

An array in place stays readable for as long as it exists, even after frame, source and host are
gone; only its values change when the host uses the buffer again.)";

constexpr const char* kArrayDoc = R"(The pixels as a read-only numpy array.

codec      dtype   shape    values
MONO8T     uint8   (h, w)
MONO12T    uint16  (h, w)     0 to 4095
MONO12PT   uint16  (h, w)     0 to 4095
BayerRG8T  uint8   (h, w)     as received: lines RGRG.. and GBGB..
UYVY       uint8   (h, w, 2)  [..., 1] is Y, [..., 0] is U in even columns and V in odd ones

It is in the host's memory, not a copy, except for MONO12PT, which has two pixels in three bytes: it
is unpacked when it is asked for first, and certainly of this frame.

Raises Overwritten (only MONO12PT), or Error if the codec is not known; `data` has the bytes then.)";

constexpr const char* kDataDoc =
    "The bytes as received, in place: a read-only numpy array of uint8 with shape (n,).";

constexpr const char* kCopyDoc =
    R"(A copy of the pixels, certainly of this frame: a numpy array like `array` that is yours.

Raises Overwritten if the host has used the buffer again, or Error if the codec is not known.)";

constexpr const char* kRgbDoc =
    R"(The picture in colours, certainly of this frame: a numpy array of uint8 with shape (h, w, 3), in
the order red, green, blue. It is yours.

UYVY is converted by the factors of ITU-R BT.601 in full range. Of a Bayer picture, missing colours
are the mean of the nearest neighbours. Grey pictures have three equal values; of 12 bits the upper
8 are left. The colours are those of the PNG files that kvgrab exports.

Raises Overwritten if the host has used the buffer again, or Error if the codec is not known.)";

constexpr const char* kValidDoc =
    "True if all that was read from the pixels so far belongs to this frame.";

constexpr const char* kHoldDoc = R"(Asks the host not to use the frame's buffer again:

    with frame.hold():
        work(frame.array)

The end of the block, or release(), gives the frame back. A host that would lose frames otherwise
takes the buffer back before that; the end of the block then raises Overwritten, unless another
exception is under way. A source holds one frame at a time.

Raises Overwritten (too late), Denied (this host or user can't hold frames), Busy (the source holds
a frame already, or all consumers together hold as many as the host permits), or Error.)";

constexpr const char* kStateDoc = R"(The host as it is now.

Raises Denied, Incompatible or Error; that there is no host is no error.)";

/** A read-only attribute of a frame. */
template <typename Read>
void Value(py::class_<Frame, std::shared_ptr<Frame>>* type, const char* name, Read read,
           const char* doc)
{
    type->def_property_readonly(
        name, [read](const Frame& frame) { return read(frame.Values()); }, doc);
}

void DefineHold(py::class_<Hold>* type)
{
    type->def("release", &Hold::Release,
              "Gives the frame back. Without effect when called again.\n\n"
              "Raises Overwritten if the host had taken it back before.")
        .def(
            "__enter__", [](const Hold& hold) { return hold.Held(); }, "The frame.")
        .def("__exit__",
             [](Hold* hold, const py::object& error, const py::object&, const py::object&) {
                 try {
                     hold->Release();
                 } catch (const Failure&) {
                     if (error.is_none()) {
                         throw;
                     }
                 }
             });
}

void DefineFrame(py::module_* module)
{
    py::class_<Frame, std::shared_ptr<Frame>> frame(*module, "Frame", kFrameDoc);
    // Each of the two names the other in its signatures.
    py::class_<Hold> hold(*module, "Hold", "A held frame, made by Frame.hold().");
    DefineHold(&hold);
    frame.def_property_readonly("array", &Frame::Array, kArrayDoc)
        .def_property_readonly("data", &Frame::Bytes, kDataDoc)
        .def_property_readonly("valid", &Frame::IsValid, kValidDoc)
        .def("copy", &Frame::Copy, kCopyDoc)
        .def("rgb", &Frame::Rgb, kRgbDoc)
        .def(
            "hold", [](const std::shared_ptr<Frame>& self) { return std::make_unique<Hold>(self); },
            kHoldDoc)
        .def("__repr__", &Frame::Repr);
    Value(
        &frame, "sequence", [](const kvf_frame& f) { return f.sequence; },
        "From 1 since the host started, one more with each frame.");
    Value(
        &frame, "missed", [](const kvf_frame& f) { return f.missed; },
        "Frames between this one and the one that the source gave before it.");
    Value(
        &frame, "time_us", [](const kvf_frame& f) { return f.time_us; },
        "Time stamp, microseconds since the epoch.");
    Value(
        &frame, "capture_time_ns", [](const kvf_frame& f) { return f.capture_time_ns; },
        "The camera's time stamp on the host's clock, nanoseconds since the epoch; 0: none.");
    Value(
        &frame, "camera_ticks", [](const kvf_frame& f) { return f.camera_ticks; },
        "The camera's own time stamp, in its ticks.");
    Value(
        &frame, "camera_frame_number", [](const kvf_frame& f) { return f.camera_frame_number; },
        "The camera's own number of the frame; 0: none.");
    Value(
        &frame, "frame_counter", [](const kvf_frame& f) { return f.frame_counter; },
        "Counter of the frames that the host's driver grabbed.");
    Value(
        &frame, "gain_db", [](const kvf_frame& f) { return f.gain_db; }, "Gain, dB.");
    Value(
        &frame, "exposure_us", [](const kvf_frame& f) { return f.exposure_us; },
        "Exposure time, microseconds.");
    Value(
        &frame, "width", [](const kvf_frame& f) { return f.width; }, "Pixels.");
    Value(
        &frame, "height", [](const kvf_frame& f) { return f.height; }, "Pixels.");
    Value(
        &frame, "nbytes", [](const kvf_frame& f) { return f.bytes; },
        "Bytes of the picture as received.");
    Value(
        &frame, "codec", [](const kvf_frame& f) { return py::str(f.codec); },
        "Name of the pixel format: MONO8T, MONO12PT, MONO12T, UYVY or BayerRG8T.");
    Value(
        &frame, "generation", [](const kvf_frame& f) { return f.generation; },
        "Of the layout. With another value, size or pixel format may have changed.");
    Value(
        &frame, "host", [](const kvf_frame& f) { return f.host; },
        "Number of the host since the source was opened, from 1: a new one counts up.");
}

void DefineState(py::module_* module)
{
    py::class_<kvf_state>(*module, "State", "A host at one moment, as Source.state gives it.")
        .def_property_readonly(
            "attached", [](const kvf_state& s) { return s.attached != 0; },
            "True while a host lives and offers frames.")
        .def_property_readonly(
            "can_hold", [](const kvf_state& s) { return s.can_hold != 0; },
            "True if Frame.hold() is possible with this host and user.")
        .def_property_readonly(
            "codec", [](const kvf_state& s) { return py::str(s.codec); },
            "Name of the pixel format; empty until known.")
        .def_readonly("buffers", &kvf_state::buffers,
                      "Number of frame buffers; 0 before the first session.")
        .def_readonly("width", &kvf_state::width, "Pixels; 0 until known.")
        .def_readonly("height", &kvf_state::height, "Pixels; 0 until known.")
        .def_readonly("frame_bytes", &kvf_state::frame_bytes, "Bytes of a picture.")
        .def_readonly("newest", &kvf_state::newest, "Sequence number of the newest frame; 0: none.")
        .def_readonly("host_pid", &kvf_state::host_pid, "Number of the host's process.")
        .def_readonly("host", &kvf_state::host, "As Frame.host.")
        .def_readonly("generation", &kvf_state::generation, "As Frame.generation.")
        .def_readonly("next_time_us", &kvf_state::next_time_us,
                      "Expected time stamp of the next frame, microseconds since the epoch; 0: not "
                      "known.");
}

void DefineSource(py::module_* module)
{
    py::class_<Source, std::shared_ptr<Source>>(*module, "Source", kSourceDoc)
        .def(py::init<const std::string&>(), "name"_a = KVF_DEFAULT_NAME)
        .def(
            "wait",
            [](const std::shared_ptr<Source>& self, std::optional<double> timeout, bool newest) {
                return std::make_shared<Frame>(self,
                                               self->Wait(timeout, newest ? KVF_NEWEST : KVF_NEXT));
            },
            "timeout"_a = py::none(), "newest"_a = false, kWaitDoc)
        .def(
            "interrupt", &Source::Interrupt,
            "Ends all waits that are under way in other threads, or the next one if none is. They\n"
            "raise Interrupted.")
        .def(
            "close", &Source::Close,
            "Ends all waits, also later ones. Frames and arrays stay usable; the host's memory is\n"
            "given back with the last of them.")
        .def_property_readonly("closed", &Source::IsClosed, "True after close().")
        .def_property_readonly("state", &Source::State, kStateDoc);
}

} // namespace

} // namespace kvpython

PYBIND11_MODULE(_kvframes, module)
{
    module.doc() = "The compiled part of kvframes.";
    kvpython::TranslateFailures();
    kvpython::PrepareEnd(kvpython::Source::CloseAll);
    kvpython::DefineFrame(&module);
    kvpython::DefineState(&module);
    kvpython::DefineSource(&module);
}
