// Which faults the command line takes, and when they occur: the cases in faults.txt.

#include "tests/base/text_cases.h"
#include "tools/kvcam/faults/fault_text.h"

#include <fmt/format.h>
#include <stdexcept>

namespace
{

/** The frames of the first twenty in which the fault occurs, or why there is no such fault. */
std::string Occurrences(const std::string& lines)
{
    const std::string text = lines.substr(0, lines.find('\n'));
    try {
        kvcam::FaultText fault(text);
        const std::uint64_t packet = fault.Number("packet", 0);
        kvcam::Occurrence occurrence(fault);
        fault.CheckAllTaken();
        std::string frames;
        for (std::uint64_t frame = 1; frame <= 20; ++frame) {
            frames += occurrence.Occurs(frame) ? fmt::format(" {}", frame) : "";
        }
        return fmt::format("{} packet {} in frames{}", fault.Kind(), packet, frames);
    } catch (const std::runtime_error& e) {
        return e.what();
    }
}

TEST(FaultText, OccursAsItSays)
{
    ExpectOutcomes(TEXTS "/faults.txt", Occurrences);
}

} // namespace
