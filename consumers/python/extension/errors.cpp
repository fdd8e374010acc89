#include "errors.h"

#include <exception>
#include <pybind11/pybind11.h>

namespace kvpython
{

namespace
{

const char* ClassOf(kvf_result result)
{
    switch (result) {
    case KVF_TIMEOUT:
        return "Timeout";
    case KVF_NO_HOST:
        return "NoHost";
    case KVF_OVERWRITTEN:
        return "Overwritten";
    case KVF_INTERRUPTED:
        return "Interrupted";
    case KVF_DENIED:
        return "Denied";
    case KVF_INCOMPATIBLE:
        return "Incompatible";
    case KVF_BUSY:
        return "Busy";
    case KVF_OK:
    case KVF_SYSTEM:
    case KVF_INVALID:
        break;
    }
    return "Error";
}

} // namespace

void Check(kvf_result result)
{
    if (result != KVF_OK) {
        throw Failure(result, kvf_error());
    }
}

void TranslateFailures()
{
    pybind11::register_exception_translator([](std::exception_ptr thrown) {
        try {
            std::rethrow_exception(thrown);
        } catch (const Failure& failure) {
            if (failure.Result() == KVF_INVALID) {
                PyErr_SetString(PyExc_ValueError, failure.what());
                return;
            }
            const auto classes = pybind11::module_::import("kvframes.errors");
            PyErr_SetString(classes.attr(ClassOf(failure.Result())).ptr(), failure.what());
        }
    });
}

} // namespace kvpython
