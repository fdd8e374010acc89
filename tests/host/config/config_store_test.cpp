// Reading again: what is taken over when, what is reported once, what stays valid.

#include "config/config_store.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>
#include <fmt/ranges.h>
#include <gmock/gmock.h>

#include <map>

namespace
{

using namespace kvgrab;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

constexpr std::int64_t kLookNs = 500'000'000;

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
    void Load(const std::string& text)
    {
        Save(text);
        store.Reload();
    }
    /** Polls until the file has been at rest for a look. What it tells is told once. */
    std::optional<ConfigStore::Result> PollAtRest()
    {
        std::optional<ConfigStore::Result> news[4];
        for (auto& result : news) {
            result = store.Poll(nowNs += kLookNs);
        }
        EXPECT_FALSE(news[0] || news[2] || news[3]);
        return news[1];
    }
};

/** A configuration with a table of 256 equal entries. */
std::string Lut(int bits, int entry)
{
    return fmt::format("[lut]\nmode = \"table\"\nbits = {}\nvalues = [{}]\n", bits,
                       fmt::join(std::vector(256, entry), ","));
}

/** -1: there is no table. */
int FirstEntry(const std::uint16_t* table)
{
    return table != nullptr ? table[0] : -1;
}

/** What differs between the defaults and a text. */
std::string ChangesOf(const std::string& text)
{
    const auto parsed = ParseConfig(text, "", {});
    const ConfigChanges changes = Compare({}, std::get<ParsedConfig>(parsed).config);
    std::string listed;
    for (const auto& [name, list] :
         {std::pair(" dynamic: ", changes.dynamic), std::pair(" reload: ", changes.reload),
          std::pair(" new session: ", changes.newSession),
          std::pair(" restart: ", changes.restart)}) {
        listed += list.empty() ? "" : name + Listed(list);
    }
    EXPECT_TRUE(changes.Any());
    EXPECT_EQ(changes.OnlyDynamic(), listed == " dynamic: " + Listed(changes.dynamic));
    return listed.substr(1);
}

TEST(ConfigStore, ChangesAreSortedByWhatTheyTake)
{
    ExpectOutcomes(CONFIG_CASES "/change_cases.txt", ChangesOf);
}

TEST(ConfigStore, BrokenFileKeepsTheOldConfiguration)
{
    Store file("[session]\nframes = 5\n");
    file.Save("[session]\nframes = \n");
    const ConfigStore::Result result = file.store.Reload();
    EXPECT_FALSE(result.usable);
    EXPECT_THAT(result.error, HasSubstr("mem.toml:2:"));
    EXPECT_EQ(file.store.Current().session.frames, 5U);
}

TEST(ConfigStore, PollTakesDynamicChangesAndReportsOthersOnce)
{
    Store file("");
    EXPECT_FALSE(file.PollAtRest().has_value());
    file.Save("[gamma]\nvalue = 2\n");
    const auto taken = file.PollAtRest();
    ASSERT_TRUE(taken.has_value());
    EXPECT_TRUE(taken->adopted);
    EXPECT_EQ(file.store.Current().gamma.value, 2.0F);

    file.Save("[gamma]\nvalue = 3\n[timing]\nfps = 5\n");
    const auto reported = file.PollAtRest();
    ASSERT_TRUE(reported.has_value());
    EXPECT_TRUE(reported->usable);
    EXPECT_FALSE(reported->adopted);
    EXPECT_THAT(reported->changes.reload, ElementsAre("timing"));
    EXPECT_EQ(file.store.Current().gamma.value, 2.0F) << "nothing in part";

    file.Save("[gamma\n");
    const auto broken = file.PollAtRest();
    ASSERT_TRUE(broken.has_value());
    EXPECT_FALSE(broken->usable);

    // Touched, or written as it was: no news.
    file.Save("[gamma]\nvalue = 2.0\n");
    EXPECT_FALSE(file.PollAtRest().has_value());
}

