/** Each configuration of examples/ does what it says, without a warning. */
#include "tests/system/program.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <regex>
#include <set>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::HasSubstr;

namespace
{

struct Example {
    const char* name;
    std::vector<const char*> log;  ///< what the driver says when the settings reached the camera
    const char* size;              ///< of the pictures, as the index has it
    const char* warning = nullptr; ///< the one that belongs to it
};

void PrintTo(const Example& example, std::ostream* out)
{
    *out << example.name;
}

const Example kExamples[] = {
    {"fixed_exposure",
     {"  new CamFps val is 25.0", "  new Gain val is 6.0",
      "  new ExpoTime val is 8000.000000 (8000)us"},
     ",1920,1080,MONO8T"},
    {"auto_exposure_gain",
     {"AutoFunc settings handler entry vals: prof 1, gainm 2, etimem 2",
      "set property autoBrightnessMode to Active", "(GainAuto) to \"Continuous\"",
      "(ExposureAuto) to \"Continuous\"", "(autoBrightnessTarget) to 115",
      "(gainAutoMaxValue) to 4.0", "(exposureAutoMaxValue) to 20000.0"},
     ",1920,1080,MONO8T"},
    {"color_white_balance",
     {"DeviceModel        : Simulated-C", "  new WhiteBalance vals are: Red 150, Blue 150"},
     ",1920,1080,UYVY"},
    {"lut", {"LUT handler exit (nValuesDev = 256, nCfgVals = 256, "}, ",1920,1080,MONO8T"},
    {"gamma", {"  new Gamma val is 0.45"}, ",1920,1080,MONO8T"},
    {"region_12bit",
     {"  new CamFps val is 60.0", "  new ExpoTime val is 4000.0"},
     ",640,480,MONO12PT"},
    {"strobes",
     {"set strobe on pin 2: onOff=1 polarity=1 (delay=500us, width=2000us)",
      "set strobe on pin 3: onOff=1 polarity=0 (delay=0us, width=6000us)"},
     ",1920,1080,MONO8T"},
    {"kvgrab",
     {},
     ",1920,1080,MONO8T",
     "asked Fps val -1.000000 is out of bounds"}, // it sets no frame rate
};

class Examples : public testing::TestWithParam<Example>
{
};

TEST_P(Examples, ReachTheCameraWithoutAWarning)
{
    const Example& example = GetParam();
    const TempFolder folder;
    const std::string memory = "/kvgrab-example-" + std::to_string(getpid());
    Program program({KVGRAB, "--config", KV_EXAMPLES + ("/" + std::string(example.name)) + ".toml",
                     "--frames", "4", "--export", "raw", "--every-frame", "--directory",
                     folder / "out", "--memory", memory, "--no-retry"},
                    folder.Path());
    EXPECT_EQ(program.Wait(), 0) << program.Output();
    EXPECT_THAT(program.Output(), HasSubstr("grabbed 4, exported 3,"));
    if (program.Output().find(" W no real-time priority") != std::string::npos) {
        GTEST_SKIP() << "the driver's second thread may not run here";
    }
    for (const char* line : example.log) {
        EXPECT_THAT(program.Output(), HasSubstr(line));
    }
    EXPECT_THAT(ReadFile(folder.Path() / "out" / "index.csv"), HasSubstr(example.size));

    const std::regex trouble("^[^ ]+ [EW] .*");
    std::istringstream lines(program.Output());
    std::size_t warnings = 0;
    for (std::string line; std::getline(lines, line);) {
        if (std::regex_match(line, trouble)) {
            ++warnings;
            EXPECT_THAT(line, HasSubstr(example.warning != nullptr ? example.warning : "nothing"));
        }
    }
    EXPECT_EQ(warnings, example.warning != nullptr ? 1U : 0U);
}

INSTANTIATE_TEST_SUITE_P(Configurations, Examples, testing::ValuesIn(kExamples),
                         [](const auto& test) { return std::string(test.param.name); });

TEST(ExamplesFolder, HasNoConfigurationThatIsNotRun)
{
    std::set<std::string> run{"network"}; // describes cameras, as the platform's tests see
    for (const Example& example : kExamples) {
        run.insert(example.name);
    }
    std::set<std::string> there;
    for (const auto& entry : fs::directory_iterator(KV_EXAMPLES)) {
        if (entry.path().extension() == ".toml") {
            there.insert(entry.path().stem());
        }
    }
    EXPECT_EQ(there, run);
}

} // namespace
