// Reloads: which changes are applied when, what is reported once, and what stays in force.

#include "config/config_store.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <map>

namespace
{

using namespace kvgrab;
using testing::HasSubstr;

constexpr std::int64_t kLookNs = 500'000'000;

/** " dynamic: gain, gamma restart: log.file" */
std::string Sorted(const ConfigChanges& changes)
{
    std::string listed;
    for (const auto& [name, list] :
         {std::pair("dynamic", changes.dynamic), std::pair("reload", changes.reload),
          std::pair("new session", changes.newSession), std::pair("restart", changes.restart)}) {
        listed += list.empty() ? "" : fmt::format(" {}: {}", name, Listed(list));
    }
    EXPECT_EQ(changes.Any(), !listed.empty());
    EXPECT_EQ(changes.OnlyDynamic(), listed == " dynamic: " + Listed(changes.dynamic));
    return listed;
}

/** A configuration file in memory, and others that it may name. */
struct Store {
    std::map<std::string, std::pair<std::string, FileStamp>> files;
    int reads = 0;
    std::int64_t nowNs = 0;
    ConfigStore store;

    explicit Store(
        const std::string& text, std::function<void(Config*)> overrides = [](Config*) {})
        : store({"mem.toml", [this](const std::string& path) { return files[path].second; },
                 [this](const std::string& path, std::string* out, std::string*) {
                     ++reads;
                     *out = files[path].first;
                     return true;
                 },
                 std::move(overrides)})
    {
        Load(text);
    }
    void Save(const std::string& text, const std::string& path = "mem.toml")
    {
        files[path].first = text;
        ++files[path].second.mtimeNs;
    }
    std::string Load(const std::string& text)
    {
        Save(text);
        return Told(store.Reload());
    }
    static std::string Told(const ConfigStore::Result& result)
    {
        const char* const outcome = result.adopted ? "adopted" : "left";
        return result.usable ? outcome + Sorted(result.changes) : result.error;
    }
    /** What polls tell once the files have been at rest for a look; it is told once. */
    std::string Poll()
    {
        std::string told[4];
        for (std::string& text : told) {
            const auto result = store.Poll(nowNs += kLookNs);
            text = result ? Told(*result) : "";
        }
        EXPECT_EQ(told[0] + told[2] + told[3], "");
        return told[1];
    }
    /** -1: there is no table. */
    int FirstEntry() const { return store.LutData() != nullptr ? store.LutData()[0] : -1; }
};

/** A configuration with a table of 256 equal entries. */
std::string Lut(int bits, int entry)
{
    return fmt::format("[lut]\nmode = \"table\"\nbits = {}\nvalues = [{}]\n", bits,
                       fmt::join(std::vector(256, entry), ","));
}

TEST(ConfigStore, ChangesAreSortedByWhatTheyTake)
{
    ExpectOutcomes(CONFIG_CASES "/change_cases.txt", [](const std::string& text) {
        const auto parsed = ParseConfig(text, "", {});
        return Sorted(Compare({}, std::get<ParsedConfig>(parsed).config)).substr(1);
    });
}

TEST(ConfigStore, PollTakesDynamicChangesAndReportsOthersOnce)
{
    Store file("");
    EXPECT_EQ(file.Poll(), "");
    file.Save("[gamma]\nvalue = 2\n");
    EXPECT_EQ(file.Poll(), "adopted dynamic: gamma");
    EXPECT_EQ(file.store.Current().gamma.value, 2.0F);
    file.Save("[gamma]\nvalue = 3\n[timing]\nfps = 5\n");
    EXPECT_EQ(file.Poll(), "left dynamic: gamma reload: timing");
    file.Save("[gamma\n");
    EXPECT_THAT(file.Poll(), HasSubstr("mem.toml:1:"));
    EXPECT_THAT(file.Load("[gamma\n"), HasSubstr("mem.toml:1:"));
    EXPECT_EQ(file.store.Current().gamma.value, 2.0F) << "nothing in part, nothing broken";
    // Touched, or written as it was: no news.
    file.Save("[gamma]\nvalue = 2.0\n");
    EXPECT_EQ(file.Poll(), "");
}

TEST(ConfigStore, PollLeavesAFileAloneWhileItIsWritten)
{
    Store file("");
    const int readsBefore = file.reads;
    for (int i = 0; i < 4; ++i) {
        file.Save("[gamma]\nval");
        EXPECT_FALSE(file.store.Poll(file.nowNs += kLookNs).has_value());
    }
    EXPECT_FALSE(file.store.Poll(file.nowNs + kLookNs - 1).has_value()) << "too early to look";
    EXPECT_EQ(file.reads, readsBefore);
}

TEST(ConfigStore, AnotherLutHasAnotherAddressAndTheOldOneLives)
{
    Store file(Lut(8, 1));
    std::vector<const std::uint16_t*> seen{file.store.LutData()};
    ASSERT_NE(seen[0], nullptr);
    file.Load(Lut(8, 1) + "[gamma]\nvalue = 3\n");
    EXPECT_EQ(file.store.LutData(), seen[0]) << "the same table, so the driver writes nothing";
    for (const auto& [bits, entry] : {std::pair(8, 2), std::pair(9, 2), std::pair(8, 3)}) {
        file.Load(Lut(bits, entry));
        EXPECT_THAT(seen, testing::Not(testing::Contains(file.store.LutData())));
        seen.push_back(file.store.LutData());
    }
    file.Load("");
    EXPECT_EQ(file.store.LutData(), nullptr);
    EXPECT_EQ(seen[0][255], 1);
    EXPECT_EQ(seen[1][0], 2);
    // The last table again: the driver would take the address that it knows for a loaded table.
    file.Load(Lut(8, 3));
    EXPECT_NE(file.store.LutData(), seen.back());
    EXPECT_EQ(file.FirstEntry(), 3);
}

TEST(ConfigStore, TheFileOfALutCountsAsThePartOfTheConfigurationThatItIs)
{
    const auto lut = [](const char* entry) {
        return fmt::format("{}\n", fmt::join(std::vector(256, entry), "\n"));
    };
    const std::string named = "[lut]\nmode = \"table\"\nbits = 8\nfile = \"";
    Store file("");
    file.Save(lut("1"), "a.csv");
    file.Save(lut("1"), "b.csv");
    file.Load(named + "a.csv\"\n");
    const std::uint16_t* first = file.store.LutData();
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(file.Poll(), "");
    file.Save(lut("1"), "b.csv");
    EXPECT_EQ(file.Poll(), "") << "nobody names that file";
    file.Save("# the same\n" + lut("0x01"), "a.csv");
    EXPECT_EQ(file.Poll(), "") << "written anew, with the same entries";
    file.Load(named + "b.csv\"\n");
    EXPECT_EQ(file.store.LutData(), first) << "another file, the same table";

    file.Save(lut("2"), "b.csv");
    EXPECT_EQ(file.Poll(), "adopted dynamic: lut");
    EXPECT_EQ(file.FirstEntry(), 2);
    EXPECT_EQ(first[0], 1);
    // A broken table is told once, and mending it is noticed, though it was never in force.
    file.Save(lut("256"), "b.csv");
    EXPECT_THAT(file.Poll(), HasSubstr("b.csv:1:1: this is \"256\""));
    EXPECT_EQ(file.FirstEntry(), 2);
    file.Save(lut("3"), "b.csv");
    EXPECT_EQ(file.Poll(), "adopted dynamic: lut");
    EXPECT_EQ(file.FirstEntry(), 3);
}

TEST(ConfigStore, WhatTheDriverForcesEndsWithTheSession)
{
    const std::string text = "[image]\nformat = \"bayer8\"\n[stream]\nbuffers = 4\n";
    Store file(text);
    file.store.ForceFormat(2);
    file.store.ForceBuffers(3);
    EXPECT_EQ(file.Load(text + "[gamma]\nvalue = 1\n"), "adopted dynamic: gamma")
        << "only configured values are compared";
    EXPECT_EQ(file.store.Format(), 2U);
    EXPECT_EQ(file.store.Buffers(), 3U);
    file.store.DropForced();
    EXPECT_EQ(file.store.Format(), 9U);
    EXPECT_EQ(file.store.Buffers(), 4U);
}

TEST(ConfigStore, CommandLineOverridesAlsoWhenReadAgain)
{
    Store file("[session]\nframes = 5\n", [](Config* config) { config->session.frames = 9; });
    EXPECT_EQ(file.Load("[session]\nframes = 6\n"), "adopted");
    EXPECT_EQ(file.store.Current().session.frames, 9U);
}

TEST(ConfigStore, AFileThatIsNoneIsRefused)
{
    for (const char* path : {"/nonexistent/kvgrab.toml", "/", "/dev/zero"}) {
        ConfigStore store(FileSource(path, [](Config*) {}));
        const ConfigStore::Result result = store.Reload();
        EXPECT_FALSE(result.usable) << path;
        EXPECT_THAT(result.error, HasSubstr(path));
    }
}

} // namespace