TEST(ConfigStore, PollLeavesAFileAloneWhileItIsWritten)
{
    Store file("");
    const int readsBefore = file.reads;
    for (int i = 0; i < 4; ++i) {
        file.Save("[gamma]\nval");
        file.nowNs += kLookNs;
        EXPECT_FALSE(file.store.Poll(file.nowNs).has_value());
    }
    EXPECT_FALSE(file.store.Poll(file.nowNs + kLookNs - 1).has_value()) << "too early to look";
    EXPECT_EQ(file.reads, readsBefore);
}

TEST(ConfigStore, AnotherLutHasAnotherAddressAndTheOldOneLives)
{
    Store file(Lut(8, 1));
    const std::uint16_t* first = file.store.LutData();
    ASSERT_NE(first, nullptr);
    file.Load(Lut(8, 1) + "[gamma]\nvalue = 3\n");
    EXPECT_EQ(file.store.LutData(), first) << "the same table, so the driver writes nothing";

    std::vector<const std::uint16_t*> seen{first};
    for (const auto& [bits, entry] : {std::pair(8, 2), std::pair(9, 2), std::pair(8, 3)}) {
        file.Load(Lut(bits, entry));
        EXPECT_THAT(seen, testing::Not(testing::Contains(file.store.LutData())));
        seen.push_back(file.store.LutData());
    }
    EXPECT_EQ(first[255], 1);
    file.Load("");
    EXPECT_EQ(file.store.LutData(), nullptr);
    EXPECT_EQ(FirstEntry(seen[1]), 2);

    // The last table again: the driver would take the address that it knows for a loaded table.
    file.Load(Lut(8, 3));
    EXPECT_NE(file.store.LutData(), seen.back());
    EXPECT_EQ(FirstEntry(file.store.LutData()), 3);
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
    EXPECT_FALSE(file.PollAtRest().has_value());

    file.Save(lut("1"), "b.csv");
    EXPECT_FALSE(file.PollAtRest().has_value()) << "nobody names that file";
    file.Save("# the same\n" + lut("0x01"), "a.csv");
    EXPECT_FALSE(file.PollAtRest().has_value()) << "written anew, with the same entries";
    file.Load(named + "b.csv\"\n");
    EXPECT_EQ(file.store.LutData(), first) << "another file, the same table";

    file.Save(lut("2"), "b.csv");
    auto news = file.PollAtRest();
    ASSERT_TRUE(news && news->adopted);
    EXPECT_THAT(news->changes.dynamic, ElementsAre("lut"));
    const std::uint16_t* second = file.store.LutData();
    EXPECT_NE(second, first);
    EXPECT_EQ(FirstEntry(second), 2);
    EXPECT_EQ(FirstEntry(first), 1);

    // A broken table is told once, and mending it is noticed, though it was never in force.
    file.Save(lut("256"), "b.csv");
    news = file.PollAtRest();
    ASSERT_TRUE(news.has_value());
    EXPECT_THAT(news->error, HasSubstr("b.csv:1:1: this is \"256\""));
    EXPECT_EQ(file.store.LutData(), second);
    file.Save(lut("3"), "b.csv");
    news = file.PollAtRest();
    ASSERT_TRUE(news && news->adopted);
    EXPECT_EQ(FirstEntry(file.store.LutData()), 3);
}

TEST(ConfigStore, WhatTheDriverForcesEndsWithTheSession)
{
    const std::string text = "[image]\nformat = \"bayer8\"\n[stream]\nbuffers = 4\n";
    Store file(text);
    file.store.ForceFormat(2);
    file.store.ForceBuffers(3);
    file.Save(text + "[gamma]\nvalue = 1\n");
    EXPECT_THAT(file.store.Reload().changes.newSession, IsEmpty())
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
    file.Save("[session]\nframes = 6\n");
    EXPECT_FALSE(file.store.Reload().changes.Any());
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
