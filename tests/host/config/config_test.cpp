// What a configuration text is accepted as, and how it is refused.

#include "config/config.h"
#include "config/options.h"

#include <gmock/gmock.h>

#include <fstream>
#include <regex>
#include <sstream>

namespace
{

using namespace kvgrab;
using testing::HasSubstr;
using testing::IsEmpty;

/** Knows one file, a look-up table, which lies beside the configuration. */
bool ReadBeside(const std::string& path, std::string* text, std::string* error)
{
    if (path != "etc/ramp.csv") {
        *error = "there is no such file";
        return false;
    }
    for (int i = 0; i < 256; ++i) {
        *text += std::to_string(i) + "\n";
    }
    return true;
}

ParsedConfig Accepted(const std::string& text)
{
    auto outcome = ParseConfig(text, "etc/test.toml", ReadBeside);
    if (const auto* error = std::get_if<ConfigError>(&outcome)) {
        ADD_FAILURE() << error->Message() << "\nin:\n" << text;
        return {};
    }
    return std::get<ParsedConfig>(outcome);
}

std::string Refusal(const std::string& text)
{
    auto outcome = ParseConfig(text, "etc/test.toml", ReadBeside);
    const auto* error = std::get_if<ConfigError>(&outcome);
    return error != nullptr ? error->Message() : "accepted";
}

struct RefusedCase {
    const char* text;
    const char* place; ///< "line:column"
    const char* part;  ///< of the message
};

class Refused : public testing::TestWithParam<RefusedCase>
{
};

TEST_P(Refused, WithPlaceAndExpectation)
{
    const std::string message = Refusal(GetParam().text);
    EXPECT_THAT(message,
                testing::StartsWith(std::string("etc/test.toml:") + GetParam().place + ": "));
    EXPECT_THAT(message, HasSubstr(GetParam().part));
}

INSTANTIATE_TEST_SUITE_P(
    Config, Refused,
    testing::Values(
        // form, unknown names, wrong types
        RefusedCase{"[camera]\nmodel = \n", "2:9", "not valid TOML"},
        RefusedCase{"[camera]\nmodel = \"a\"\nmodel = \"b\"\n", "3:9", "not valid TOML"},
        RefusedCase{"[camera]\n[kamera]\n", "2:2",
                    "unknown key kamera; known keys are camera, cameras"},
        RefusedCase{"frames = 3\n", "1:1", "unknown key frames"},
        RefusedCase{"[gain]\n  dB = 3\n", "2:3", "unknown key gain.dB; known keys are mode"},
        RefusedCase{"camera = 3\n", "1:10", "camera is 3; expected a table"},
        RefusedCase{"[camera]\nserial = 12\n", "2:10", "expected a serial number as text"},
        RefusedCase{"[camera]\nmodel = \"a\\u0000b\"\n", "2:9", "zero character"},
        RefusedCase{"[camera]\npositions = [0, 8]\n", "2:17", "positions from 0 to 7"},
        RefusedCase{"[stream]\nbuffers = 4.0\n", "2:11", "expected 2 to 256 buffers"},
        RefusedCase{"[image]\nformat = \"mono10\"\n", "2:10", "\"mono8\", \"mono12p\""},
        RefusedCase{"[exposure]\nmode = true\n", "2:8", "one of \"manual\", \"automatic\""},
        RefusedCase{"[session]\nretry = 1\n", "2:9", "true or false"},
        // values that make no sense
        RefusedCase{"[stream]\nbuffers = 1\n", "2:11", "single buffer"},
        RefusedCase{"[image]\nrotate = 90\n", "2:10", "0 or 180 degrees"},
        RefusedCase{"[image]\nconvert = \"mono8\"\n", "2:11", "nothing fills converted frames"},
        RefusedCase{"[timing]\nfps = nan\n", "2:7", "frames per second from"},
        RefusedCase{"[timing]\nfps = -25\n", "2:7", "fps is -25"},
        RefusedCase{"[timing]\nfps = 0\n", "2:7", "fps is 0"},
        RefusedCase{"[exposure]\ntime_us = inf\n", "2:11", "microseconds"},
        RefusedCase{"[exposure]\ntime_us = 1e300\n", "2:11", "microseconds"},
        RefusedCase{"[gain]\ndb = -100.0\n", "2:6", "dB from -90"},
        RefusedCase{"[gain]\nauto_min_db = 0\n", "2:15", "needs gain.auto_max_db"},
        RefusedCase{"[gain]\nauto_min_db = 9\nauto_max_db = 3\n", "2:15", "is above auto_max_db"},
        RefusedCase{"[auto]\nbrightness = 1.5\n", "2:14", "from 0 to 1"},
        RefusedCase{"[white_balance]\nblue = 100\n", "2:8", "needs white_balance.red"},
        RefusedCase{"[white_balance]\nred = -1\n", "2:7", "takes for \"not configured\""},
        RefusedCase{"[timing]\ndrift_ns_per_s = 9999999999\n", "2:18", "nanoseconds per second"},
        RefusedCase{"[session]\nframes = 4294967296\n", "2:10", "frames from 1"},
        RefusedCase{"[session]\nretry_interval_s = nan\n", "2:20", "seconds from 0.1"},
        RefusedCase{"[memory]\nname = \"a/b\"\n", "2:8", "no name of a shared memory"},
        RefusedCase{"[export]\ndirectory = \"\"\n", "2:13", "expected a folder"},
        // regions
        RefusedCase{"[region]\noffset_x = 8\nheight = 8\n", "2:12", "needs region.width"},
        RefusedCase{"[region]\nwidth = 8\n", "2:9", "needs region.height"},
        RefusedCase{"[region]\nwidth = 8\nheight = 0\n", "3:10", "pixels from 1"},
        RefusedCase{"[region]\noffset_x = -1\nwidth = 8\nheight = 8\n", "2:12", "pixels from 0"},
        // look-up tables
        RefusedCase{"[lut]\nmode = \"table\"\n", "2:8", "there is no table"},
        RefusedCase{"[lut]\nbits = 8\nvalues = [1, 2, 3]\n", "3:10", "has 3 entries"},
        RefusedCase{"[lut]\nbits = 8\nvalues = [1, 256]\n", "3:14", "values[1] is 256"},
        RefusedCase{"[lut]\nvalues = [1, 2]\n", "2:10", "needs lut.bits"},
        RefusedCase{"[lut]\nbits = 8\n", "2:8", "needs lut.values or lut.file"},
        RefusedCase{"[lut]\nfile = \"ramp.csv\"\n", "2:8", "needs lut.bits"},
        RefusedCase{"[lut]\nbits = 8\nfile = \"\"\n", "3:8", "expected the path of a text"},
        RefusedCase{"[lut]\nbits = 8\nfile = \"ramp.txt\"\n", "3:8",
                    "can't be read: etc/ramp.txt: there is no such file"},
        RefusedCase{"[lut]\nbits = 8\nvalues = [1]\nfile = \"ramp.csv\"\n", "4:8",
                    "one of the two"},
        // IO box
        RefusedCase{"[iobox]\npin = \"Out1\"\n", "1:1", "[[iobox]]"},
        RefusedCase{"[[iobox]]\nsource = \"off\"\n", "1:1", "iobox.pin is missing"},
        RefusedCase{"[[iobox]]\npin = \"None\"\nsource = \"off\"\n", "2:7", "\"Line1\""},
        RefusedCase{"[[iobox]]\npin = \"Out1\"\nsource = \"strobe\"\nbits = 3\n", "4:8",
                    "belongs to a user output"},
        RefusedCase{"[[iobox]]\npin = \"Out1\"\nsource = \"strobe\"\nmode = \"input\"\n", "4:8",
                    "only source = \"user\""}));

TEST(Config, EveryKeyReachesItsField)
{
    std::string values;
    for (int i = 0; i < 256; ++i) {
        values += std::to_string(i * 16) + ",";
    }
    const ParsedConfig parsed = Accepted(R"(
[camera]
model = "Abc"
serial = "S1"
positions = [0, 2]
[cameras]
backends = "all"
interface = "eth1"
[stream]
packet_size = 9000
buffers = 5
[image]
format = "mono12p"
rotate = 180
[region]
offset_x = 16
offset_y = 8
width = 640
height = 480
[timing]
fps = 30
drift_ns_per_s = -20000
[exposure]
mode = "automatic"
time_us = 5000.5
auto_min_us = 10
auto_max_us = 20000
[gain]
mode = "manual"
db = 3.5
auto_min_db = 0
auto_max_db = 12
[auto]
brightness_control = true
brightness = 0.5
[white_balance]
red = 150
blue = 0
[lut]
mode = "table"
bits = 12
values = [)" + values + R"(]
[gamma]
value = 1.0
[[iobox]]
pin = "Out1"
source = "strobe"
invert = true
delay_us = 10
width_us = 100
[[iobox]]
pin = "Line2"
source = "user"
mode = "input"
timeout_us = 7
[session]
frames = 100
retry = false
retry_interval_s = 0.5
[export]
format = "raw"
directory = "out"
queue = 3
writers = 4
png_compression = 9
every_frame = true
overwrite = true
on_error = "stop"
[memory]
name = "mine"
[simulation]
network = "net.toml"
[log]
file = "x.log"
level = "trace"
)");
    EXPECT_THAT(parsed.warnings, IsEmpty());
    const Config& c = parsed.config;
    Config wanted;
    wanted.camera = {"Abc", "S1", 5};
    wanted.cameras = {true, true, "eth1"};
    wanted.stream = {9000, 5};
    wanted.image = {KvTd::kFormatMono12Packed, KvTd::kRotateTurned};
    wanted.region = {16, 8, 640, 480};
    wanted.timing = {30, -20000};
    wanted.exposure = {2, 5000.5F, 10, 20000};
    wanted.gain = {1, 3.5F, 0, 12};
    wanted.automatic = {1, 0.5F};
    wanted.whiteBalance = {150, 0};
    wanted.gamma = {1};
    wanted.iobox = {{KvTd::TD_PIN_OUT1, 1, 2, 2, {10, 100}},
                    {KvTd::TD_PIN_LINE2, 2, 5, 0, {7, KvTd::kIoboxParamUnset}}};
    wanted.session = {100, false, 0.5};
    wanted.exporting = {"raw", "out", 3, 4, 9, true, true, true};
    wanted.memory = {"/mine"};
    wanted.simulation = {"net.toml"};
    wanted.log = {"x.log", 5};
    wanted.lut = c.lut;
    EXPECT_EQ(c, wanted);
    EXPECT_EQ(c.lut.mode, 1U);
    EXPECT_EQ(c.lut.bits, 12);
    ASSERT_EQ(c.lut.values.size(), 256U);
    EXPECT_EQ(c.lut.values[255], 4080);
}

TEST(Config, EmptyTextAndEmptyTablesAreTheDefaults)
{
    EXPECT_EQ(Accepted("").config, Config());
    EXPECT_EQ(Accepted("[camera]\n[region]\n[lut]\n[export]\n[auto]\n").config, Config());
}

bool ReadFromDisk(const std::string& path, std::string* text, std::string* error)
{
    std::ostringstream content;
    const std::ifstream file(path);
    content << file.rdbuf();
    *text = content.str();
    *error = "can't be opened";
    return file.is_open();
}

/** The commented example, which shows every key. */
std::string ExampleText()
{
    std::string text;
    std::string error;
    EXPECT_TRUE(ReadFromDisk(KVGRAB_EXAMPLE, &text, &error)) << error;
    return text;
}

ParsedConfig AcceptedExample(const std::string& text)
{
    auto outcome = ParseConfig(text, KVGRAB_EXAMPLE, ReadFromDisk);
    if (const auto* error = std::get_if<ConfigError>(&outcome)) {
        ADD_FAILURE() << error->Message();
        return {};
    }
    return std::get<ParsedConfig>(std::move(outcome));
}

TEST(Config, ExampleHoldsTheDefaults)
{
    EXPECT_EQ(AcceptedExample(ExampleText()).config, Config());
}

TEST(Config, ExamplesCommentedKeysAreUsable)
{
    const std::regex commentedKey("# (\\[+[a-z]+\\]+|[a-z_]+ = ).*");
    std::istringstream lines(ExampleText());
    std::string text;
    for (std::string line; std::getline(lines, line);) {
        // Of the two keys for a table the file shows both; they exclude each other.
        const bool used = std::regex_match(line, commentedKey) && !line.starts_with("# values = ");
        text += line.substr(used ? 2 : 0) + "\n";
    }
    const ParsedConfig parsed = AcceptedExample(text);
    EXPECT_THAT(parsed.warnings, IsEmpty());
    EXPECT_EQ(parsed.config.region, (RegionConfig{640, 360, 640, 360}));
    EXPECT_EQ(parsed.config.exposure, (ExposureConfig{1, 10000, 100, 20000}));
    EXPECT_EQ(parsed.config.iobox.size(), 1U);
    EXPECT_EQ(parsed.config.whiteBalance, (WhiteBalanceConfig{150, 150}));
    EXPECT_EQ(parsed.config.lut.values.size(), 256U);
}

TEST(Config, UprightRotationIsNotTheUnsetOne)
{
    EXPECT_EQ(Accepted("[image]\nrotate = 0\n").config.image.rotate, 1);
}

TEST(Config, LutOffAsksForNoTable)
{
    std::string text = "[lut]\nmode = \"off\"\nbits = 8\nvalues = [";
    for (int i = 0; i < 256; ++i) {
        text += "1,";
    }
    const LutConfig lut = Accepted(text + "]\n").config.lut;
    EXPECT_EQ(lut.mode, 1U);
    EXPECT_THAT(lut.values, IsEmpty());
}

TEST(Config, LutComesFromAFileBesideTheConfiguration)
{
    const ParsedConfig parsed =
        Accepted("[lut]\nmode = \"table\"\nbits = 8\nfile = \"ramp.csv\"\n");
    EXPECT_THAT(parsed.warnings, IsEmpty());
    ASSERT_EQ(parsed.config.lut.values.size(), 256U);
    EXPECT_EQ(parsed.config.lut.values[255], 255);
    EXPECT_EQ(
        Refusal("[lut]\nmode = \"table\"\nbits = 7\nfile = \"ramp.csv\"\n"),
        "etc/ramp.csv:129:1: this is \"128\"; expected an entry from 0 to 127 (lut.bits is 7)");
}

TEST(Config, ValuesWithoutEffectAreWarnedOf)
{
    EXPECT_THAT(Accepted("[gain]\nmode = \"automatic\"\n[exposure]\nmode = \"manual\"\n").warnings,
                testing::ElementsAre(HasSubstr("test.toml:2:8: gain.mode is \"automatic\" while")));
    EXPECT_THAT(Accepted("[gain]\nmode = \"manual\"\n[exposure]\nmode = \"automatic\"\n").warnings,
                IsEmpty());
    const std::string table = "[lut]\nmode = \"table\"\nbits = 8\nfile = \"ramp.csv\"\n";
    EXPECT_THAT(Accepted(table + "[gamma]\nvalue = 0.5\n").warnings,
                testing::ElementsAre(HasSubstr("test.toml:6:9: gamma.value stands beside")));
    EXPECT_THAT(Accepted(table + "[gamma]\nvalue = 1.0\n").warnings, IsEmpty());
    EXPECT_THAT(Accepted("[lut]\nbits = 8\nfile = \"ramp.csv\"\n").warnings,
                testing::ElementsAre(HasSubstr("test.toml:3:8: lut.file has no effect")));
    EXPECT_THAT(
        Accepted("[exposure]\ntime_us = 100\n").warnings,
        testing::ElementsAre(HasSubstr("etc/test.toml:2:11: exposure.time_us has no effect")));
    EXPECT_THAT(Accepted("[stream]\npacket_size = 9181\n").warnings,
                testing::ElementsAre(HasSubstr("the driver uses 1500")));
    EXPECT_THAT(Accepted("[stream]\npacket_size = 9180\n").warnings, IsEmpty());
    EXPECT_THAT(Accepted("[exposure]\nmode = \"automatic\"\ntime_us = 100\n").warnings, IsEmpty());
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

TEST(CommandLine, HoldsOverTheFile)
{
    const CommandLine line({"run",        "--frames",    "7",          "--format",   "bayer8",
                            "--position", "1",           "--position", "3",          "--memory",
                            "x",          "--log-level", "error",      "--no-retry", "--no-status",
                            "--export",   "png",         "--cameras",  "net",        "--interface",
                            "10.0.0.1"});
    ASSERT_TRUE(line.goesOn) << line.err.str();
    Config config = Accepted("[session]\nframes = 1\n[camera]\nmodel = \"M\"\n").config;
    ApplyOverrides(line.options, &config);
    EXPECT_EQ(config.session.frames, 7U);
    EXPECT_FALSE(config.session.retry);
    EXPECT_EQ(config.image.format, KvTd::kFormatBayer8);
    EXPECT_EQ(config.camera, (CameraConfig{"M", "", 10}));
    EXPECT_EQ(config.cameras, (CamerasConfig{false, true, "10.0.0.1"}));
    EXPECT_EQ(config.memory.name, "/x");
    EXPECT_EQ(config.log.level, 1);
    EXPECT_EQ(config.exporting.format, "png");
    EXPECT_TRUE(line.options.noStatus);
}

TEST(CommandLine, LastOfTwoHolds)
{
    const CommandLine line(
        {"run", "--frames", "7", "--export", "png", "--frames", "3", "-e", "raw"});
    ASSERT_TRUE(line.goesOn) << line.err.str();
    EXPECT_EQ(line.options.frames, 3U);
    EXPECT_EQ(line.options.exportFormat, "raw");
}

TEST(CommandLine, ChoosesTheCommand)
{
    EXPECT_EQ(CommandLine({}).options.command, Options::Command::Run);
    EXPECT_EQ(CommandLine({"--frames", "1"}).options.command, Options::Command::Run);
    const CommandLine list({"list", "--config", "a.toml"});
    EXPECT_EQ(list.options.command, Options::Command::List);
    EXPECT_EQ(list.options.configPath, "a.toml");
    EXPECT_EQ(CommandLine({"features", "--serial", "S"}).options.command,
              Options::Command::Features);
}

TEST(CommandLine, RefusesWhatItDoesNotUnderstand)
{
    for (const std::vector<const char*>& wrong :
         std::vector<std::vector<const char*>>{{"--frame"},
                                               {"grab"},
                                               {"run", "list"},
                                               {"--frames", "-1"},
                                               {"--frames", "4294967296"},
                                               {"--buffers", "1"},
                                               {"--format", "mono9"},
                                               {"--retry-interval", "nan"},
                                               {"--retry-interval", "1e9"},
                                               {"--memory", "a/b"},
                                               {"--directory", ""},
                                               {"--cameras", "usb"},
                                               {"--position", "8"}}) {
        const CommandLine line(wrong);
        EXPECT_FALSE(line.goesOn) << wrong.front();
        EXPECT_EQ(line.status, 2) << wrong.front();
        EXPECT_THAT(line.err.str(), HasSubstr("--help")) << wrong.front();
    }
}

TEST(CommandLine, HelpComesFromAllPlaces)
{
    for (const std::vector<const char*>& asked :
         std::vector<std::vector<const char*>>{{"--help"}, {"run", "--help"}, {"list", "-h"}}) {
        const CommandLine line(asked);
        EXPECT_FALSE(line.goesOn);
        EXPECT_EQ(line.status, 0);
        EXPECT_THAT(line.out.str(), HasSubstr("Exit status:"));
        EXPECT_THAT(line.out.str(), HasSubstr("--every-frame"));
    }
}

} // namespace
