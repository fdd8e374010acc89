// What a client may keep: whatever a write changes is invalidated by it, according to the
// description, or can't be kept at all.

#include "tests/kvcam/served_camera.h"
#include "tests/platform/do_access.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <regex>
#include <set>
#include <string>
#include <vector>

namespace
{

using kvcam::Status;
using Bytes = std::vector<std::uint8_t>;

/** What the pattern's group matches, again and again. */
std::vector<std::string> All(const std::string& text, const char* pattern)
{
    const std::regex regex(pattern);
    return {std::sregex_token_iterator(text.begin(), text.end(), regex, 1), {}};
}

std::string First(const std::string& text, const char* pattern)
{
    const std::vector<std::string> all = All(text, pattern);
    return all.empty() ? "" : all.front();
}

/** A register as its line of the description has it. */
struct DescribedRegister {
    explicit DescribedRegister(const std::string& line)
        : name(First(line, "Name=\"(\\w+)\"")), length(std::stoul(First(line, "<Length>(\\d+)"))),
          caching(First(line, "<Cachable>(\\w+)")), polled(!All(line, "<(Polling)").empty()),
          invalidators(All(line, "<pInvalidator>(\\w+)")),
          offsets(All(line, "<pIndex Offset=\"(\\d+)")),
          cells{static_cast<std::uint32_t>(std::stoul(First(line, "<Address>(\\w+)"), nullptr, 0))}
    {
    }
    bool EndsWith(const std::string& written) const
    {
        return caching == "NoCache" ||
               std::find(invalidators.begin(), invalidators.end(), written) != invalidators.end();
    }

    std::string name;
    std::size_t length;
    std::string caching;
    bool polled;
    std::vector<std::string> invalidators;
    std::vector<std::string> offsets;
    std::vector<std::uint32_t> cells; ///< addresses of some, the first four in each direction
};

struct Client {
    explicit Client(const sim::CameraSetup& setup) : served(setup)
    {
        for (const std::string& line :
             All(served.features.DescriptionText(), "(<\\w*Reg Name=.*<Address>0x1[^\n]*)")) {
            registers.emplace_back(line);
        }
        for (std::size_t i = 0; i < registers.size(); ++i) {
            const std::size_t end = i + 1 < registers.size() ? registers[i + 1].cells[0] : ~0U;
            for (const std::string& offset : registers[i].offsets) {
                AddCells(std::stoul(offset), end, &registers[i].cells);
            }
        }
    }

    static void AddCells(std::size_t offset, std::size_t end, std::vector<std::uint32_t>* cells)
    {
        const std::vector<std::uint32_t> before = *cells;
        for (std::size_t at = offset; at < 4 * offset; at += offset) {
            for (const std::uint32_t cell : before) {
                if (cell + at < end) {
                    cells->push_back(static_cast<std::uint32_t>(cell + at));
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
    /** The registers, once for each cell that changed. */
    std::vector<const DescribedRegister*> Changes(const Snapshot& before, const Snapshot& now)
    {
        std::vector<const DescribedRegister*> changes;
        for (std::size_t i = 0; i < registers.size(); ++i) {
            for (std::size_t cell = 0; cell < registers[i].cells.size(); ++cell) {
                if (!before[i][cell].empty() && before[i][cell] != now[i][cell]) {
                    changes.push_back(&registers[i]);
                }
            }
        }
        return changes;
    }
    const DescribedRegister& Described(const std::string& feature)
    {
        return *std::find_if(registers.begin(), registers.end(),
                             [&](const auto& reg) { return reg.name == feature + "_Reg"; });
    }

    test::ServedCamera served;
    std::vector<DescribedRegister> registers; // in the order of their addresses
};

using Findings = std::set<std::string>;

class Kept : public testing::TestWithParam<std::size_t>
{
protected:
    /** Starts or stops the acquisition or writes some value to some feature, and returns what. */
    std::string Act()
    {
        if (random() % 20 == 0) {
            const bool starts = random() % 2 == 0;
            starts ? client.served.Start() : client.served.Stop();
            return starts ? "AcquisitionStart" : "AcquisitionStop";
        }
        genapi::Feature* feature = nullptr;
        do {
            feature = client.served.camera.Features().Shown()[random() % features.GetNodeCount()];
        } while (!GenApi::IsWritable(feature->UsualMode()));
        GenApi::INode& node = *feature->Node();
        const std::string& name = feature->Name();
        const auto values = test::Attempts(node);
        const std::string& value = values[random() % values.size()];
        const bool done = DoAccess(features, name + value).empty();
        const bool mayKeep = client.Described(name).caching == "WriteThrough";
        if (done && mayKeep && DoAccess(features, name) != value.substr(1)) {
            missing.insert(name + " changes what is written to it");
        }
        taken.insert(done ? name : "");
        return name;
    }

    Client client{test::Setups()[GetParam()]};
    GenApi::INodeMap& features = client.served.camera.Features().Map();
    std::mt19937 random{7};
    Findings missing;
    Findings taken;
};

TEST_P(Kept, WhateverAWriteChangesIsInvalidatedByIt)
{
    constexpr int kWrites = 4000; // from each state, into the next
    Client::Snapshot before = client.ReadAll();
    for (int i = 0; i < kWrites; ++i) {
        const std::string written = Act();
        const Client::Snapshot now = client.ReadAll();
        int ownCells = 0;
        for (const DescribedRegister* changed : client.Changes(before, now)) {
            const bool isOwn = changed->name == written + "_Reg";
            ownCells += isOwn ? 1 : 0;
            if ((!isOwn || ownCells > 1) && !changed->EndsWith(written)) {
                missing.insert(written + " changes " + changed->name);
            }
        }
        before = now;
    }
    EXPECT_THAT(missing, testing::IsEmpty());
    EXPECT_GT(taken.size(), 35U); // features, or the camera refused too much for a test
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
        for (const DescribedRegister* reg : client.Changes(before, now)) {
            changed.insert(reg->name);
            if (reg->caching != "NoCache" || !reg->polled) {
                kept.insert(reg->name);
            }
        }
        before = now;
    }
    EXPECT_THAT(kept, testing::IsEmpty());
    EXPECT_THAT(changed, testing::IsSupersetOf({"DeviceTemperature_Reg", "Gain_Reg"}));
}

INSTANTIATE_TEST_SUITE_P(Setups, Kept, testing::Range<std::size_t>(0, 3));

} // namespace
