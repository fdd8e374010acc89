// How configuration texts are parsed or refused; the command line.

#include "config/config.h"
#include "config/options.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <numeric>
#include <sstream>

namespace
{

using namespace kvgrab;
using testing::HasSubstr;
using testing::IsEmpty;

const std::string kFolder = CONFIG_CASES "/"; ///< with a look-up table, ramp.csv

bool ReadFromDisk(const std::string& path, std::string* text, std::string* error)
{
    std::ifstream file(path);
    text->assign(std::istreambuf_iterator<char>(file), {});
    *error = "can't be opened";
    return file.is_open();
}

ParsedConfig Accepted(const std::string& text, const std::string& name = kFolder + "test.toml")
{
    auto outcome = ParseConfig(text, name, ReadFromDisk);
    if (const auto* error = std::get_if<ConfigError>(&outcome)) {
        ADD_FAILURE() << error->Message() << "\nin:\n" << text;
        return {};
    }
    return std::get<ParsedConfig>(outcome);
}

/** The error or the warnings, without the folder. */
std::string Outcome(const std::string& text)
{
    const auto parsed = ParseConfig(text, kFolder + "test.toml", ReadFromDisk);
    std::string outcome;
    if (const auto* error = std::get_if<ConfigError>(&parsed)) {
        outcome = "refused: " + error->Message();
    } else if (const auto& warnings = std::get<ParsedConfig>(parsed).warnings; !warnings.empty()) {
        outcome = fmt::format("warned: {}", fmt::join(warnings, " "));
    }
    for (std::size_t at; (at = outcome.find(kFolder)) != std::string::npos;) {
        outcome.erase(at, kFolder.size());
    }
    return outcome.empty() ? "accepted" : outcome;
}

TEST(Config, IsRefusedOrWarnedOfWithPlaceAndExpectation)
{
    ExpectOutcomes(kFolder + "config_cases.txt", Outcome);
}

TEST(Config, EveryKeyReachesItsField)
{
    const ParsedConfig parsed = Accepted(TextOf(kFolder + "every_key.toml"));
    EXPECT_THAT(parsed.warnings, IsEmpty());
    Config wanted;
    wanted.camera = {"Abc", "S1", 5};
    wanted.cameras = {true, true, "eth1"};
    wanted.stream = {9000, 5, 0};
    wanted.image = {KvTd::kFormatMono12Packed, KvTd::kRotateTurned};
    wanted.region = {16, 8, 640, 480};
    wanted.timing = {30, -20000};
    wanted.exposure = {2, 5000.5F, 10, 20000};
    wanted.gain = {1, 3.5F, 0, 12};
    wanted.automatic = {1, 0.5F};
    wanted.whiteBalance = {150, 0};
    wanted.lut = {1, 12, {}};
    for (unsigned i = 0; i < 256; ++i) {
        wanted.lut.values.push_back(static_cast<std::uint16_t>(i * 16));
    }
    wanted.gamma = {1};
    wanted.iobox = {{KvTd::TD_PIN_OUT1, 1, 2, 2, {10, 100}},
                    {KvTd::TD_PIN_LINE2, 2, 5, 0, {7, KvTd::kIoboxParamUnset}}};
    wanted.session = {100, false, 0.5, 7};
    wanted.exporting = {"raw", "y4m", "out", 3, 4, 9, true, true, true, 1};
    wanted.memory = {"/mine"};
    wanted.simulation = {"net.toml"};
    wanted.log = {"x.log", 5};
    wanted.control = {"x.sock"};
    wanted.features = {{{"Zoom", {}}, "3", ""}, // in the order of the file
                       {{"Gain", {"DigitalAll"}}, "2.5", ""},
                       {{"Shiny", {}}, "true", ""},
                       {{"DeviceUserID", {}}, "door", ""}};
    EXPECT_EQ(parsed.config, wanted);
}

TEST(Config, EmptyTextEmptyTablesAndTheExampleAreTheDefaults)
{
    EXPECT_EQ(Accepted("").config, Config());
    EXPECT_EQ(Accepted("[camera]\n[region]\n[lut]\n[export]\n[auto]\n").config, Config());
    EXPECT_EQ(Accepted(TextOf(KVGRAB_EXAMPLE), KVGRAB_EXAMPLE).config, Config());
    EXPECT_EQ(Accepted("[image]\nrotate = 0\n").config.image.rotate, 1) << "set to upright";
}

TEST(Config, ExamplesCommentedKeysAreUsable)
{
    std::string text = Uncommented(TextOf(KVGRAB_EXAMPLE));
    // Of the two keys for a table the file shows both; they exclude each other.
    text.insert(text.find("\nvalues = ") + 1, "# ");
    const ParsedConfig parsed = Accepted(text, KVGRAB_EXAMPLE);
    EXPECT_THAT(parsed.warnings, IsEmpty());
    EXPECT_EQ(parsed.config.region, (RegionConfig{640, 360, 640, 360}));
    EXPECT_EQ(parsed.config.exposure, (ExposureConfig{1, 10000, 100, 20000}));
    EXPECT_EQ(parsed.config.iobox.size(), 3U);
    EXPECT_EQ(parsed.config.whiteBalance, (WhiteBalanceConfig{150, 150}));
    EXPECT_EQ(parsed.config.lut.values.size(), 256U);
}

TEST(Config, LutComesFromAFileBesideTheConfigurationUnlessItIsOff)
{
    const std::string table = "bits = 8\nfile = \"ramp.csv\"\n";
    LutConfig wanted{1, 8, std::vector<std::uint16_t>(256)};
    std::iota(wanted.values.begin(), wanted.values.end(), std::uint16_t{0});
    EXPECT_EQ(Accepted("[lut]\nmode = \"table\"\n" + table).config.lut, wanted);
    EXPECT_EQ(Accepted("[lut]\nmode = \"off\"\n" + table).config.lut, (LutConfig{1, 0, {}}));
}

// ---- command line ------------------------------------------------------------------------------

struct CommandLine {
    explicit CommandLine(std::vector<const char*> arguments)
    {
        arguments.insert(arguments.begin(), "kvgrab");
        goesOn = ParseOptions(static_cast<int>(arguments.size()), arguments.data(), &options,
                              &status, out, err);
    }
    Options options;
    int status = -1;
    bool goesOn = false;
    std::ostringstream out;
    std::ostringstream err;
};

using Arguments = std::vector<const char*>;

TEST(CommandLine, OverridesTheFileAndTheLastOfTwoWins)
{
    // clang-format off
    const CommandLine line({"run", "--frames", "3", "--frames", "7", "--format", "bayer8",
                            "--position", "1", "--position", "3", "--memory", "x", "--log-level",
                            "error", "--no-retry", "--no-status", "--export", "png", "-e", "raw",
                            "--cameras", "net", "--interface", "10.0.0.1"});
    // clang-format on
    ASSERT_TRUE(line.goesOn) << line.err.str();
    Config wanted;
    wanted.camera = {"", "", 10};
    wanted.cameras = {false, true, "10.0.0.1"};
    wanted.image.format = KvTd::kFormatBayer8;
    wanted.session = {7, false, 2, {}};
    wanted.exporting.format = "raw";
    wanted.memory.name = "/x";
    wanted.log.level = 1;
    Config config = Accepted("[session]\nframes = 1\n[camera]\nmodel = \"M\"\n").config;
    ApplyOverrides(line.options, &config);
    EXPECT_EQ(config, wanted);
    EXPECT_TRUE(line.options.noStatus);
}

TEST(CommandLine, RefusesWhatItDoesNotUnderstandAndHelpsEverywhere)
{
    // clang-format off
    for (const Arguments& wrong : std::vector<Arguments>{
             {"--frame"}, {"grab"}, {"run", "list"}, {"--frames", "-1"}, {"--frames", "4294967296"},
             {"--buffers", "1"}, {"--format", "mono9"}, {"--retry-interval", "nan"},
             {"--retry-interval", "1e9"}, {"--memory", "a/b"}, {"--directory", ""},
             {"--cameras", "usb"}, {"--position", "8"}, {"--log-level", "6"}}) {
        // clang-format on
        const CommandLine line(wrong);
        EXPECT_FALSE(line.goesOn) << wrong.front();
        EXPECT_EQ(line.status, 2) << wrong.front();
        EXPECT_THAT(line.err.str(), HasSubstr("--help")) << wrong.front();
    }
    for (const Arguments& asked : std::vector<Arguments>{{"--help"},
                                                         {"run", "--help"},
                                                         {"list", "-h"},
                                                         {"features", "-h"},
                                                         {"get", "-h", "x"}}) {
        const CommandLine line(asked);
        EXPECT_FALSE(line.goesOn);
        EXPECT_EQ(line.status, 0);
        EXPECT_THAT(line.out.str(), HasSubstr("--serial"));
        const std::string command = asked.front();
        const bool whole = command == "--help" || command == "run";
        EXPECT_THAT(line.out.str(), HasSubstr(whole ? "Exit status:" : "Usage: kvgrab " + command));
    }
}

} // namespace
