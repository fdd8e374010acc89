/** Automatic functions, from the features to the pictures and back to the features. */
#include "tests/platform/sim/sim_session.h"

#include "tests/support/alloc_count.h"

#include <array>

namespace
{

class SimAuto : public PatternSession
{
protected:
    void Regulate(const char* exposure, const char* gain, const char* mode = "Active")
    {
        Choose({{"autoBrightnessMode", mode}, {"ExposureAuto", exposure}, {"GainAuto", gain}});
    }
    /** Mean of each channel of the last mosaic. */
    std::array<double, 3> Colors() const
    {
        std::array<double, 3> sums{};
        for (std::size_t i = 0; i < std::size_t{256} * 128; ++i) {
            sums[i % 2 + i / 256 % 2] += memory[0][i];
        }
        return {sums[0] / (64 * 128), sums[1] / (128 * 128), sums[2] / (64 * 128)};
    }
    double Exposure() { return Float("ExposureTime")->GetValue(); }
    double Gain(const char* source) { return At("GainSelector", source, "Gain"); }
    double Ratio(const char* channel)
    {
        return At("BalanceRatioSelector", channel, "BalanceRatio");
    }
    void SetRatio(const char* channel, double ratio)
    {
        Ratio(channel);
        Float("BalanceRatio")->SetValue(ratio);
    }
};

TEST_F(SimAuto, ThePicturesMeanReachesTheTarget)
{
    OpenWide();
    Boolean("ChunkModeActive")->SetValue(true);
    Choose({{"ChunkSelector", "ExposureTime"}});
    Boolean("ChunkEnable")->SetValue(true);
    Integer("autoBrightnessTarget")->SetValue(60);
    Float("ExposureTime")->SetValue(20'000);
    Regulate("Continuous", "Off");
    StartFor(1);
    GrabMany(1);
    EXPECT_EQ(chunkValue, 20'000); // what the picture was taken with
    GrabMany(16);
    memory[0].resize(std::size_t{256} * 128); // without the chunk
    EXPECT_NEAR(MeanOf(memory[0]), 60, 2.4);
    EXPECT_EQ(Gain("SensorAll"), 1);

    Choose({{"ExposureAuto", "Off"}}); // what was found stays
    const double found = Exposure();
    Integer("autoBrightnessTarget")->SetValue(250);
    GrabMany(3);
    EXPECT_EQ(Exposure(), found);
    EXPECT_EQ(chunkValue, found);
}

TEST_F(SimAuto, SequenceSourceAndLimitsAreTheFeatures)
{
    OpenWide();
    Float("exposureAutoMinValue")->SetValue(500);
    Float("exposureAutoMaxValue")->SetValue(2000);
    Float("gainAutoMaxValue")->SetValue(6);
    Integer("autoBrightnessTarget")->SetValue(250);
    Regulate("Continuous", "Continuous");
    StartFor(1);
    GrabMany(25);
    EXPECT_EQ(Exposure(), 2000);
    EXPECT_EQ(Gain("SensorAll"), 6);
    Float("Gain")->SetValue(1);
    Integer("autoBrightnessTarget")->SetValue(100);
    Choose({{"gainAutoSource", "DigitalAll"}, {"autoBrightnessSequence", "Gain_Exposure_Iris"}});
    GrabMany(25);
    EXPECT_EQ(Gain("DigitalAll"), 6);
    EXPECT_LT(Exposure(), 2000);
    for (const char* exposureFirst : {"Exposure_Gain_Iris", "Iris_Exposure_Gain"}) {
        Choose({{"autoBrightnessSequence", exposureFirst}});
        GrabMany(25);
        EXPECT_EQ(Exposure(), 2000);
        EXPECT_NEAR(MeanOf(memory[0]), 100, 4);
        EXPECT_EQ(Gain("SensorAll"), 1);
    }
}

/** With a picture that nobody paints: it has its brightness all the same. */
TEST_F(SimAuto, TheMasterSwitchDecidesUnlessTheCameraHasNone)
{
    setup.picture = sim::Picture::Plain;
    for (const bool hasSwitch : {true, false}) {
        setup.serial = hasSwitch ? "S1" : "S2";
        setup.missing.resize(hasSwitch ? 0 : 1, "autoBrightnessMode");
        OpenWide();
        Choose({{"ExposureAuto", "Continuous"}});
        Float("ExposureTime")->SetValue(1000);
        StartFor(1);
        GrabMany(5);
        EXPECT_EQ(Exposure() > 1000, !hasSwitch);
        GevCloseCamera(&handle);
    }
}

TEST_F(SimAuto, ARegulatedValueIsWrittenUnlessTheSetUpLocksIt)
{
    OpenWide();
    Regulate("Continuous", "Off");
    StartFor(1);
    GrabMany(15);
    const double found = Exposure();
    Float("ExposureTime")->SetValue(found / 20); // regulation goes on from there
    GrabMany(15);
    EXPECT_NEAR(Exposure(), found, 0.05 * found);
    GevCloseCamera(&handle);

    setup.serial = "S2";
    setup.lockRegulated = true;
    OpenWide();
    Regulate("Continuous", "Continuous");
    Choose({{"gainAutoSource", "DigitalAll"}});
    Float("ExposureTime")->SetValue(100); // nothing is regulated while nothing is grabbed
    StartFor(1);
    EXPECT_EQ(Float("ExposureTime")->GetAccessMode(), GenApi::RO);
    EXPECT_EQ(Float("Gain")->GetAccessMode(), GenApi::RW); // of the other source
    Choose({{"GainSelector", "DigitalAll"}});
    EXPECT_THROW(Float("Gain")->SetValue(2), GenICam::AccessException);
    Choose({{"autoBrightnessMode", "Off"}});
    Float("Gain")->SetValue(2);
}

TEST_F(SimAuto, WhiteBalanceMakesThePictureGrey)
{
    setup.model = sim::Model::Color;
    setup.values = {{"PixelFormat", "BayerRG8"}, {"balanceWhitePeriod", "Every1s"}};
    OpenWide();
    Float("ExposureTime")->SetValue(2000); // nothing clips
    SetRatio("Blue", 0.5);
    StartFor(1);
    for (const auto& [reference, ratio] : {std::pair{"Green", 1.0}, {"Red", 1.5}}) {
        SetRatio(reference, ratio);
        GrabMany(2);
        EXPECT_LT(Colors()[2], 0.8 * Colors()[0]) << reference;
        Choose({{"balanceRatioReference", reference}, {"BalanceWhiteAuto", "Periodic"}});
        GrabMany(2); // one was on its way
        EXPECT_NEAR(Colors()[0], Colors()[1], 0.03 * Colors()[1]) << reference;
        EXPECT_NEAR(Colors()[2], Colors()[1], 0.03 * Colors()[1]) << reference;
        EXPECT_EQ(Ratio(reference), ratio);
    }
    const double blue = Ratio("Blue");
    SetRatio("Blue", 4); // stays until the second is over
    GrabMany(15);
    EXPECT_EQ(Ratio("Blue"), 4);
    GrabMany(10);
    EXPECT_NEAR(Ratio("Blue"), blue, 0.05 * blue);
    SetRatio("Red", 4); // what is out of reach is taken as far as it goes
    Choose({{"BalanceWhiteAuto", "Periodic"}});
    GrabMany(2);
    EXPECT_LE(Ratio("Blue"), 4);
}

TEST_F(SimAuto, NothingIsAllocatedPerFrame)
{
    setup.model = sim::Model::Color;
    setup.noise = 1;
    OpenWide();
    Choose({{"BalanceWhiteAuto", "Periodic"}, {"balanceWhitePeriod", "Every1s"}});
    Choose({{"lutType", "GammaCorrection"}, {"lutMode", "Active"}});
    Regulate("Continuous", "Continuous");
    StartFor(1);
    GrabMany(2);
    const std::uint64_t before = rig::Allocations();
    GrabMany(50);
    EXPECT_TRUE(!rig::CountsAllocations() || rig::Allocations() == before);
}

} // namespace
