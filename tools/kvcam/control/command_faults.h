/** Faults of the control channel: commands that are lost, slow or refused, answers that are late or
 *  wrong, a camera that falls silent or restarts. docs/kvcam.md has their settings. */
#pragma once

#include "tools/kvcam/control/gvcp.h"
#include "tools/kvcam/faults/fault_text.h"

#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace kvcam
{

/** Addresses that a command accesses. */
struct AddressRange {
    std::uint32_t address = 0;
    std::uint32_t bytes = 4;
};

/** What happens to one command. */
struct Verdict {
    bool lost = false;
    bool answerLost = false;
    std::int64_t slowNs = 0;                ///< how long the access takes
    std::optional<std::uint16_t> refusal;   ///< the status of the answer; nothing is accessed
    std::optional<std::uint32_t> lie;       ///< what each register of the command is said to hold
    std::optional<std::int64_t> latenessNs; ///< how long the answer stays away
    bool pending = false;                   ///< a PENDING_ACK announces the late answer
};

/** While it lasts, the camera hears and sends nothing. */
struct Outage {
    std::int64_t fromNs = 0; ///< after the start of the camera
    std::int64_t toNs = 0;
    bool reboots = false; ///< at its beginning, all that clients have set is forgotten
};

class CommandFaults
{
public:
    /** The feature whose register begins at an address; empty: none. */
    using FeatureAt = std::function<std::string_view(std::uint32_t)>;

    explicit CommandFaults(FeatureAt featureAt) : featureAt_(std::move(featureAt)) {}

    /** True: a fault of this kind belongs here rather than to the stream. */
    static bool Knows(std::string_view kind);

    /** Takes a fault of a kind that Knows accepts. Raises std::runtime_error, whose text is a
     *  sentence, if a setting makes no sense. */
    void Add(FaultText& text);
    /** Called once for each command that arrives. */
    Verdict Judge(Command command, std::span<const AddressRange> accessed);
    const std::vector<Outage>& Outages() const { return outages_; }

private:
    struct Rule {
        Verdict verdict;
        std::optional<Command> command;       ///< absent: any
        std::optional<std::uint32_t> address; ///< absent: any
        std::string feature;                  ///< empty: any
        Occurrence occurrence;
        std::uint64_t candidates = 0;
    };

    static void AddTo(Verdict& verdict, const Verdict& more);
    bool Matches(const Rule& rule, Command command, std::span<const AddressRange> accessed) const;
    void AddOutage(FaultText& text);

    FeatureAt featureAt_;
    std::vector<Rule> rules_;
    std::vector<Outage> outages_; ///< in the order of their beginnings
};

} // namespace kvcam
