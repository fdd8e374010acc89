/** The session that faults are injected into: it uses every setting, signals, the dynamic table
 *  with and without an excursion, changes of output lines, and missed frames. It runs in virtual
 *  time and is the same in every run. */
#pragma once

#include "base/names.h"
#include "tests/faults/fault.h"
#include "tests/support/rig.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace faults
{

/** Not all settings can be used at once: what is manual in one kind is automatic in the other. */
enum class Kind { ManualMono, AutomaticColor };
inline constexpr base::Named<Kind> kKinds[] = {{"manual-mono", Kind::ManualMono},
                                               {"automatic-color", Kind::AutomaticColor}};

/** How often a place was reached in a run without faults, and the ways in which it can fail. */
struct Reached {
    std::uint64_t times = 0;
    Ways ways;
};
/** By what Fault calls `where` and `name`. */
using Census = std::map<std::pair<std::string, std::string>, Reached>;

/** Runs the session and then, without the faults, a short one in the same process. Returns a
 *  sentence for each thing that is wrong with how they ended. */
std::vector<std::string> RunWith(Kind kind, const std::vector<Fault>& faults,
                                 Census* census = nullptr);

} // namespace faults
