/** Node maps of the cameras of any backend: verification, selectors, limits, exceptions. */
#include "tests/platform/contract/camera_under_test.h"
#include "tests/platform/raised.h"

#include <fstream>
#include <functional>
#include <gmock/gmock.h>
#include <sstream>

namespace
{

using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

using Nodes = Contract;

TEST_F(Nodes, WhatDoesNotFitIsRefusedAndLeavesTheValue)
{
    const auto width = Integer("Width");
    const auto exposureAuto = Enumeration("ExposureAuto");
    const auto refuses = [](const char* refusal, const std::function<void(bool verify)>& write) {
        EXPECT_THAT(Raised([&] { write(true); }), StartsWith(refusal));
        EXPECT_THAT(Raised([&] { write(false); }),
                    AllOf(StartsWith("Runtime "), HasSubstr(": refused")));
    };
    refuses("OutOfRange Width = 8000: outside minimum 16, maximum 1920 or increment 4",
            [&](bool verify) { width->SetValue(8000, verify); });
    refuses("OutOfRange Width = 66: ", [&](bool verify) { width->SetValue(66, verify); });
    refuses("OutOfRange Gain = 8.5: outside minimum 1, maximum ",
            [&](bool verify) { Float("Gain")->SetValue(8.5, verify); });
    refuses("Access WidthMax = 1920: not writable now",
            [&](bool verify) { Integer("WidthMax")->SetValue(1920, verify); });
    refuses("InvalidArgument ExposureAuto = Perhaps: no such entry",
            [&](bool verify) { exposureAuto->FromString("Perhaps", verify); });
    refuses("InvalidArgument ExposureAuto = 77: no such entry",
            [&](bool verify) { exposureAuto->SetIntValue(77, verify); });
    EXPECT_EQ(width->GetValue(), 64);
    EXPECT_EQ(Float("Gain")->GetValue(), 1);
    EXPECT_EQ(exposureAuto->ToString(), "Off");
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
    std::ifstream lines(CLIENT_FEATURES);
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
    temperature->SetIntValue(entry->GetNumericValue());
    EXPECT_EQ(temperature->ToString(), "Internal");
}

TEST_F(Nodes, SelectorsKeepTheirValuesApart)
{
    const auto selector = Enumeration("LineSelector");
    const auto delay = Integer("outputLinePulseDelay");
    selector->FromString("Line3");
    delay->SetValue(30);
    Boolean("LineInverter")->SetValue(true);
    selector->FromString("Line4");
    delay->SetValue(40);
    Boolean("LineInverter")->SetValue(false);
    selector->FromString("Line3");
    EXPECT_EQ(delay->GetValue(), 30);
    EXPECT_TRUE(Boolean("LineInverter")->GetValue());

    const auto index = Integer("LUTIndex");
    const auto value = Integer("LUTValue");
    for (const int i : {0, 7, 255}) {
        index->SetValue(i);
        value->SetValue(255 - i);
    }
    index->SetValue(7);
    EXPECT_EQ(value->GetValue(), 248);
    EXPECT_THROW(index->SetValue(256), GenICam::OutOfRangeException);
}

TEST_F(Nodes, TheRegionMovesInTheOrderThatKeepsItOnTheSensor)
{
    const auto width = Integer("Width");
    const auto offset = Integer("OffsetX");
    const std::int64_t full = Integer("WidthMax")->GetValue();
    EXPECT_EQ(offset->GetMax(), full - 64);
    offset->SetValue(offset->GetMax());
    EXPECT_EQ(width->GetMax(), 64);
    EXPECT_THROW(width->SetValue(full), GenICam::OutOfRangeException);
    offset->SetValue(0); // growing: first the offset, then the size
    width->SetValue(full);
    EXPECT_THROW(offset->SetValue(640), GenICam::OutOfRangeException);
    width->SetValue(640); // shrinking: the other way round
    offset->SetValue(640);
    EXPECT_EQ(width->GetMax(), full - 640);
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
    EXPECT_THROW(rate->SetValue(100), GenICam::OutOfRangeException);
    rate->SetValue(static_cast<double>(static_cast<float>(rate->GetMax()))); // no rounding up
    Float("ExposureTime")->SetValue(1000);
    EXPECT_GT(rate->GetMax(), 100);
}

} // namespace
