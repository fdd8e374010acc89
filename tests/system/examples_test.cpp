/** Each configuration of examples/ does what it says, without a warning, and each one of the
 * gallery shows. */
#include "tests/system/program.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>
#include <set>
#include <sstream>
#include <unistd.h>

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::HasSubstr;

namespace
{

struct Example {
    std::string name;
    std::string size;             ///< of the pictures, as the index has it
    std::vector<std::string> log; ///< what the driver says when the settings reached the camera
};

void PrintTo(const Example& example, std::ostream* out)
{
    *out << example.name;
}

std::vector<Example> AllExamples()
{
    std::vector<Example> examples;
    std::istringstream lines(ReadFile(KV_EXPECTED));
    for (std::string line; std::getline(lines, line);) {
        if (line.starts_with("| ")) {
            examples.back().log.push_back(line.substr(2));
        } else {
            std::istringstream head(line);
            head >> examples.emplace_back().name >> examples.back().size;
        }
    }
    return examples;
}

std::vector<std::string> WarningsIn(const std::string& log)
{
    static const std::regex warning("(^|\n)([^ \n]+ [EW] [^\n]*)");
    std::vector<std::string> warnings;
    for (std::sregex_iterator found(log.begin(), log.end(), warning), none; found != none;
         ++found) {
        warnings.push_back(found->str(2));
    }
    return warnings;
}

class Examples : public testing::TestWithParam<Example>
{
};

TEST_P(Examples, ReachTheCameraWithoutAWarning)
{
    const Example& example = GetParam();
    const TempFolder folder;
    Program program({KVGRAB, "--config", KV_EXAMPLES "/" + example.name + ".toml", "--frames", "4",
                     "--export", "raw", "--every-frame", "--directory", folder / "out", "--memory",
                     "/kvgrab-example-" + std::to_string(getpid()), "--no-retry"},
                    folder.Path());
    EXPECT_EQ(program.Wait(), 0) << program.Output();
    EXPECT_THAT(program.Output(), HasSubstr("grabbed 4, exported 3,"));
    if (program.Output().find(" W no real-time priority") != std::string::npos) {
        GTEST_SKIP() << "the driver's second thread may not run here";
    }
    for (const std::string& line : example.log) {
        EXPECT_THAT(program.Output(), HasSubstr(line));
    }
    EXPECT_THAT(ReadFile(folder / "out/index.csv"), HasSubstr(example.size));
    if (example.name == "kvgrab") {
        EXPECT_THAT(WarningsIn(program.Output()), ElementsAre(HasSubstr("asked Fps val -1.000000")))
            << "it sets no frame rate";
    } else {
        EXPECT_THAT(WarningsIn(program.Output()), ElementsAre());
    }
}

INSTANTIATE_TEST_SUITE_P(Configurations, Examples, testing::ValuesIn(AllExamples()),
                         [](const auto& test) { return test.param.name; });

/** The names of the configurations in a folder, but for the one that describes cameras. */
std::set<std::string> ConfigurationsIn(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& entry : fs::directory_iterator(folder)) {
        if (entry.path().extension() == ".toml" && entry.path().stem() != "network") {
            names.insert(entry.path().stem());
        }
    }
    return names;
}

TEST(ExamplesFolder, HasNoConfigurationThatIsNotRun)
{
    std::set<std::string> run;
    for (const Example& example : AllExamples()) {
        run.insert(example.name);
    }
    EXPECT_EQ(ConfigurationsIn(KV_EXAMPLES), run);
}

TEST(Gallery, EachSettingGivesAPictureOfItsOwnWithoutAWarning)
{
    const TempFolder folder;
    Program program({KV_SCRIPTS "/gallery_grab", KVGRAB, folder.Path().string()}, folder.Path());
    ASSERT_EQ(program.Wait(5 * kPatience), 0) << program.Output();
    std::map<std::string, std::string> pictures;
    for (const std::string& name : ConfigurationsIn(KV_EXAMPLES "/gallery")) {
        EXPECT_THAT(WarningsIn(ReadFile(folder / (name + ".log"))), ElementsAre()) << name;
        const std::string picture = ReadFile(folder / (name + ".png"));
        EXPECT_FALSE(picture.empty()) << name;
        const auto [other, isNew] = pictures.emplace(picture, name);
        EXPECT_TRUE(isNew) << name << " looks like " << other->second;
    }
    EXPECT_GE(pictures.size(), 10U);
}

} // namespace
