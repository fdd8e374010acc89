#include "error.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

namespace kvframes
{
namespace
{

thread_local char text[512] = "Nothing has failed on this thread.";

} // namespace

kvf_result Fail(kvf_result result, const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    return result;
}

kvf_result FailSystem(const char* what, const char* name, int error)
{
    return Fail(KVF_SYSTEM, "The system refused to %s '%s': %s.", what, name,
                strerrordesc_np(error));
}

const char* LastError()
{
    return text;
}

} // namespace kvframes
