/** The session that faults are injected into: it uses every setting, signals, the dynamic table
 *  with and without an excursion, changes of output lines, and missed frames. It runs in virtual
 *  time and is the same in every run. */
#pragma once

#include "tests/faults/fault.h"
#include "tests/support/rig.h"

#include <map>
#include <set>
#include <string>
#include <vector>

namespace faults
{

/** Not all settings can be used at once: what is manual in one kind is automatic in the other. */
enum class Kind { ManualMono, AutomaticColor };
inline constexpr Kind kKinds[] = {Kind::ManualMono, Kind::AutomaticColor};
const char* NameOf(Kind kind);

/** How often each place was reached in a run without faults. */
struct Census {
    std::map<std::string, std::uint64_t> reads;  ///< by feature, ranges included
    std::map<std::string, std::uint64_t> writes; ///< by feature
    std::set<std::string> ranges;                ///< features whose limits were asked
    std::map<std::string, std::uint64_t> calls;  ///< camera calls, by name
    std::map<std::string, rig::FakeHost::Answers, std::less<>> answers; ///< host services
    std::uint64_t frames = 0;
};

/** Runs the session and then, without the faults, a short one in the same process. Returns a
 *  sentence for each thing that is wrong with how they ended. */
std::vector<std::string> RunWith(Kind kind, const std::vector<Fault>& faults,
                                 Census* census = nullptr);

} // namespace faults
