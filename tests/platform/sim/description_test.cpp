#include "sim/description/description.h"

#include <gmock/gmock.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <unistd.h>

namespace sim
{

namespace
{

using ::testing::ElementsAre;
using ::testing::HasSubstr;
using ::testing::IsEmpty;
using ::testing::Pair;
using ::testing::StartsWith;

/** The error of a text, or "" when it is taken. */
std::string Error(std::string_view text)
{
    NetworkDescription network;
    std::string error;
    const bool taken = ParseNetwork(text, "net.toml", &network, &error);
    EXPECT_EQ(taken, error.empty());
    return error;
}

NetworkDescription Parsed(std::string_view text)
{
    NetworkDescription network;
    std::string error;
    EXPECT_TRUE(ParseNetwork(text, "net.toml", &network, &error)) << error;
    return network;
}

/** A file of its own for each test process. */
class ScratchFile
{
public:
    explicit ScratchFile(std::string_view text)
        : path_(std::filesystem::temp_directory_path() /
                ("network-" + std::to_string(::getpid()) + ".toml"))
    {
        std::ofstream(path_) << text;
    }
    ~ScratchFile() { std::filesystem::remove(path_); }
    std::string Path() const { return path_.string(); }

private:
    std::filesystem::path path_;
};

/** Whether the camera is on the network. */
bool Stands(const std::string& serial)
{
    return !FeatureText(serial, "Width").empty();
}

struct Bad {
    const char* text;
    const char* where;    ///< line:column
    const char* expected; ///< part of the message
};
void PrintTo(const Bad& bad, std::ostream* out)
{
    *out << "at " << bad.where;
}

} // namespace

TEST(Description, EveryKeyOfACameraArrives)
{
    const NetworkDescription network = Parsed(R"([[camera]]
model = "color"
manufacturer = "Somebody"
model_name = "M1"
serial = "A1"
version = "2.5"
attached = false
sensor_width = 1280
sensor_height = 960
picture = "plain"
noise = 0.5
lock_regulated = true
seed = 9
tick_frequency = 125_000_000
tick_offset = -5
tick_bits = 32
drift_ppm = -20
jitter_us = 1.5
link_mbytes_per_second = 400
temperature_c = 55.5
missing = ["Gain"]
mistyped = { ExposureTime = "integer", Width = "enumeration" }
read_only = ["Height"]
not_available = ["OffsetX", "OffsetY"]
not_implemented_entries = ["ChunkSelector.Gain"]
missing_entries = ["lutSize.Bpp12"]
refused_formats = ["Mono8", 0x0210001F]
[camera.values]
LUTSelector = "Green"
BalanceRatioSelector = "Blue"
BalanceRatio = 2
ExposureTime = 5000.5
ReverseX = true
)");
    ASSERT_EQ(network.cameras.size(), 1U);
    const CameraSetup& camera = network.cameras[0];
    EXPECT_EQ(camera.model, Model::Color);
    EXPECT_EQ(camera.manufacturer, "Somebody");
    EXPECT_EQ(camera.modelName, "M1");
    EXPECT_EQ(camera.serial, "A1");
    EXPECT_EQ(camera.version, "2.5");
    EXPECT_FALSE(camera.attached);
    EXPECT_EQ(camera.sensorWidth, 1280U);
    EXPECT_EQ(camera.sensorHeight, 960U);
    EXPECT_EQ(camera.picture, Picture::Plain);
    EXPECT_EQ(camera.noise, 0.5);
    EXPECT_TRUE(camera.lockRegulated);
    EXPECT_EQ(camera.seed, 9U);
    EXPECT_EQ(camera.tickFrequency, 125'000'000U);
    EXPECT_EQ(camera.tickOffset, -5);
    EXPECT_EQ(camera.tickBits, 32U);
    EXPECT_EQ(camera.driftPpm, -20);
    EXPECT_EQ(camera.jitterUs, 1.5);
    EXPECT_EQ(camera.linkMBytesPerSecond, 400);
    EXPECT_EQ(camera.temperatureC, 55.5);
    EXPECT_THAT(camera.missing, ElementsAre("Gain"));
    EXPECT_THAT(camera.mistyped, ElementsAre(Pair("ExposureTime", NodeKind::Integer),
                                             Pair("Width", NodeKind::Enumeration)));
    EXPECT_THAT(camera.readOnly, ElementsAre("Height"));
    EXPECT_THAT(camera.notAvailable, ElementsAre("OffsetX", "OffsetY"));
    EXPECT_THAT(camera.notImplementedEntries, ElementsAre("ChunkSelector.Gain"));
    EXPECT_THAT(camera.missingEntries, ElementsAre("lutSize.Bpp12"));
    EXPECT_THAT(camera.refusedFormats, ElementsAre(0x01080001, 0x0210001F));
    // In the file's order, not by the alphabet: selectors come before what they select.
    EXPECT_THAT(camera.values,
                ElementsAre(Pair("LUTSelector", "Green"), Pair("BalanceRatioSelector", "Blue"),
                            Pair("BalanceRatio", "2"), Pair("ExposureTime", "5000.5"),
                            Pair("ReverseX", "true")));
}

TEST(Description, PairsSetASelectedFeatureMoreThanOnce)
{
    const auto network = Parsed(R"([[camera]]
model = "color"
values = [["BalanceRatioSelector", "Red"], ["BalanceRatio", 1.5],
          ["BalanceRatioSelector", "Blue"], ["BalanceRatio", 2]])");
    ASSERT_EQ(network.cameras.size(), 1U);
    EXPECT_THAT(network.cameras[0].values,
                ElementsAre(Pair("BalanceRatioSelector", "Red"), Pair("BalanceRatio", "1.5"),
                            Pair("BalanceRatioSelector", "Blue"), Pair("BalanceRatio", "2")));
}

TEST(Description, EveryKeyOfAFaultArrives)
{
    const auto faults = Parsed(R"([[camera]]
serial = "A1"
[[fault]]
trigger = "write"
name = "Gain"
camera = "A1"
nth = 3
times = 0
effect = "throw"
exception = "dynamic_cast"
text = "no"
[[fault]]
trigger = "time"
nth = 5_000_000_000
effect = "detach"
value = 7
[[fault]]
trigger = "call"
name = "GevStartTransfer"
effect = "fail"
value = -12
)")
                            .faults;
    ASSERT_EQ(faults.size(), 3U);
    EXPECT_EQ(faults[0].trigger, Trigger::Write);
    EXPECT_EQ(faults[0].name, "Gain");
    EXPECT_EQ(faults[0].camera, "A1");
    EXPECT_EQ(faults[0].nth, 3U);
    EXPECT_EQ(faults[0].times, 0U);
    EXPECT_EQ(faults[0].effect, Effect::Throw);
    EXPECT_EQ(faults[0].exception, ExceptionKind::DynamicCast);
    EXPECT_EQ(faults[0].text, "no");
    EXPECT_EQ(faults[1].trigger, Trigger::Time);
    EXPECT_EQ(faults[1].nth, 5'000'000'000U);
    EXPECT_EQ(faults[1].effect, Effect::Detach);
    EXPECT_EQ(faults[1].value, 7);
    EXPECT_EQ(faults[2].trigger, Trigger::Call);
    EXPECT_EQ(faults[2].effect, Effect::Fail);
    EXPECT_EQ(faults[2].value, -12);
    EXPECT_EQ(faults[2].times, 1U);
}

TEST(Description, AbsentKeysLeaveTheDefaultsAndAnEmptyFileIsAnEmptyNetwork)
{
    const auto cameras = Parsed("[[camera]]\n").cameras;
    ASSERT_EQ(cameras.size(), 1U);
    EXPECT_EQ(cameras[0].serial, CameraSetup().serial);
    EXPECT_EQ(cameras[0].sensorWidth, CameraSetup().sensorWidth);
    EXPECT_EQ(cameras[0].temperatureC, CameraSetup().temperatureC);
    const NetworkDescription nothing = Parsed("# nothing\n");
    EXPECT_THAT(nothing.cameras, IsEmpty());
    EXPECT_THAT(nothing.faults, IsEmpty());
}

class Refused : public ::testing::TestWithParam<Bad>
{
};

TEST_P(Refused, WithPlaceAndWhatWasExpected)
{
    const std::string error = Error(GetParam().text);
    EXPECT_THAT(error, StartsWith(std::string("net.toml:") + GetParam().where + ": "));
    EXPECT_THAT(error, HasSubstr(GetParam().expected));
}

INSTANTIATE_TEST_SUITE_P(
    Files, Refused,
    ::testing::Values(Bad{"camera = 1", "1:10", "tables, each headed [[camera]]"},
                      Bad{"[camera]\n", "1:1", "tables, each headed [[camera]]"},
                      Bad{"camera = [1]", "1:11", "tables, each headed [[camera]]"},
                      Bad{"\n[[cameras]]\n", "2:3",
                          "unknown key cameras; known keys are camera, fault"},
                      Bad{"[[camera]]\nserial = ", "2:10", "end-of-file"},
                      Bad{"[[camera]]\na = 1\na = 2", "3:5", "redefine"},
                      Bad{"[[camera]]\nserial = \"\xFF\"", "2:10", "utf-8"}));

INSTANTIATE_TEST_SUITE_P(
    Cameras, Refused,
    ::testing::Values(
        Bad{"[[camera]]\n  widht = 4\nseriel = 1\n", "2:3", "known keys are model, manufacturer"},
        Bad{"[[camera]]\nmodel = \"grey\"", "2:9", "\"grey\"; expected one of \"mono\", \"color\""},
        Bad{"[[camera]]\nmodel = 1", "2:9", "expected one of \"mono\", \"color\""},
        Bad{"[[camera]]\nserial = \"\"", "2:10", "1 to 64 characters"},
        Bad{"[[camera]]\nserial = \"a\\u0000b\"", "2:10", "without control characters"},
        Bad{"[[camera]]\nattached = 1", "2:12", "true or false"},
        Bad{"[[camera]]\nsensor_width = 0", "2:16", "is 0; expected an integer from 16 to 65536"},
        Bad{"[[camera]]\nsensor_height = 8e1", "2:17", "an integer"},
        Bad{"[[camera]]\nsensor_width = 4294968000", "2:16", "65536"},
        Bad{"[[camera]]\nscene = \"\"", "2:9", "1 to 4096 characters"},
        Bad{"[[camera]]\nscene = \"nowhere.png\"", "2:9", "a PNG file"},
        Bad{"[[camera]]\nnoise = -0.1", "2:9", "a number from 0 to 100"},
        Bad{"[[camera]]\nseed = -1", "2:8", "from 0"},
        Bad{"[[camera]]\ntick_bits = 65", "2:13", "1 to 64"},
        Bad{"[[camera]]\ndrift_ppm = nan", "2:13", "a number from -100000 to 100000"},
        Bad{"[[camera]]\njitter_us = inf", "2:13", "a number from 0 to 1000000000"},
        Bad{"[[camera]]\njitter_us = \"1\"", "2:13", "a number"},
        Bad{"[[camera]]\n[[camera]]\n", "2:1", "\"S0000001\", which another camera has"},
        Bad{"[[camera]]\nserial=\"B\"\n[[camera]]\nserial=\"B\"", "4:8", "one of its own"}));

INSTANTIATE_TEST_SUITE_P(
    Features, Refused,
    ::testing::Values(
        Bad{"[[camera]]\nmissing = \"Gain\"", "2:11", "an array of texts"},
        Bad{"[[camera]]\nmissing = [\"Gain\", \"Gian\"]", "2:20", "\"Gian\"; expected the name"},
        Bad{"[[camera]]\nread_only = [1]", "2:14", "name of a feature"},
        Bad{"[[camera]]\nnot_available = [\"BalanceRatio\"]", "2:18", "of this model"},
        Bad{"[[camera]]\nmissing_entries = [\"lutSize\"]", "2:20", "such as"},
        Bad{"[[camera]]\nmissing_entries = [\"lutSize.0\"]", "2:20", "such as"},
        Bad{"[[camera]]\nnot_implemented_entries = [\"Gain.X\"]", "2:28", "such as"},
        Bad{"[[camera]]\nmistyped = [\"Gain\"]", "2:12", "a table"},
        Bad{"[[camera]]\nmistyped = { Gian = \"float\" }", "2:21", "camera.mistyped has \"Gian\""},
        Bad{"[[camera]]\nmistyped = { Gain = \"real\" }", "2:21", "one of \"integer\", \"float\""},
        Bad{"[[camera]]\nrefused_formats = [0x0210001F]", "2:20", "of this model"},
        Bad{"[[camera]]\nrefused_formats = [\"Mono9\"]", "2:20", "by its name or code"},
        Bad{"[[camera]]\nrefused_formats = [[]]", "2:20", "by its name or code"},
        Bad{"[[camera]]\nvalues = { Gian = 1 }", "2:19", "camera.values has \"Gian\""},
        Bad{"[[camera]]\nvalues = { Width = 2.5 }", "2:20", "a value of this feature"},
        Bad{"[[camera]]\nvalues = { Gain = nan }", "2:19", "a value of this feature"},
        Bad{"[[camera]]\nvalues = { Gain = \"-inf\" }", "2:19", "a value of this feature"},
        Bad{"[[camera]]\nvalues = { lutMode = \"On\" }", "2:22", "a value of this feature"},
        Bad{"[[camera]]\nvalues = { Gain = [1] }", "2:19", "a text, a number, true or false"},
        Bad{"[[camera]]\nvalues = [[\"Gain\"]]", "2:11", "such as [\"Gain\", 2.0]"},
        Bad{"[[camera]]\nvalues = [\"Gain\", 2]", "2:11", "such as [\"Gain\", 2.0]"},
        Bad{"[[camera]]\nvalues = [[\"Gian\", 2]]", "2:12", "camera.values has \"Gian\""},
        Bad{"[[camera]]\nvalues = [[\"Width\", 2.5]]", "2:21", "a value of this feature"},
        Bad{"[[camera]]\nvalues = 3", "2:10", "a table of features and values"}));

INSTANTIATE_TEST_SUITE_P(
    Faults, Refused,
    ::testing::Values(
        Bad{"[[fault]]\neffect=\"lose\"", "1:1",
            "trigger is missing; expected one of \"access\", \"read"},
        Bad{"[[fault]]\ntrigger=\"frame\"", "1:1", "effect is missing"},
        Bad{"[[fault]]\ntrigger=\"frames\"\neffect=\"lose\"", "2:9", "one of \"access\", \"read\""},
        Bad{"[[fault]]\ntrigger=\"frame\"\neffect=\"throw\"", "3:8", "with the trigger \"frame\""},
        Bad{"[[fault]]\ntrigger=\"read\"\neffect=\"fail\"\nvalue=1", "3:8",
            "one of \"throw\", \"delay\", \"detach\" with the trigger \"read\""},
        Bad{"[[fault]]\ntrigger=\"call\"\neffect=\"lose\"", "3:8",
            "one of \"fail\", \"delay\", \"detach\""},
        Bad{"[[fault]]\ntrigger=\"time\"\nnth=1\neffect=\"delay\"\nvalue=1", "4:8",
            "one of \"jump_ticks\", \"detach\""},
        Bad{"[[fault]]\ntrigger=\"time\"\neffect=\"detach\"", "1:1", "nth is missing"},
        Bad{"[[fault]]\ntrigger=\"time\"\nnth=1\ntimes=2\neffect=\"detach\"", "4:7", "comes once"},
        Bad{"[[fault]]\ntrigger=\"frame\"\nnth=0\neffect=\"lose\"", "3:5", "from 1"},
        Bad{"[[fault]]\ntrigger=\"frame\"\nname=\"Gain\"\neffect=\"lose\"", "3:6", "no meaning"},
        Bad{"[[fault]]\ntrigger=\"frame\"\neffect=\"lose\"\nvalue=1", "4:7", "no meaning"},
        Bad{"[[fault]]\ntrigger=\"frame\"\neffect=\"lose\"\ntext=\"a\"", "4:6", "only \"throw\""},
        Bad{"[[fault]]\ntrigger=\"frame\"\neffect=\"delay\"", "1:1",
            "value is missing; expected nano"},
        Bad{"[[fault]]\ntrigger=\"frame\"\neffect=\"delay\"\nvalue=-1", "4:7", "from 1"},
        Bad{"[[fault]]\ntrigger=\"call\"\neffect=\"fail\"\nvalue=3000000000", "4:7", "2147483647"},
        Bad{"[[fault]]\ntrigger=\"call\"\nname=\"GevOpen\"\neffect=\"fail\"\nvalue=1", "3:6",
            "a camera call"},
        Bad{"[[fault]]\ntrigger=\"read\"\nname=\"Gian\"\neffect=\"throw\"", "3:6", "a feature"},
        Bad{"[[fault]]\ntrigger=\"read\"\neffect=\"throw\"\nexception=\"bad\"", "4:11",
            "one of \"invalid_argument\", \"property\""},
        Bad{"[[fault]]\ntrigger=\"frame\"\ncamera=\"X\"\neffect=\"lose\"", "3:8",
            "the serial of a camera of this file"},
        Bad{"[[fault]]\ntrigger=\"frame\"\neffect=\"lose\"\ncount=1", "4:1",
            "unknown key fault.count"}));

TEST(Description, AFailureLeavesTheNetworkGivenAsItWas)
{
    NetworkDescription network = Parsed("[[camera]]\nserial=\"kept\"");
    std::string error;
    EXPECT_FALSE(ParseNetwork("[[camera]]\n[[camera]]", "n", &network, &error));
    ASSERT_EQ(network.cameras.size(), 1U);
    EXPECT_EQ(network.cameras[0].serial, "kept");
}

TEST(LoadNetwork, ReplacesCamerasAndFaultsAndKeepsTheClock)
{
    Reset();
    const auto clock = std::make_shared<ManualClock>(1000);
    SetClock(clock);
    AddDefaultCameras();
    AddFault({.trigger = Trigger::Time, .nth = 10, .effect = Effect::Detach});
    const ScratchFile file("[[camera]]\nserial=\"N1\"\nvalues={Gain=3}\n"
                           "[[fault]]\ntrigger=\"call\"\nname=\"GevGetCameraList\"\n"
                           "effect=\"fail\"\nvalue=-12\n");
    std::string error;
    ASSERT_TRUE(LoadNetwork(file.Path(), &error)) << error;
    EXPECT_FALSE(Stands("S0000001"));
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
    const ScratchFile file("[[camera]]\nserial=\"N1\"\n[[camera]]\nseed=-1\n");
    std::string error;
    EXPECT_FALSE(LoadNetwork(file.Path(), &error));
    EXPECT_THAT(error, StartsWith(file.Path() + ":4:6: camera.seed is -1"));
    EXPECT_FALSE(LoadNetwork("/nowhere/network.toml", &error));
    EXPECT_THAT(error, StartsWith("/nowhere/network.toml: can't be opened"));
    EXPECT_FALSE(LoadNetwork("/", &error));
    EXPECT_THAT(error, StartsWith("/: can't be read"));
    EXPECT_FALSE(LoadNetwork("/dev/zero", &error));
    EXPECT_THAT(error, HasSubstr("too large"));

    EXPECT_FALSE(Stands("N1"));
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

    std::ifstream file(EXAMPLE_NETWORK);
    std::string all;
    for (std::string line; std::getline(file, line);) {
        const bool key = line.starts_with("# ") && (line.find(" = ") != std::string::npos ||
                                                    line.find("[[") != std::string::npos);
        all += (key ? line.substr(2) : line) + "\n";
    }
    NetworkDescription network;
    ASSERT_TRUE(ParseNetwork(all, EXAMPLE_NETWORK, &network, &error)) << error;
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
