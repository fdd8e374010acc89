/** What the script does to a camera call, of any kind of camera: counted, and failed, delayed or
 *  answered by a detachment when a fault says so. */
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace sim
{

/** Called as a camera call begins, without a lock. A value: the call returns it as its status
 *  without doing its work. `serial` is empty for calls without a camera. */
std::optional<std::int64_t> BeginCall(const char* call, const char* serial);

bool JournalIsOn();
/** "GevStartTransfer(-1)=0" */
void JournalCall(const char* call, const std::string& arguments, const std::string& result);

} // namespace sim
