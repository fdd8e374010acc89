/** Errors of the network library as exceptions of the contract (gen_api.h). */
#pragma once

#include "net/library_owners.h"

#include <string>
#include <utility>

namespace net
{

/** What an access went for: an entry that is out of range does not exist, a number is only too
 *  large. */
enum class Value { Number, Entry };

/** Raises the exception that fits; its description is `attempt`, a colon and the library's text. */
[[noreturn]] void Raise(const GError& error, const std::string& attempt,
                        Value kind = Value::Number);

/** The result of `call`, which is given the place for the library's error; that error raised.
 *  `attempt` gives the text of what was attempted, and is asked only then. */
template <class Call, class Attempt>
auto Checked(const Call& call, const Attempt& attempt, Value kind = Value::Number)
{
    ErrorSlot error;
    if constexpr (std::is_void_v<decltype(call(error.Out()))>) {
        call(error.Out());
        if (error) {
            Raise(*error.Get(), attempt(), kind);
        }
    } else {
        const auto result = call(error.Out());
        if (error) {
            Raise(*error.Get(), attempt(), kind);
        }
        return result;
    }
}

} // namespace net
