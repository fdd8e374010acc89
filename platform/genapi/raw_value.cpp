#include "genapi/raw_value.h"

#include <cstring>
#include <fmt/format.h>
#include <new>

namespace genapi
{

namespace
{

using GenApi_3_0::INode;

/** Truncates the value if the caller asks for fewer bytes. */
void PutInteger(std::int64_t from, int size, void* to)
{
    if (size == 8) {
        std::memcpy(to, &from, sizeof from);
        return;
    }
    const auto narrow = static_cast<std::int32_t>(from);
    std::memcpy(to, &narrow, sizeof narrow);
}

/** Takes 4 bytes as unsigned, since codes and sizes use all 32 bits. */
std::int64_t TakeInteger(int size, const void* from)
{
    if (size == 8) {
        std::int64_t value = 0;
        std::memcpy(&value, from, sizeof value);
        return value;
    }
    std::uint32_t narrow = 0;
    std::memcpy(&narrow, from, sizeof narrow);
    return narrow;
}

void PutFloat(double from, int size, void* to)
{
    if (size == 8) {
        std::memcpy(to, &from, sizeof from);
        return;
    }
    const auto narrow = static_cast<float>(from);
    std::memcpy(to, &narrow, sizeof narrow);
}

double TakeFloat(int size, const void* from)
{
    if (size == 8) {
        double value = 0;
        std::memcpy(&value, from, sizeof value);
        return value;
    }
    float narrow = 0;
    std::memcpy(&narrow, from, sizeof narrow);
    return static_cast<double>(narrow);
}

/** Strings and commands are never reached this way. */
[[noreturn]] void RaiseNoNumber(INode& node)
{
    throw GenICam_3_0::InvalidArgumentException(
        fmt::format("{}: its value is no number", node.GetName()));
}

template <class Access>
int WithNode(GenApi_3_0::INodeMap& map, const char* feature, int size, const Access& access)
{
    if (size != 4 && size != 8) {
        return kGevInvalidArgument;
    }
    try {
        INode* node = map.GetNode(feature);
        if (node == nullptr) {
            return kGevNotFound;
        }
        access(node);
        return kGevOk;
    } catch (...) { // cancellation is deferred, so this can only be an error
        return StatusOfException();
    }
}

} // namespace

int StatusOfException() noexcept
{
    try {
        throw;
    } catch (const GenICam_3_0::InvalidArgumentException&) {
        return kGevBadValue;
    } catch (const GenICam_3_0::OutOfRangeException&) {
        return kGevBadValue;
    } catch (const GenICam_3_0::AccessException&) {
        return kGevAccessDenied;
    } catch (const GenICam_3_0::TimeoutException&) {
        return kGevTimeout;
    } catch (const std::bad_alloc&) {
        return kGevNoMemory;
    } catch (...) {
        return kGevError;
    }
}

int ReadRaw(GenApi_3_0::INodeMap& map, const char* feature, int size, void* value) noexcept
{
    return WithNode(map, feature, size, [&](INode* node) {
        if (auto* integer = node->AsInteger()) {
            PutInteger(integer->GetValue(), size, value);
        } else if (auto* real = node->AsFloat()) {
            PutFloat(real->GetValue(), size, value);
        } else if (auto* enumeration = node->AsEnumeration()) {
            PutInteger(enumeration->GetIntValue(), size, value);
        } else if (auto* boolean = node->AsBoolean()) {
            PutInteger(boolean->GetValue() ? 1 : 0, size, value);
        } else {
            RaiseNoNumber(*node);
        }
    });
}

int WriteRaw(GenApi_3_0::INodeMap& map, const char* feature, int size, const void* value) noexcept
{
    return WithNode(map, feature, size, [&](INode* node) {
        if (auto* integer = node->AsInteger()) {
            integer->SetValue(TakeInteger(size, value));
        } else if (auto* real = node->AsFloat()) {
            real->SetValue(TakeFloat(size, value));
        } else if (auto* enumeration = node->AsEnumeration()) {
            enumeration->SetIntValue(TakeInteger(size, value));
        } else if (auto* boolean = node->AsBoolean()) {
            boolean->SetValue(TakeInteger(size, value) != 0);
        } else {
            RaiseNoNumber(*node);
        }
    });
}

} // namespace genapi
