/** Automatic functions, from the features to the pictures and back into the features. */
#include "tests/platform/sim/sim_session.h"

#include "tests/support/alloc_count.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstring>

namespace
{

class SimAuto : public SimSession
{
protected:
    SimAuto()
    {
        setup.picture = sim::Picture::Pattern;
        setup.noise = 0;
        setup.sensorWidth = 256;
        setup.sensorHeight = 128;
    }

    void OpenWide()
    {
        OpenCamera();
        Integer("Width")->SetValue(256);
        Integer("Height")->SetValue(128);
        Float("AcquisitionFrameRate")->SetValue(20);
    }
    void Regulate(const char* exposure, const char* gain, const char* mode = "Active")
    {
        Enumeration("autoBrightnessMode")->FromString(mode);
        Enumeration("ExposureAuto")->FromString(exposure);
        Enumeration("GainAuto")->FromString(gain);
    }
    void GrabOne()
    {
        _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        if (frame->chunkData != nullptr) {
            std::memcpy(&chunkValue, static_cast<const std::uint8_t*>(frame->chunkData) + 8, 8);
        }
        GevReleaseFrame(handle, frame);
    }
    void GrabMany(int count)
    {
        for (int i = 0; i < count; ++i) {
            GrabOne();
        }
    }
    /** Of the last picture. */
    double Mean() const
    {
        double sum = 0;
        for (std::size_t i = 0; i < std::size_t{256} * 128; ++i) {
            sum += memory[0][i];
        }
        return sum / (256 * 128);
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
    double Gain(const char* source)
    {
        Enumeration("GainSelector")->FromString(source);
        return Float("Gain")->GetValue();
    }
    double Ratio(const char* channel)
    {
        Enumeration("BalanceRatioSelector")->FromString(channel);
        return Float("BalanceRatio")->GetValue();
    }
    void SetRatio(const char* channel, double ratio)
    {
        Enumeration("BalanceRatioSelector")->FromString(channel);
        Float("BalanceRatio")->SetValue(ratio);
    }

    double chunkValue = 0;
};

TEST_F(SimAuto, ThePicturesMeanReachesTheTarget)
{
    OpenWide();
    Float("exposureAutoMinValue")->SetValue(10);
    Float("exposureAutoMaxValue")->SetValue(2e6);
    Boolean("ChunkModeActive")->SetValue(true);
    Enumeration("ChunkSelector")->FromString("ExposureTime");
    Boolean("ChunkEnable")->SetValue(true);
    for (const int target : {60, 128}) {
        for (const double start : {40.0, 1e6}) {
            SCOPED_TRACE(std::to_string(target) + " from " + std::to_string(start));
            Integer("autoBrightnessTarget")->SetValue(target);
            Float("ExposureTime")->SetValue(start);
            Regulate("Continuous", "Off");
            StartFor(1);
            GrabOne();
            EXPECT_EQ(chunkValue, start); // what the picture was taken with
            const double first = Mean();
            GrabOne();
            EXPECT_LE(std::abs(std::log(chunkValue / start)), std::log(2.001));
            EXPECT_GE(std::abs(std::log(Mean() / target)), std::abs(std::log(first / target)) / 2);
            GrabMany(15);
            EXPECT_NEAR(Mean(), target, 0.04 * target);
            EXPECT_EQ(Gain("SensorAll"), 1);

            Enumeration("ExposureAuto")->FromString("Off"); // what was found stays
            const double found = Exposure();
            Integer("autoBrightnessTarget")->SetValue(250);
            GrabMany(3);
            EXPECT_EQ(Exposure(), found);
            EXPECT_EQ(chunkValue, found);
            GevFreeTransfer(handle);
        }
    }
}

TEST_F(SimAuto, GainTakesOverAtTheExposuresLimitAndTheOtherWayRound)
{
    OpenWide();
    const auto regulate = [&](const char* sequence, const char* source, int target) {
        Enumeration("autoBrightnessSequence")->FromString(sequence);
        Enumeration("gainAutoSource")->FromString(source);
        Integer("autoBrightnessTarget")->SetValue(target);
        StartFor(1);
        GrabMany(25);
        GevFreeTransfer(handle);
    };
    Float("exposureAutoMinValue")->SetValue(500);
    Float("exposureAutoMaxValue")->SetValue(2000);
    Float("gainAutoMaxValue")->SetValue(6);
    Regulate("Continuous", "Continuous");
    for (const char* exposureFirst : {"Exposure_Gain_Iris", "Iris_Exposure_Gain"}) {
        regulate(exposureFirst, "DigitalAll", 100);
        EXPECT_NEAR(Mean(), 100, 4);
        EXPECT_EQ(Exposure(), 2000);
        EXPECT_GT(Gain("DigitalAll"), 1.2);
        EXPECT_EQ(Gain("SensorAll"), 1);
    }
    const double product = Exposure() * Gain("DigitalAll");
    regulate("Gain_Exposure_Iris", "DigitalAll", 100);
    EXPECT_NEAR(Mean(), 100, 4);
    EXPECT_NEAR(Exposure() * Gain("DigitalAll"), product, 0.05 * product);
    EXPECT_EQ(Gain("DigitalAll"), std::min(6.0, product / 500));

    regulate("Exposure_Gain_Iris", "DigitalAll", 0); // as dark as it may get
    EXPECT_EQ(Exposure(), 500);
    EXPECT_EQ(Gain("DigitalAll"), 1);
    regulate("Exposure_Gain_Iris", "SensorAll", 255); // as bright as it may get
    EXPECT_EQ(Exposure(), 2000);
    EXPECT_EQ(Gain("SensorAll"), 6);
    EXPECT_EQ(Gain("DigitalAll"), 1);

    Regulate("Off", "Continuous"); // the gain alone
    Float("ExposureTime")->SetValue(3000);
    regulate("Exposure_Gain_Iris", "SensorAll", 100);
    EXPECT_EQ(Exposure(), 3000);
    EXPECT_NEAR(Mean(), 100, 4);
}

TEST_F(SimAuto, TheMasterSwitchDecidesUnlessTheCameraHasNone)
{
    OpenWide();
    Regulate("Continuous", "Continuous", "Off");
    Float("ExposureTime")->SetValue(40);
    StartFor(1);
    GrabMany(5);
    EXPECT_EQ(Exposure(), 40);
    GevCloseCamera(&handle);

    setup.serial = "S2";
    setup.missing = {"autoBrightnessMode"};
    OpenWide();
    Enumeration("ExposureAuto")->FromString("Continuous");
    StartFor(1);
    GrabMany(5);
    EXPECT_GT(Exposure(), 1500);
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
    Enumeration("gainAutoSource")->FromString("DigitalAll");
    Float("ExposureTime")->SetValue(100); // nothing is regulated while nothing is grabbed
    StartFor(1);
    EXPECT_EQ(Float("ExposureTime")->GetAccessMode(), GenApi::RO);
    EXPECT_THROW(Float("ExposureTime")->SetValue(100), GenICam::AccessException);
    EXPECT_EQ(Float("Gain")->GetAccessMode(), GenApi::RW); // of the other source
    Enumeration("GainSelector")->FromString("DigitalAll");
    EXPECT_THROW(Float("Gain")->SetValue(2), GenICam::AccessException);
    Enumeration("autoBrightnessMode")->FromString("Off");
    Float("ExposureTime")->SetValue(100);
    Float("Gain")->SetValue(2);
}

TEST_F(SimAuto, WhiteBalanceMakesThePictureGrey)
{
    setup.model = sim::Model::Color;
    setup.values = {{"PixelFormat", "BayerRG8"}};
    OpenWide();
    Float("ExposureTime")->SetValue(2000); // nothing clips
    SetRatio("Red", 2);
    SetRatio("Blue", 0.5);
    StartFor(1);
    GrabOne();
    const auto tinted = Colors();
    ASSERT_GT(tinted[0], 1.5 * tinted[1]);
    ASSERT_LT(tinted[2], 0.75 * tinted[1]);
    struct Case {
        const char* reference;
        double ratio; ///< its own
    };
    for (const Case& wanted : {Case{"Green", 1}, Case{"Red", 1.5}}) {
        SCOPED_TRACE(wanted.reference);
        Enumeration("balanceRatioReference")->FromString(wanted.reference);
        SetRatio(wanted.reference, wanted.ratio);
        GrabMany(2);
        Enumeration("BalanceWhiteAuto")->FromString("Periodic");
        GrabMany(2); // one was on its way
        const auto grey = Colors();
        EXPECT_NEAR(grey[0], grey[1], 0.03 * grey[1]);
        EXPECT_NEAR(grey[2], grey[1], 0.03 * grey[1]);
        EXPECT_EQ(Ratio(wanted.reference), wanted.ratio);
    }

    // Once a second: what is set meanwhile stays until then.
    Enumeration("balanceWhitePeriod")->FromString("Every1s");
    Enumeration("BalanceWhiteAuto")->FromString("Periodic");
    GrabMany(2);
    const double blue = Ratio("Blue");
    SetRatio("Blue", 4);
    GrabMany(15);
    EXPECT_EQ(Ratio("Blue"), 4);
    GrabMany(10);
    EXPECT_NEAR(Ratio("Blue"), blue, 0.05 * blue);

    SetRatio("Red", 4); // what is out of reach is taken as far as it goes
    Enumeration("BalanceWhiteAuto")->FromString("Periodic");
    GrabMany(2);
    EXPECT_LE(Ratio("Blue"), 4);
    Enumeration("BalanceWhiteAuto")->FromString("Off");
    SetRatio("Green", 0.25);
    GrabMany(30);
    EXPECT_EQ(Ratio("Green"), 0.25);
    GevCloseCamera(&handle);
    Open(setup.serial); // settings outlive the session
    EXPECT_EQ(Ratio("Green"), 0.25);
}

TEST_F(SimAuto, NothingIsAllocatedPerFrame)
{
    setup.model = sim::Model::Color;
    setup.picture = sim::Picture::Plain;
    OpenWide();
    Enumeration("BalanceWhiteAuto")->FromString("Periodic");
    Enumeration("balanceWhitePeriod")->FromString("Every1s");
    Regulate("Continuous", "Continuous");
    Float("ExposureTime")->SetValue(40);
    StartFor(1);
    GrabMany(2);
    EXPECT_GT(Exposure(), 40); // a picture that nobody paints has its brightness all the same
    if (!rig::CountsAllocations()) {
        GTEST_SKIP() << "sanitizers keep the allocator to themselves";
    }
    const std::uint64_t before = rig::Allocations();
    GrabMany(50);
    EXPECT_EQ(rig::Allocations(), before);
}

} // namespace
