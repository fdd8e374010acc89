/** Node maps of the cameras of any backend: verification, selectors, limits, exceptions. */
#include "tests/platform/contract/camera_under_test.h"
#include "tests/platform/do_access.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

namespace
{

using testing::AllOf;
using testing::StartsWith;

using Nodes = Contract;

TEST_F(Nodes, AccessesComeToWhatTheirTextSays)
{
    std::ifstream lines(std::string(TEXTS) + "/accesses.txt");
    int accesses = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t arrow = line.find(" ->");
        if (arrow == std::string::npos) {
            continue;
        }
        const std::string expected = line.substr(std::min(arrow + 4, line.size()));
        const std::string result = DoAccess(*map, line.substr(0, arrow));
        if (expected.ends_with("...")) {
            EXPECT_THAT(result, StartsWith(expected.substr(0, expected.size() - 3))) << line;
        } else {
            EXPECT_EQ(result, expected) << line;
        }
        ++accesses;
    }
    EXPECT_GT(accesses, 50);
}

TEST_F(Nodes, ANodeHasOneInterface)
{
    EXPECT_FALSE(Enumeration("ReverseX").IsValid());
    EXPECT_FALSE(Integer("NoSuchFeature").IsValid());
    EXPECT_EQ(Raised([&] { Float("Width")->GetValue(); }),
              "LogicalError NULL pointer dereferenced");
    EXPECT_EQ(Raised([] { GenApi::CNodeMapRef().GetNode("Width"); }),
              "Access Feature not present (reference not valid)");
}

TEST_F(Nodes, EveryFeatureHasTheInterfaceThatClientsExpect)
{
    std::ifstream lines(std::string(TEXTS) + "/features.txt");
    int features = 0;
    for (std::string line; std::getline(lines, line);) {
        std::istringstream words(line);
        std::string kind;
        words >> kind;
        for (std::string name; words >> name; ++features) {
            GenApi::INode* const node = map->GetNode(name.substr(0, name.find('.')).c_str());
            ASSERT_NE(node, nullptr) << name;
            if (auto* const enumeration = node->AsEnumeration()) {
                const std::string entry = name.substr(name.find('.') + 1);
                EXPECT_NE(enumeration->GetEntryByName(entry.c_str()), nullptr) << name;
            }
            EXPECT_EQ(kind, node->AsInteger() != nullptr   ? "Integer"
                            : node->AsFloat() != nullptr   ? "Float"
                            : node->AsBoolean() != nullptr ? "Boolean"
                                                           : "Enumeration")
                << name;
        }
    }
    EXPECT_EQ(features, 50);
}

TEST_F(Nodes, ALimitSurvivesAConversionInSinglePrecision)
{
    const auto gain = Float("Gain");
    const double beyond = gain->GetMax() * (1 + 0.9e-6);
    gain->SetValue(beyond);
    EXPECT_EQ(gain->GetValue(), gain->GetMax());
    EXPECT_THROW(gain->SetValue(beyond, false), GenICam::RuntimeException);
}

TEST_F(Nodes, TheMapIsFoundByNameAndByIndex)
{
    ASSERT_GT(map->GetNodeCount(), 40U);
    for (std::size_t i = 0; i < map->GetNodeCount(); ++i) {
        GenApi::INode* node = map->GetNodeAt(i);
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(map->GetNode(node->GetName()), node);
    }
    EXPECT_EQ(map->GetNodeAt(map->GetNodeCount()), nullptr);
    const std::string longName(100, 'W'); // longer than a gcstring holds inline
    EXPECT_EQ(map->GetNode(longName.c_str()), nullptr);

    const auto temperature = Enumeration("DeviceTemperatureSelector");
    GenApi::IEnumEntry* entry = temperature->GetEntryByName("Internal");
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(GenApi::IsImplemented(entry->GetAccessMode()));
    EXPECT_EQ(temperature->GetEntryByName("Outside"), nullptr);
    EXPECT_NE(temperature->GetEntry(0), nullptr);
    EXPECT_EQ(temperature->GetEntry(temperature->GetEntryCount()), nullptr);
}

TEST_F(Nodes, GeometryIsFixedWhileFramesFlow)
{
    StartFor(2);
    for (const char* name : {"Width", "OffsetY"}) {
        EXPECT_EQ(Integer(name)->GetAccessMode(), GenApi::RO) << name;
        EXPECT_THROW(Integer(name)->SetValue(16), GenICam::AccessException) << name;
    }
    std::uint32_t format = 0x01080001;
    EXPECT_EQ(GevSetFeatureValue(handle, "PixelFormat", 4, &format), kGevAccessDenied);
    Float("ExposureTime")->SetValue(2000); // these follow a change of configuration at any time
    Float("AcquisitionFrameRate")->SetValue(20);
    Boolean("ReverseX")->SetValue(true);
    GevAbortTransfer(handle);
    EXPECT_EQ(Integer("Width")->GetAccessMode(), GenApi::RW);
}

TEST_F(Nodes, TheFrameRateGivesWayToTheExposure)
{
    const auto rate = Float("AcquisitionFrameRate");
    rate->SetValue(100);
    Float("ExposureTime")->SetValue(20'000);
    EXPECT_THAT(rate->GetMax(), AllOf(testing::Gt(45), testing::Le(50)));
    EXPECT_EQ(rate->GetValue(), rate->GetMax());
    rate->SetValue(static_cast<double>(static_cast<float>(rate->GetMax()))); // no rounding up
}

} // namespace
