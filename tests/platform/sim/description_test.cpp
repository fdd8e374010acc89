#include "sim/description/description.h"

#include "tests/base/text_cases.h"

#include <gmock/gmock.h>

namespace sim
{

namespace
{

const std::string kFolder = DESCRIPTION_CASES "/";

using ::testing::ElementsAre;
using ::testing::IsEmpty;
using ::testing::StartsWith;

/** What is wrong with a text, without the text's name. */
std::string Error(const std::string& text)
{
    NetworkDescription network;
    std::string error;
    const bool taken = ParseNetwork(text, "n", &network, &error);
    return taken ? "accepted" : error.substr(error.find(':') + 1);
}

NetworkDescription Parsed(std::string_view text, const std::string& name = "net.toml")
{
    NetworkDescription network;
    std::string error;
    EXPECT_TRUE(ParseNetwork(text, name, &network, &error)) << error;
    return network;
}

} // namespace

TEST(Description, EveryKeyArrives)
{
    const NetworkDescription network = Parsed(TextOf(kFolder + "every_key.toml"));
    // clang-format off
    const CameraSetup camera{
        .model = Model::Color, .manufacturer = "Somebody", .modelName = "M1", .serial = "A1",
        .version = "2.5", .attached = false, .sensorWidth = 1280, .sensorHeight = 960,
        .picture = Picture::Plain, .noise = 0.5, .seed = 9, .tickFrequency = 125'000'000,
        .tickOffset = -5, .tickBits = 32, .driftPpm = -20, .jitterUs = 1.5, .lockRegulated = true,
        .triggerLine = 2, .triggerHz = 5, .triggerPulseUs = 50, .triggerTimesS = {1, 2.5},
        .linkMBytesPerSecond = 400, .lineUs = 2.5, .temperatureC = 55.5, .missing = {"Gain"},
        .mistyped = {{"ExposureTime", NodeKind::Integer}, {"Width", NodeKind::Enumeration}},
        .readOnly = {"Height"}, .notAvailable = {"OffsetX", "OffsetY"},
        .notImplementedEntries = {"ChunkSelector.Gain"}, .missingEntries = {"lutSize.Bpp12"},
        .refusedFormats = {0x01080001, 0x0210001F},
        // In the file's order, not by the alphabet: selectors come before what they select.
        .values = {{"LUTSelector", "Green"}, {"BalanceRatioSelector", "Blue"},
                   {"BalanceRatio", "2"}, {"ExposureTime", "5000.5"}, {"ReverseX", "true"}}};
    const CameraSetup second{
        .model = Model::Color, .serial = "A2",
        .values = {{"BalanceRatioSelector", "Red"}, {"BalanceRatio", "1.5"},
                   {"BalanceRatioSelector", "Blue"}, {"BalanceRatio", "2"}}};
    EXPECT_THAT(network.cameras, ElementsAre(camera, second));
    const Fault write{
        .trigger = Trigger::Write, .name = "Gain", .camera = "A1", .nth = 3, .times = 0,
        .effect = Effect::Throw, .exception = ExceptionKind::DynamicCast, .text = "no"};
    const Fault time{
        .trigger = Trigger::Time, .nth = 5'000'000'000, .effect = Effect::Detach, .value = 7};
    const Fault call{.trigger = Trigger::Call, .name = "GevStartTransfer",
                     .effect = Effect::Fail, .value = -12};
    // clang-format on
    EXPECT_THAT(network.faults, ElementsAre(write, time, call));
}

TEST(Description, AbsentKeysLeaveTheDefaultsAndAnEmptyFileIsAnEmptyNetwork)
{
    EXPECT_THAT(Parsed("[[camera]]\n").cameras, ElementsAre(CameraSetup()));
    const NetworkDescription nothing = Parsed("# nothing\n");
    EXPECT_THAT(nothing.cameras, IsEmpty());
    EXPECT_THAT(nothing.faults, IsEmpty());
}

TEST(Description, IsRefusedWithPlaceAndWhatWasExpected)
{
    ExpectOutcomes(kFolder + "description_cases.txt", Error);
    EXPECT_THAT(Error("[[camera]]\nserial = \"\xFF\""), StartsWith("2:10: not valid TOML: "));
}

TEST(LoadNetwork, ReplacesCamerasAndFaultsAndKeepsTheClock)
{
    Reset();
    const auto clock = std::make_shared<ManualClock>(1000);
    SetClock(clock);
    AddDefaultCameras();
    AddFault({.trigger = Trigger::Time, .nth = 10, .effect = Effect::Detach});
    std::string error;
    ASSERT_TRUE(LoadNetwork(kFolder + "usable.toml", &error)) << error;
    EXPECT_EQ(FeatureText("N1", "Gain"), "3");
    clock->AdvanceNs(20); // the detachment of before is forgotten
    GEV_DEVICE_INFO list[2];
    int count = 0;
    EXPECT_EQ(GevGetCameraList(list, 2, &count), -12);
    const std::int64_t before = clock->NowNs();
    AddFault({.trigger = Trigger::Call, .effect = Effect::Delay, .value = 77});
    EXPECT_EQ(GevGetCameraList(list, 2, &count), 0);
    EXPECT_EQ(clock->NowNs(), before + 77); // still the network's clock
    EXPECT_EQ(count, 1);
    EXPECT_STREQ(list[0].serial, "N1");
}

TEST(LoadNetwork, AFailureLeavesEverythingAsItWas)
{
    Reset();
    AddDefaultCameras();
    AddFault({.trigger = Trigger::Call,
              .name = "GevGetCameraList",
              .effect = Effect::Fail,
              .value = -12});
    SetFeatureText("S0000001", "Gain", "2");
    for (const auto& [path, wanted] :
         {std::pair(kFolder + "unusable.toml", ":4:8: camera.seed is -1"),
          std::pair(std::string("/nowhere/network.toml"), ": can't be opened"),
          std::pair(std::string("/"), ": can't be read"),
          std::pair(std::string("/dev/zero"), ": too large")}) {
        std::string error;
        EXPECT_FALSE(LoadNetwork(path, &error));
        EXPECT_THAT(error, StartsWith(path + wanted));
    }
    EXPECT_EQ(FeatureText("N1", "Width"), "");
    EXPECT_EQ(FeatureText("S0000001", "Gain"), "2");
    int count = 0;
    EXPECT_EQ(GevGetCameraList(nullptr, 0, &count), -12);
}

/** The example is taken as it stands, and with all that is commented out in it. */
TEST(LoadNetwork, TheExampleCanBeUsed)
{
    Reset();
    std::string error;
    ASSERT_TRUE(LoadNetwork(EXAMPLE_NETWORK, &error)) << error;
    EXPECT_EQ(FeatureText("S0000001", "ExposureTime"), "8000");
    EXPECT_EQ(FeatureText("S0000002", "PixelFormat"), "BayerRG8");

    const NetworkDescription network =
        Parsed(Uncommented(TextOf(EXAMPLE_NETWORK)), EXAMPLE_NETWORK);
    EXPECT_EQ(network.faults.size(), 4U);
    ASSERT_EQ(network.cameras.size(), 2U);
    EXPECT_THAT(network.cameras[1].missingEntries, ElementsAre("lutSize.Bpp12"));
    ASSERT_EQ(network.scenes.size(), 2U);
    EXPECT_NE(network.scenes[0], nullptr); // found beside the description
    EXPECT_EQ(network.scenes[1], nullptr);
    CameraSetup setup = network.cameras[0];
    setup.serial = "S0000003";
    EXPECT_TRUE(AddCamera(setup)); // by the path that the description gave
    setup.scene = EXAMPLE_NETWORK;
    setup.serial = "S0000004";
    EXPECT_THROW(AddCamera(setup), std::runtime_error);
    Reset();
}

} // namespace sim
