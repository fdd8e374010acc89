/** The sentence about a thread's last failure. */
#pragma once

#include "kvframes.h"

namespace kvframes
{

/** Keeps the sentence for kvf_error() on the calling thread, and returns `result`. */
[[gnu::format(printf, 2, 3)]] kvf_result Fail(kvf_result result, const char* format, ...);
/** As Fail(KVF_SYSTEM, ...): what was tried and why the system refused it, from `error`. */
kvf_result FailSystem(const char* what, const char* name, int error);
const char* LastError();

} // namespace kvframes
