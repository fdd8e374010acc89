// What a client may keep: whatever a write changes is invalidated by it, according to the
// description, or can't be kept at all.

#include "tests/kvcam/served_camera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

namespace
{

using kvcam::Status;
using Bytes = std::vector<std::uint8_t>;

std::string Between(const std::string& line, const std::string& from, const std::string& to,
                    std::size_t* at)
{
    const std::size_t begin = line.find(from, *at);
    if (begin == std::string::npos) {
        *at = begin;
        return "";
    }
    *at = line.find(to, begin + from.size());
    return line.substr(begin + from.size(), *at - begin - from.size());
}

std::string Between(const std::string& line, const std::string& from, const std::string& to)
{
    std::size_t at = 0;
    return Between(line, from, to, &at);
}

/** A register as its line of the description has it. */
struct DescribedRegister {
    explicit DescribedRegister(const std::string& line)
        : name(Between(line, "Name=\"", "\"")), feature(name.substr(0, name.rfind('_'))),
          address(
              static_cast<std::uint32_t>(std::stoul(Between(line, "<Address>", "<"), nullptr, 0))),
          length(std::stoul(Between(line, "<Length>", "<"))),
          caching(Between(line, "<Cachable>", "<")), polled(line.find("<Poll") != line.npos),
          writable(Between(line, "<AccessMode>", "<") == "RW"), cells{address}
    {
        for (std::size_t at = 0; at != std::string::npos;) {
            invalidators.insert(Between(line, "<pInvalidator>", "<", &at));
        }
        for (std::size_t at = 0; at != std::string::npos;) {
            const std::string offset = Between(line, "<pIndex Offset=\"", "\"", &at);
            offsets.push_back(offset.empty() ? 0 : std::stoul(offset));
        }
    }

    std::string name;
    std::string feature;
    std::uint32_t address;
    std::size_t length;
    std::string caching;
    bool polled;
    bool writable;
    std::set<std::string> invalidators;
    std::vector<std::size_t> offsets;
    std::vector<std::uint32_t> cells; ///< addresses of some, the first four in each direction
};

struct Client {
    explicit Client(const sim::CameraSetup& setup) : served(setup)
    {
        std::istringstream text(served.features.DescriptionText());
        for (std::string line; std::getline(text, line);) {
            if (line.find("Reg Name=") != line.npos && line.find(">Device<") != line.npos &&
                !served.features.FeatureAt(Address(line)).empty()) {
                registers.emplace_back(line);
            }
        }
        for (std::size_t i = 0; i < registers.size(); ++i) {
            for (const std::size_t offset : registers[i].offsets) {
                AddCells(offset, i + 1 < registers.size() ? registers[i + 1].address : ~0U,
                         &registers[i].cells);
            }
        }
    }

    static std::uint32_t Address(const std::string& line)
    {
        return static_cast<std::uint32_t>(std::stoul(Between(line, "<Address>", "<"), nullptr, 0));
    }
    static void AddCells(std::size_t offset, std::size_t end, std::vector<std::uint32_t>* cells)
    {
        const std::vector<std::uint32_t> before = *cells;
        for (std::size_t i = 1; i < 4 && offset != 0; ++i) {
            for (const std::uint32_t cell : before) {
                if (cell + i * offset < end) {
                    cells->push_back(static_cast<std::uint32_t>(cell + i * offset));
                }
            }
        }
    }

    /** Empty when the register can't be read. */
    Bytes Read(std::uint32_t address, std::size_t length)
    {
        Bytes bytes(length);
        const Status status = served.features.Values().Read(address, bytes);
        return status == Status::Done ? bytes : Bytes();
    }
    using Snapshot = std::vector<std::vector<Bytes>>;
    Snapshot ReadAll()
    {
        Snapshot all;
        for (const DescribedRegister& reg : registers) {
            all.emplace_back();
            for (const std::uint32_t cell : reg.cells) {
                all.back().push_back(Read(cell, reg.length));
            }
        }
        return all;
    }
    /** The registers, for each cell that changed. */
    std::vector<std::pair<const DescribedRegister*, std::uint32_t>> Changes(const Snapshot& before,
                                                                            const Snapshot& now)
    {
        std::vector<std::pair<const DescribedRegister*, std::uint32_t>> changes;
        for (std::size_t i = 0; i < registers.size(); ++i) {
            for (std::size_t cell = 0; cell < registers[i].cells.size(); ++cell) {
                if (!before[i][cell].empty() && before[i][cell] != now[i][cell]) {
                    changes.emplace_back(&registers[i], registers[i].cells[cell]);
                }
            }
        }
        return changes;
    }

