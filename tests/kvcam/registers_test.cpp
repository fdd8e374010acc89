// What each access to the registers of features does: the cases in registers.txt.

#include "tests/base/text_cases.h"
#include "tests/kvcam/served_camera.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <map>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using kvcam::Status;

const char* NameOf(Status status)
{
    static const std::map<Status, const char*> kNames = {
        {Status::Done, "Done"},
        {Status::InvalidParameter, "InvalidParameter"},
        {Status::InvalidAddress, "InvalidAddress"},
        {Status::WriteProtected, "WriteProtected"},
        {Status::BadAlignment, "BadAlignment"},
        {Status::AccessDenied, "AccessDenied"},
        {Status::Error, "Error"},
        {Status::NoAnswer, "NoAnswer"}};
    return kNames.at(status);
}

class Steps
{
public:
    std::string Do(const std::string& line)
    {
        std::istringstream words(line);
        std::string verb;
        std::string place;
        std::string rest;
        words >> verb >> place >> rest;
        if (verb == "read") {
            std::vector<std::uint8_t> bytes(std::stoul(rest));
            const Status status = MemoryAt(place).Read(Address(place), bytes);
            return status != Status::Done
                       ? NameOf(status)
                       : fmt::format("{} {:02x}", NameOf(status), fmt::join(bytes, ""));
        }
        if (verb == "write") {
            std::vector<std::uint8_t> bytes;
            for (std::size_t i = 0; i < rest.size(); i += 2) {
                bytes.push_back(
                    static_cast<std::uint8_t>(std::stoul(rest.substr(i, 2), nullptr, 16)));
            }
            return NameOf(MemoryAt(place).Write(Address(place), bytes));
        }
        if (verb == "fault") {
            const std::map<std::string, sim::ExceptionKind> kKinds = {
                {"timeout", sim::ExceptionKind::Timeout},
                {"runtime", sim::ExceptionKind::Runtime},
                {"unknown", sim::ExceptionKind::Unknown}};
            sim::Fault fault{.name = place};
            if (rest == "slow") {
                fault.effect = sim::Effect::Delay;
                fault.value = 3'000'000;
            } else {
                fault.exception = kKinds.at(rest);
            }
            sim::AddFault(fault);
            return "";
        }
        if (verb == "gone") {
            camera_.camera.SetAttached(false);
            return "";
        }
        return verb == "clock" ? fmt::format("{} ms", camera_.time->NowNs() / 1'000'000 - 1000)
                               : fmt::format("{} reads, {} writes", sim::GetCounts().reads,
                                             sim::GetCounts().writes);
    }

private:
    /** "NAME", "0x1234", "NAME+8" */
    std::uint32_t Address(const std::string& place)
    {
        const std::size_t plus = std::min(place.find('+'), place.size());
        const std::string name = place.substr(0, plus);
        const unsigned long offset =
            plus == place.size() ? 0 : std::stoul(place.substr(plus + 1), nullptr, 0);
        const std::string& text = camera_.features.DescriptionText();
        const std::string element = fmt::format("Reg Name=\"{}\"><Address>", name);
        const std::string base =
            name.starts_with("0x") ? name : text.substr(text.find(element) + element.size(), 12);
        return static_cast<std::uint32_t>(std::stoul(base, nullptr, 0) + offset);
    }
    kvcam::Memory& MemoryAt(const std::string& place)
    {
        return Address(place) < kvcam::kFeatureBase ? camera_.features.Description()
                                                    : camera_.features.Values();
    }

    test::ServedCamera camera_{test::Setups()[0]};
};

std::string Last(const std::string& lines)
{
    sim::Reset();
    Steps steps;
    std::string outcome;
    std::istringstream text(lines);
    for (std::string line; std::getline(text, line);) {
        outcome = line.empty() || line.starts_with("##") ? outcome : steps.Do(line);
    }
    return outcome;
}

TEST(FeatureRegisters, DoWhatTheirCasesSay)
{
    ExpectOutcomes(TEXTS "/registers.txt", Last);
}

} // namespace
