/** Node maps of the cameras of any backend: verification, selectors, limits, exceptions. */
#include "tests/platform/access_stories.h"
#include "tests/platform/contract/camera_under_test.h"
#include "tests/platform/do_access.h"

#include <fstream>
#include <gmock/gmock.h>
#include <sstream>

namespace
{

using testing::AllOf;

using Nodes = Contract;

TEST_F(Nodes, AccessesComeToWhatTheirTextSays)
{
    TellStories(
        TEXTS "/accesses.txt", [](const std::string&) {},
        [this](const std::string& step) {
            if (step == "start") {
                StartFor(2);
                return std::string();
            }
            return step == "abort" ? std::to_string(GevAbortTransfer(handle))
                                   : DoAccess(*map, step);
        });
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
                            : node->AsString() != nullptr  ? "String"
                            : node->AsCommand() != nullptr ? "Command"
                                                           : "Enumeration")
                << name;
        }
    }
    EXPECT_EQ(features, 57);
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
