/** Sections without the GIL that end in good order when the interpreter does.
 *
 *  A thread that asks for the GIL of an interpreter that is ending is ended in the middle of its
 *  C++ code, which aborts the process. So before that happens, no section may be left: waits are
 *  interrupted, and sections that begin later keep the GIL. */
#pragma once

#include <optional>
#include <pybind11/pybind11.h>

namespace kvpython
{

/** Releases the GIL while it exists, unless the interpreter is ending. */
class Unlocked
{
public:
    Unlocked();
    ~Unlocked();
    Unlocked(const Unlocked&) = delete;
    Unlocked& operator=(const Unlocked&) = delete;

private:
    std::optional<pybind11::gil_scoped_release> release_;
};

/** True when the interpreter is ending: nothing may wait any more. The caller has the GIL. */
bool IsEnding();

/** Prepares the end: `endWaits` is to interrupt all waits. Once. */
void PrepareEnd(void (*endWaits)());

} // namespace kvpython
