#include "net/errors.h"

#include "gen_api.h"

#include <fmt/format.h>

namespace net
{

namespace
{

using namespace GenICam_3_0;

[[noreturn]] void RaiseDeviceError(int code, const std::string& text)
{
    switch (code) {
    case ARV_DEVICE_ERROR_TIMEOUT:
        throw TimeoutException(text);
    case ARV_DEVICE_ERROR_NOT_CONTROLLER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT:
        throw AccessException(text);
    case ARV_DEVICE_ERROR_INVALID_PARAMETER:
    case ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER:
        throw InvalidArgumentException(text);
    default:
        throw RuntimeException(text);
    }
}

[[noreturn]] void RaiseDescriptionError(int code, const std::string& text, Value kind)
{
    switch (code) {
    case ARV_GC_ERROR_READ_ONLY:
        throw AccessException(text);
    case ARV_GC_ERROR_OUT_OF_RANGE:
        if (kind == Value::Entry) {
            throw InvalidArgumentException(text);
        }
        throw OutOfRangeException(text);
    case ARV_GC_ERROR_INVALID_LENGTH:
        throw OutOfRangeException(text);
    case ARV_GC_ERROR_ENUM_ENTRY_NOT_FOUND:
    case ARV_GC_ERROR_INVALID_SYNTAX:
        throw InvalidArgumentException(text);
    case ARV_GC_ERROR_PROPERTY_NOT_DEFINED:
    case ARV_GC_ERROR_PVALUE_NOT_DEFINED:
    case ARV_GC_ERROR_INVALID_PVALUE:
    case ARV_GC_ERROR_EMPTY_ENUMERATION:
    case ARV_GC_ERROR_INVALID_BIT_RANGE:
        throw PropertyException(text);
    case ARV_GC_ERROR_NO_DEVICE_SET:
    case ARV_GC_ERROR_NODE_NOT_FOUND:
        throw LogicalErrorException(text);
    default:
        throw RuntimeException(text);
    }
}

} // namespace

void Raise(const GError& error, const std::string& attempt, Value kind)
{
    const std::string text = fmt::format("{}: {}", attempt, error.message);
    if (error.domain == ARV_DEVICE_ERROR) {
        RaiseDeviceError(error.code, text);
    }
    if (error.domain == ARV_GC_ERROR) {
        RaiseDescriptionError(error.code, text, kind);
    }
    throw RuntimeException(text);
}

} // namespace net
