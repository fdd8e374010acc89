/** Camera calls, whatever the backend: counted, struck by faults, and recorded in the journal. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace injection
{

/** Called as a camera call begins, without a lock: counts it and injects the faults that are due. A
 *  value: the call returns it as its status without doing its work. `serial` is empty for calls
 *  without a camera. */
std::optional<std::int64_t> BeginCall(const char* call, const char* serial);

/** "GevStartTransfer(-1)=0". Only while the journal is on. */
void JournalCall(const char* call, std::string_view arguments, std::string_view result);

} // namespace injection
