#include "unlocked.h"

#include <chrono>
#include <thread>

namespace kvpython
{

namespace
{

namespace py = pybind11;

// Both are read and written with the GIL.
int sections = 0;
bool isEnding = false;

} // namespace

Unlocked::Unlocked()
{
    if (!isEnding) {
        ++sections;
        release_.emplace();
    }
}

Unlocked::~Unlocked()
{
    if (release_) {
        release_.reset();
        --sections;
    }
}

bool IsEnding()
{
    return isEnding;
}

void PrepareEnd(void (*endWaits)())
{
    const auto end = [endWaits] {
        isEnding = true;
        while (sections != 0) {
            endWaits();
            const py::gil_scoped_release others;
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    };
    py::module_::import("atexit").attr("register")(py::cpp_function(end));
}

} // namespace kvpython
