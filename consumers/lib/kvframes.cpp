/** The C interface: checks its arguments and keeps exceptions inside. */
#include "kvframes.h"

#include "error.h"
#include "source.h"

#include <cstring>
#include <exception>
#include <iterator>

struct kvf_source final : kvframes::Source {
    using Source::Source;
};

namespace
{

using kvframes::Fail;

/** A name with the board's suffix still fits a file's name. */
constexpr std::size_t kNameLimit = 240;

/** Only want of memory can throw here. */
template <class Call> kvf_result Guard(Call&& call) noexcept
{
    try {
        return call();
    } catch (const std::exception& error) {
        return Fail(KVF_SYSTEM, "The system refuses something: %s.", error.what());
    }
}

kvf_result NullArgument()
{
    return Fail(KVF_INVALID, "An argument is null that must not be.");
}

bool IsName(const char* name)
{
    const std::size_t length = strnlen(name, kNameLimit + 1);
    return length >= 2 && length <= kNameLimit && name[0] == '/' &&
           std::strchr(name + 1, '/') == nullptr && std::strcmp(name, "/.") != 0 &&
           std::strcmp(name, "/..") != 0;
}

} // namespace

kvf_result kvf_open(const char* name, kvf_source** source)
{
    if (source == nullptr) {
        return NullArgument();
    }
    *source = nullptr;
    const char* const chosen = name == nullptr ? KVF_DEFAULT_NAME : name;
    if (!IsName(chosen)) {
        return Fail(KVF_INVALID,
                    "'%.40s' can't name a frame memory: it takes a slash and up to 239 characters "
                    "without another slash.",
                    chosen);
    }
    return Guard([chosen, source] {
        *source = new kvf_source(chosen);
        return KVF_OK;
    });
}

void kvf_close(kvf_source* source)
{
    delete source;
}

kvf_result kvf_wait(kvf_source* source, kvf_which which, int timeout_ms, kvf_frame* frame)
{
    if (source == nullptr || frame == nullptr) {
        return NullArgument();
    }
    if (timeout_ms < KVF_FOREVER || (which != KVF_NEXT && which != KVF_NEWEST)) {
        return Fail(KVF_INVALID, "A wait takes KVF_NEXT or KVF_NEWEST, and a time-out of 0 or more "
                                 "or KVF_FOREVER.");
    }
    return Guard([=] { return source->Wait(which, timeout_ms, frame); });
}

void kvf_interrupt(kvf_source* source)
{
    if (source != nullptr) {
        source->Interrupt();
    }
}

int kvf_is_valid(const kvf_source* source, const kvf_frame* frame)
{
    return source != nullptr && frame != nullptr && source->IsValid(*frame) ? 1 : 0;
}

kvf_result kvf_copy(const kvf_source* source, const kvf_frame* frame, void* to, size_t bytes)
{
    if (source == nullptr || frame == nullptr || to == nullptr) {
        return NullArgument();
    }
    return Guard([=] { return source->Copy(*frame, to, bytes); });
}

kvf_result kvf_hold(kvf_source* source, const kvf_frame* frame)
{
    if (source == nullptr || frame == nullptr) {
        return NullArgument();
    }
    return Guard([=] { return source->Hold(*frame); });
}

kvf_result kvf_release(kvf_source* source)
{
    if (source == nullptr) {
        return NullArgument();
    }
    return Guard([=] { return source->Release(); });
}

kvf_result kvf_pin(kvf_source* source, kvf_frame* frame)
{
    if (source == nullptr || frame == nullptr) {
        return NullArgument();
    }
    return Guard([=] { return source->PinFrame(frame); });
}

void kvf_unpin(kvf_frame* frame)
{
    if (frame != nullptr) {
        delete static_cast<kvframes::Pin*>(frame->reserved);
        frame->reserved = nullptr;
    }
}

kvf_result kvf_get_state(kvf_source* source, kvf_state* state)
{
    if (source == nullptr || state == nullptr) {
        return NullArgument();
    }
    return Guard([=] { return source->GetState(state); });
}

const char* kvf_error(void)
{
    return kvframes::LastError();
}

const char* kvf_result_name(kvf_result result)
{
    constexpr const char* kNames[] = {
        "KVF_OK",     "KVF_TIMEOUT",      "KVF_NO_HOST", "KVF_OVERWRITTEN", "KVF_INTERRUPTED",
        "KVF_DENIED", "KVF_INCOMPATIBLE", "KVF_BUSY",    "KVF_SYSTEM",      "KVF_INVALID"};
    const auto index = static_cast<std::size_t>(result);
    return index < std::size(kNames) ? kNames[index] : "unknown result";
}
