/** Node maps of any kind of camera: verification, selectors, limits, exceptions. */
#include "tests/platform/contract/camera_under_test.h"

#include <gmock/gmock.h>

#include <cmath>

namespace
{

using testing::AllOf;
using testing::HasSubstr;

class Nodes : public Contract
{
protected:
    /** The description of the exception that the access raises; "" when it raises none. */
    template <class Exception, class Access> static std::string Raised(const Access& access)
    {
        try {
            access();
        } catch (const Exception& e) {
            return e.GetDescription();
        }
        return {};
    }
};

TEST_F(Nodes, VerifiedWritesNameFeatureValueAndLimits)
{
    const auto width = Integer("Width");
    EXPECT_THAT(Raised<GenICam::OutOfRangeException>([&] { width->SetValue(8000); }),
                AllOf(HasSubstr("Width"), HasSubstr("8000"), HasSubstr("16"), HasSubstr("1920")));
    EXPECT_THAT(Raised<GenICam::OutOfRangeException>([&] { width->SetValue(66); }),
                AllOf(HasSubstr("66"), HasSubstr("increment 4")));
    EXPECT_THAT(Raised<GenICam::OutOfRangeException>([&] { width->SetValue(INT64_MIN); }),
                HasSubstr("-9223372036854775808"));
    EXPECT_THAT(Raised<GenICam::OutOfRangeException>([&] { Float("Gain")->SetValue(8.5); }),
                AllOf(HasSubstr("Gain"), HasSubstr("8.5"), HasSubstr("minimum 1")));
    EXPECT_THROW(Float("Gain")->SetValue(NAN), GenICam::OutOfRangeException);
    EXPECT_THAT(Raised<GenICam::AccessException>([&] { Integer("WidthMax")->SetValue(1920); }),
                HasSubstr("WidthMax"));
    EXPECT_THAT(Raised<GenICam::InvalidArgumentException>(
                    [&] { Enumeration("ExposureAuto")->FromString("Perhaps"); }),
                AllOf(HasSubstr("ExposureAuto"), HasSubstr("Perhaps")));
    EXPECT_THROW(Enumeration("ExposureAuto")->SetIntValue(77), GenICam::InvalidArgumentException);
    EXPECT_EQ(width->GetValue(), 64);
    EXPECT_EQ(Float("Gain")->GetValue(), 1);
    EXPECT_EQ(Enumeration("ExposureAuto")->ToString(), "Off");
}

TEST_F(Nodes, UnverifiedWritesAreRefusedByTheCamera)
{
    EXPECT_THROW(Integer("Width")->SetValue(66, false), GenICam::RuntimeException);
    EXPECT_THROW(Integer("WidthMax")->SetValue(1, false), GenICam::RuntimeException);
    EXPECT_EQ(Integer("Width")->GetValue(), 64);
}

TEST_F(Nodes, ANodeHasOneInterface)
{
    EXPECT_FALSE(Float("Width").IsValid());
    EXPECT_FALSE(Enumeration("ReverseX").IsValid());
    EXPECT_TRUE(Boolean("ReverseX").IsValid());
    EXPECT_FALSE(Integer("NoSuchFeature").IsValid());
    EXPECT_EQ(Raised<GenICam::LogicalErrorException>([&] { Float("Width")->GetValue(); }),
              "NULL pointer dereferenced");
    EXPECT_EQ(Raised<GenICam::AccessException>([] { GenApi::CNodeMapRef().GetNode("Width"); }),
              "Feature not present (reference not valid)");
}

TEST_F(Nodes, EveryFeatureHasTheInterfaceThatClientsExpect)
{
    for (const char* name :
         {"WidthMax", "HeightMax", "Width", "Height", "OffsetX", "OffsetY", "autoBrightnessTarget",
          "LUTIndex", "LUTValue", "GevTimestampTickFrequency", "outputLinePulseDelay",
          "outputLinePulseDuration"}) {
        EXPECT_TRUE(Integer(name).IsValid()) << name;
    }
    for (const char* name :
         {"Gain", "ExposureTime", "gammaCorrection", "AcquisitionFrameRate", "exposureAutoMinValue",
          "exposureAutoMaxValue", "gainAutoMinValue", "gainAutoMaxValue", "DeviceTemperature"}) {
        EXPECT_TRUE(Float(name).IsValid()) << name;
    }
    for (const char* name :
         {"ReverseX", "ReverseY", "ChunkModeActive", "ChunkEnable", "LineInverter"}) {
        EXPECT_TRUE(Boolean(name).IsValid()) << name;
    }
    for (const char* entry : {"autoBrightnessMode.Active",
                              "autoBrightnessMode.Off",
                              "autoBrightnessSequence.Exposure_Gain_Iris",
                              "ExposureAuto.Continuous",
                              "ExposureAuto.Off",
                              "GainAuto.Continuous",
                              "GainAuto.Off",
                              "GainSelector.SensorAll",
                              "gainAutoSource.SensorAll",
                              "lutMode.Active",
                              "lutMode.Off",
                              "lutType.UserDefined",
                              "lutType.GammaCorrection",
                              "lutSize.Bpp10",
                              "lutSize.Bpp12",
                              "PixelFormat.Mono8",
                              "DeviceTemperatureSelector.Internal",
                              "ChunkSelector.Gain",
                              "ChunkSelector.ExposureTime",
                              "ChunkSelector.Timestamp",
                              "LineSelector.Line3",
                              "LineSelector.Line4",
                              "outputLineSource.ExposureActive",
                              "outputLineSource.Off"}) {
        const std::string text = entry;
        const std::size_t dot = text.find('.');
        const auto node = Enumeration(text.substr(0, dot).c_str());
        ASSERT_TRUE(node.IsValid()) << entry;
        EXPECT_NE(node->GetEntryByName(text.substr(dot + 1).c_str()), nullptr) << entry;
    }
}

TEST_F(Nodes, ALimitSurvivesAConversionInSinglePrecision)
{
    const auto gain = Float("Gain");
    const auto max = static_cast<float>(gain->GetMax());
    const float decibels = 20 * std::log10(max);
    const double back = std::pow(10.0F, decibels / 20);
    gain->SetValue(1);
    gain->SetValue(back);
    EXPECT_EQ(gain->GetValue(), std::min<double>(back, max));
    for (const double limit : {gain->GetMin(), gain->GetMax()}) {
        const double outwards = limit == gain->GetMin() ? -limit : limit;
        gain->SetValue(limit + outwards * 0.9e-6);
        EXPECT_EQ(gain->GetValue(), limit);
        EXPECT_THROW(gain->SetValue(limit + outwards * 1.1e-6), GenICam::OutOfRangeException);
        EXPECT_THROW(gain->SetValue(limit + outwards * 0.9e-6, false), GenICam::RuntimeException);
        EXPECT_EQ(gain->GetValue(), limit);
    }
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
    EXPECT_LE(rate->GetMax(), 50);
    EXPECT_GT(rate->GetMax(), 45);
    EXPECT_EQ(rate->GetValue(), rate->GetMax());
    EXPECT_THROW(rate->SetValue(100), GenICam::OutOfRangeException);
    rate->SetValue(static_cast<double>(static_cast<float>(rate->GetMax()))); // no rounding up
    Float("ExposureTime")->SetValue(1000);
    EXPECT_GT(rate->GetMax(), 100);
}

TEST_F(Nodes, EntriesAreFoundAndListed)
{
    const auto temperature = Enumeration("DeviceTemperatureSelector");
    GenApi::IEnumEntry* entry = temperature->GetEntryByName("Internal");
    ASSERT_NE(entry, nullptr);
    EXPECT_TRUE(GenApi::IsImplemented(entry->GetAccessMode()));
    EXPECT_EQ(temperature->GetEntryByName("Outside"), nullptr);
    ASSERT_GT(temperature->GetEntryCount(), 0U);
    EXPECT_NE(temperature->GetEntry(0), nullptr);
    EXPECT_EQ(temperature->GetEntry(temperature->GetEntryCount()), nullptr);
    temperature->SetIntValue(entry->GetNumericValue());
    EXPECT_EQ(temperature->ToString(), "Internal");
    EXPECT_GT(Float("DeviceTemperature")->GetValue(), -40);
}

} // namespace