    /** One of the values that a feature takes, as a register holds it. */
    Bytes SomeValue(const DescribedRegister& reg, std::mt19937* random)
    {
        const auto choose = [&](std::size_t count) { return (*random)() % count; };
        Bytes bytes(reg.length);
        const auto number = [&](std::uint64_t value) {
            for (std::size_t i = bytes.size(); i > 0; --i, value >>= 8) {
                bytes[i - 1] = static_cast<std::uint8_t>(value);
            }
            return bytes;
        };
        genapi::Feature* const feature = served.camera.Features().Shown(reg.feature);
        GenApi::INode* const node = feature == nullptr ? nullptr : feature->Node();
        if (node == nullptr || node->AsCommand() != nullptr) {
            return number(1);
        }
        if (auto* const enumeration = node->AsEnumeration()) {
            GenApi::IEnumEntry* const entry =
                enumeration->GetEntry(choose(enumeration->GetEntryCount()));
            return number(static_cast<std::uint64_t>(entry->GetNumericValue()));
        }
        if (node->AsBoolean() != nullptr) {
            return number(choose(2));
        }
        if (node->AsString() != nullptr) {
            bytes[0] = static_cast<std::uint8_t>('a' + choose(4));
            return bytes;
        }
        if (auto* const own = node->AsInteger()) {
            auto& integer = static_cast<genapi::IntegerNode&>(*own);
            const auto steps =
                static_cast<std::size_t>((integer.Max() - integer.Min()) / integer.Inc());
            const std::size_t kSteps[] = {0, std::min<std::size_t>(1, steps), steps / 2, steps};
            return number(static_cast<std::uint64_t>(
                integer.Min() + integer.Inc() * static_cast<std::int64_t>(kSteps[choose(4)])));
        }
        auto& real = static_cast<genapi::FloatNode&>(*node->AsFloat());
        const double kParts[] = {0, 0.01, 0.5, 1};
        return number(std::bit_cast<std::uint64_t>(real.Min() +
                                                   kParts[choose(4)] * (real.Max() - real.Min())));
    }

    test::ServedCamera served;
    std::vector<DescribedRegister> registers; // in the order of their addresses
};

using Findings = std::set<std::string>;

class Kept : public testing::TestWithParam<std::size_t>
{
protected:
    Client client{test::Setups()[GetParam()]};
    std::mt19937 random{7};
};

TEST_P(Kept, WhateverAWriteChangesIsInvalidatedByIt)
{
    constexpr int kWrites = 9000; // from each state, into the next
    Findings missing;
    std::map<std::string, int> taken;
    Client::Snapshot before = client.ReadAll();
    for (int i = 0; i < kWrites; ++i) {
        const DescribedRegister& reg = client.registers[random() % client.registers.size()];
        if (!reg.writable) {
            continue;
        }
        const std::uint32_t cell = reg.cells[random() % reg.cells.size()];
        const Bytes value = client.SomeValue(reg, &random);
        const bool done = client.served.features.Values().Write(cell, value) == Status::Done;
        taken[reg.feature] += done ? 1 : 0;
        const Client::Snapshot now = client.ReadAll();
        for (const auto& [changed, at] : client.Changes(before, now)) {
            if (at != cell && changed->caching != "NoCache" &&
                !changed->invalidators.contains(reg.feature)) {
                missing.insert(reg.feature + " changes " + changed->name);
            }
        }
        if (done && reg.caching == "WriteThrough" && client.Read(cell, reg.length) != value) {
            missing.insert(reg.feature + " changes what is written to it");
        }
        before = now;
    }
    EXPECT_THAT(missing, testing::IsEmpty());
    EXPECT_GT(taken.size(), 40U); // features, or the camera refused too much for a test
}

TEST_P(Kept, WhatChangesByItselfIsPolled)
{
    for (const auto& [feature, text] : {std::pair("ExposureAuto", "Continuous"),
                                        {"GainAuto", "Continuous"},
                                        {"autoBrightnessMode", "Active"},
                                        {"BalanceWhiteAuto", "Periodic"}}) {
        if (genapi::Feature* const shown = client.served.camera.Features().Shown(feature)) {
            shown->SetText(text);
        }
    }
    client.served.Start();
    Findings changed;
    Findings kept;
    Client::Snapshot before = client.ReadAll();
    for (int i = 0; i < 20; ++i) {
        client.served.time->AdvanceNs(500'000'000);
        const Client::Snapshot now = client.ReadAll();
        for (const auto& [reg, at] : client.Changes(before, now)) {
            changed.insert(reg->feature);
            if (reg->caching != "NoCache" || !reg->polled) {
                kept.insert(reg->name);
            }
        }
        before = now;
    }
    EXPECT_THAT(kept, testing::IsEmpty());
    EXPECT_THAT(changed, testing::IsSupersetOf({"DeviceTemperature", "Gain"}));
}

INSTANTIATE_TEST_SUITE_P(Setups, Kept, testing::Range<std::size_t>(0, 3));

} // namespace
