/** Which cameras are on the simulated network, and which features they lack. */
#include "tests/platform/sim/sim_session.h"

namespace
{

using SimNetwork = SimSession;

TEST_F(SimNetwork, TwoModelsDifferInColourAndSpelling)
{
    sim::AddDefaultCameras();
    for (const bool color : {false, true}) {
        Open(color ? "S0000002" : "S0000001");
        EXPECT_STREQ(device.manufacturer, "DALSA (simulated)");
        EXPECT_EQ(Float("BalanceRatio").IsValid(), color);
        const auto has = [&](const char* feature, const char* entry) {
            return Enumeration(feature)->GetEntryByName(entry) != nullptr;
        };
        EXPECT_EQ(has("ChunkSelector", "counter1ValueAtReset"), !color);
        EXPECT_EQ(has("ChunkSelector", "Counter1ValueAtReset"), color);
        EXPECT_EQ(has("PixelFormat", "Mono12Packed"), !color);
        EXPECT_EQ(has("LUTSelector", "Blue"), color);
        if (!color) {
            GevCloseCamera(&handle);
        }
    }
    Choose({{"balanceRatioReference", "Blue"}, {"balanceWhitePeriod", "Every1s"}});
    Choose({{"BalanceRatioSelector", "Red"}, {"PixelFormat", "BayerRG8"}});
    Float("BalanceRatio")->SetValue(1.5);
    EXPECT_EQ(At("BalanceRatioSelector", "Blue", "BalanceRatio"), 1);
    EXPECT_EQ(Enumeration("PixelFormat")->GetIntValue(), 0x01080009);
}

TEST_F(SimNetwork, ACameraMayLackMistypeAndRefuse)
{
    setup.missing = {"DeviceTemperature"};
    setup.mistyped = {{"lutMode", sim::NodeKind::Float}, {"OffsetX", sim::NodeKind::Boolean}};
    setup.readOnly = {"ExposureAuto"};
    setup.notAvailable = {"GainAuto"};
    setup.notImplementedEntries = {"ChunkSelector.Gain"};
    setup.missingEntries = {"ChunkSelector.Timestamp", "lutSize.Bpp8"};
    setup.refusedFormats = {0x01100005};
    setup.values = {{"gammaCorrection", "2.5"}, {"GainSelector", "DigitalAll"}, {"Gain", "3"}};
    OpenCamera();
    EXPECT_EQ(map->GetNode("DeviceTemperature"), nullptr);
    EXPECT_EQ(sim::FeatureText("S1", "DeviceTemperature"), "");
    EXPECT_TRUE(Float("lutMode").IsValid());
    EXPECT_TRUE(Boolean("OffsetX").IsValid());
    EXPECT_EQ(Integer("Width")->GetMax(), 1920); // the true offset is still 0
    EXPECT_THROW(Enumeration("ExposureAuto")->FromString("Continuous"), GenICam::AccessException);
    EXPECT_EQ(Enumeration("ExposureAuto")->ToString(), "Off");
    EXPECT_THROW(Enumeration("GainAuto")->ToString(), GenICam::AccessException);
    const auto chunks = Enumeration("ChunkSelector");
    ASSERT_NE(chunks->GetEntryByName("Gain"), nullptr);
    EXPECT_EQ(chunks->GetEntryByName("Gain")->GetAccessMode(), GenApi::NI);
    EXPECT_THROW(chunks->FromString("Gain"), GenICam::AccessException);
    EXPECT_EQ(chunks->GetEntryByName("Timestamp"), nullptr);
    EXPECT_THROW(chunks->FromString("Timestamp"), GenICam::InvalidArgumentException);
    EXPECT_EQ(Enumeration("lutSize")->ToString(), "Bpp10");
    const std::uint32_t refused = 0x01100005;
    EXPECT_EQ(GevSetFeatureValue(handle, "PixelFormat", 4, &refused), kGevBadValue);
    EXPECT_EQ(Enumeration("PixelFormat")->ToString(), "Mono8");
    EXPECT_EQ(Float("gammaCorrection")->GetValue(), 2.5);
    EXPECT_EQ(Float("Gain")->GetValue(), 3);
    Enumeration("GainSelector")->FromString("SensorAll");
    EXPECT_EQ(Float("Gain")->GetValue(), 1);
}

TEST_F(SimNetwork, ScriptsReachValuesBesideTheChecks)
{
    OpenCamera();
    sim::SetJournal(true);
    EXPECT_TRUE(sim::SetFeatureText("S1", "Gain", "0"));
    EXPECT_EQ(Float("Gain")->GetValue(), 0);
    EXPECT_TRUE(sim::SetFeatureText("S1", "lutSize", "Bpp12"));
    EXPECT_EQ(Integer("LUTIndex")->GetMax(), 4095);
    EXPECT_TRUE(sim::SetFeatureText("S1", "ReverseX", "true"));
    EXPECT_EQ(sim::FeatureText("S1", "ReverseX"), "true");
    EXPECT_FALSE(sim::SetFeatureText("S1", "Gain", "loud"));
    EXPECT_FALSE(sim::SetFeatureText("S1", "lutSize", "Bpp99"));
    EXPECT_FALSE(sim::SetFeatureText("S1", "NoSuchFeature", "1"));
    EXPECT_FALSE(sim::SetFeatureText("nobody", "Gain", "1"));
    EXPECT_TRUE(Journal("cam").empty());

    // Whatever was stored, frames stay inside the sensor and the stream goes on.
    for (const auto& [name, value] : {std::pair{"Width", "-9000000000"},
                                      {"Height", "-9000000000"},
                                      {"OffsetX", "-9000000000"},
                                      {"ExposureTime", "nan"},
                                      {"AcquisitionFrameRate", "nan"}}) {
        EXPECT_TRUE(sim::SetFeatureText("S1", name, value));
    }
    StartFor(2);
    const auto* frame = Next();
    ASSERT_NE(frame, nullptr);
    EXPECT_EQ(frame->width, 1U);
}

TEST_F(SimNetwork, TextsAreCutASerialIsUniqueAndAnAbsentCameraIsNotListed)
{
    setup.manufacturer = std::string(200, 'm');
    setup.serial = std::string(64, 's');
    setup.attached = false;
    ASSERT_TRUE(sim::AddCamera(setup));
    EXPECT_FALSE(sim::AddCamera(setup));
    EXPECT_FALSE(FindDevice(setup.serial));
    sim::SetAttached(setup.serial, true);
    EXPECT_TRUE(FindDevice(setup.serial));
    EXPECT_EQ(device.manufacturer, std::string(64, 'm'));
    EXPECT_EQ(device.mode, 0U);
    sim::SetAttached(setup.serial, false);
    EXPECT_EQ(GevOpenCamera(&device, 2, &handle), kGevNotFound);
}

TEST_F(SimNetwork, ResetLeavesAnOpenCameraHarmless)
{
    OpenCamera();
    StartFor(2);
    const auto width = Integer("Width");
    sim::Reset();
    EXPECT_FALSE(FindDevice("S1"));
    EXPECT_THROW(width->GetValue(), GenICam::TimeoutException);
    EXPECT_EQ(GevGetCameraInfo(handle), nullptr);
    EXPECT_EQ(GevCloseCamera(&handle), kGevOk);
}

} // namespace
