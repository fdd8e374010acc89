/** The gallery's pictures: each setting can be grabbed, and shows. */
#include "tests/system/program.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <map>
#include <regex>

namespace fs = std::filesystem;

TEST(Gallery, EachSettingGivesAPictureOfItsOwnWithoutAWarning)
{
    const TempFolder folder;
    Program program({KV_SCRIPTS "/gallery_grab", KVGRAB, folder.Path().string()}, folder.Path());
    ASSERT_EQ(program.Wait(std::chrono::seconds(150)), 0) << program.Output();

    const std::regex trouble("(^|\n)[^ \n]+ [EW] [^\n]*");
    std::map<std::string, std::string> pictures;
    for (const auto& entry : fs::directory_iterator(KV_EXAMPLES "/gallery")) {
        const std::string name = entry.path().stem();
        if (entry.path().extension() != ".toml" || name == "network") {
            continue;
        }
        const std::string log = ReadFile(folder / (name + ".log"));
        std::smatch warning;
        EXPECT_FALSE(std::regex_search(log, warning, trouble)) << name << ":" << warning.str();
        const std::string picture = ReadFile(folder / (name + ".png"));
        EXPECT_FALSE(picture.empty()) << name;
        const auto [other, isNew] = pictures.emplace(picture, name);
        EXPECT_TRUE(isNew) << name << " looks like " << other->second;
    }
    EXPECT_GE(pictures.size(), 10U);
}
