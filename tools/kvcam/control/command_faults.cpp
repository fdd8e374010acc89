#include "tools/kvcam/control/command_faults.h"

#include <algorithm>
#include <array>
#include <limits>
#include <string>
#include <utility>

namespace kvcam
{

namespace
{

constexpr std::int64_t kNsPerMs = 1'000'000;
constexpr double kNsPerS = 1e9;
constexpr std::string_view kKinds[] = {
    "lose-command", "slow-command", "refuse-command", "late-answer", "lie", "silence", "reboot"};
constexpr std::pair<std::string_view, Command> kCommands[] = {
    {"DISCOVERY", Command::Discovery},       {"FORCEIP", Command::ForceIp},
    {"PACKETRESEND", Command::PacketResend}, {"READREG", Command::ReadReg},
    {"WRITEREG", Command::WriteReg},         {"READMEM", Command::ReadMem},
    {"WRITEMEM", Command::WriteMem}};

std::optional<Command> TakeCommand(FaultText& text)
{
    const std::string name = text.Text("command", "");
    const auto* const found = std::find_if(std::begin(kCommands), std::end(kCommands),
                                           [&](const auto& row) { return row.first == name; });
    if (found != std::end(kCommands)) {
        return found->second;
    }
    if (!name.empty()) {
        text.Refuse("the commands are DISCOVERY, FORCEIP, PACKETRESEND, READREG, WRITEREG, "
                    "READMEM and WRITEMEM");
    }
    return std::nullopt;
}

std::uint64_t TakeWithin(FaultText& text, const std::string& key, std::uint64_t least,
                         std::uint64_t most, const char* why)
{
    const std::uint64_t value = text.Number(key, 0);
    if (value < least || value > most) {
        text.Refuse(why);
    }
    return value;
}

std::int64_t TakeMs(FaultText& text)
{
    constexpr std::uint64_t kMost = 60'000;
    return static_cast<std::int64_t>(TakeWithin(text, "ms", 1, kMost, "ms= has to be 1 to 60000")) *
           kNsPerMs;
}

std::int64_t TakeSeconds(FaultText& text, const char* key)
{
    const double seconds = text.Real(key, 0);
    constexpr double kMost = 1e6;
    if (!(seconds >= 0 && seconds <= kMost)) {
        text.Refuse("seconds are 0 to 1000000");
    }
    return static_cast<std::int64_t>(seconds * kNsPerS);
}

Verdict TakeVerdict(FaultText& text)
{
    Verdict verdict;
    if (text.Kind() == "lose-command") {
        verdict.answerLost = text.Number("answer", 0) != 0;
        verdict.lost = !verdict.answerLost;
    } else if (text.Kind() == "slow-command") {
        verdict.slowNs = TakeMs(text);
    } else if (text.Kind() == "refuse-command") {
        verdict.refusal = static_cast<std::uint16_t>(
            TakeWithin(text, "status", 1, 0xFFFF, "status= has to be 1 to 0xffff"));
    } else if (text.Kind() == "lie") {
        verdict.lie = static_cast<std::uint32_t>(
            TakeWithin(text, "value", 0, std::numeric_limits<std::uint32_t>::max(),
                       "value= has to be 0 to 0xffffffff"));
    } else {
        verdict.latenessNs = TakeMs(text);
        verdict.pending = text.Number("pending", 0) != 0;
    }
    return verdict;
}

} // namespace

bool CommandFaults::Knows(std::string_view kind)
{
    return std::find(std::begin(kKinds), std::end(kKinds), kind) != std::end(kKinds);
}

void CommandFaults::Add(FaultText& text)
{
    if (text.Kind() == "silence" || text.Kind() == "reboot") {
        AddOutage(text);
    } else {
        const Verdict verdict = TakeVerdict(text);
        const std::optional<Command> command = TakeCommand(text);
        std::optional<std::uint32_t> address;
        if (text.Has("address")) {
            address = static_cast<std::uint32_t>(
                TakeWithin(text, "address", 0, std::numeric_limits<std::uint32_t>::max(),
                           "an address has 32 bits"));
        }
        const std::string feature = text.Text("feature", "");
        rules_.push_back({verdict, command, address, feature, Occurrence(text)});
    }
    text.CheckAllTaken();
}

void CommandFaults::AddOutage(FaultText& text)
{
    Outage outage;
    outage.reboots = text.Kind() == "reboot";
    const bool ends = outage.reboots || text.Has("for");
    outage.fromNs = TakeSeconds(text, "at");
    outage.toNs =
        ends ? outage.fromNs + TakeSeconds(text, "for") : std::numeric_limits<std::int64_t>::max();
    const auto later = std::find_if(outages_.begin(), outages_.end(), [&](const Outage& other) {
        return other.fromNs >= outage.fromNs;
    });
    const bool overlaps = (later != outages_.end() && later->fromNs < outage.toNs) ||
                          (later != outages_.begin() && std::prev(later)->toNs > outage.fromNs);
    if (overlaps) {
        text.Refuse("it begins or ends within another silence or reboot");
    }
    outages_.insert(later, outage);
}

Verdict CommandFaults::Judge(Command command, std::span<const AddressRange> accessed)
{
    Verdict verdict;
    for (Rule& rule : rules_) {
        if (Matches(rule, command, accessed) && rule.occurrence.Occurs(++rule.candidates)) {
            AddTo(verdict, rule.verdict);
        }
    }
    return verdict;
}

bool CommandFaults::Matches(const Rule& rule, Command command,
                            std::span<const AddressRange> accessed) const
{
    if (rule.command.value_or(command) != command) {
        return false;
    }
    const auto matches = [&](const AddressRange& range) {
        // A difference below the range wraps.
        return (!rule.address || *rule.address - range.address < range.bytes) &&
               (rule.feature.empty() || featureAt_(range.address) == rule.feature);
    };
    return (!rule.address && rule.feature.empty()) ||
           std::any_of(accessed.begin(), accessed.end(), matches);
}

void CommandFaults::AddTo(Verdict& verdict, const Verdict& more)
{
    verdict.lost = verdict.lost || more.lost;
    verdict.answerLost = verdict.answerLost || more.answerLost;
    verdict.slowNs += more.slowNs;
    verdict.refusal = more.refusal ? more.refusal : verdict.refusal;
    verdict.lie = more.lie ? more.lie : verdict.lie;
    verdict.latenessNs = more.latenessNs ? more.latenessNs : verdict.latenessNs;
    verdict.pending = verdict.pending || more.pending;
}

} // namespace kvcam
