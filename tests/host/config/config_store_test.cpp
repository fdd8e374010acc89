// Reading again: what is taken over when, what is reported once, what stays valid.

#include "config/config_store.h"
#include "tests/base/text_cases.h"

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
    std::string text;
    FileStamp stamp{1, 0, 1};
    std::map<std::string, std::pair<std::string, FileStamp>> others;
    int reads = 0;
    std::int64_t nowNs = 0;
    ConfigStore store;

    explicit Store(
        std::string first, std::function<void(Config*)> overrides = [](Config*) {})
        : text(std::move(first)),
          store({"mem.toml", [this](const std::string& path) { return At(path); },
                 [this](const std::string& path, std::string* out, std::string* error) {
                     return Read(path, out, error);
                 },
                 std::move(overrides)})
    {
        store.Reload();
    }
    FileStamp At(const std::string& path) const
    {
        const auto other = others.find(path);
        return path == "mem.toml"      ? stamp
               : other != others.end() ? other->second.second
                                       : FileStamp();
    }
    bool Read(const std::string& path, std::string* out, std::string* error)
    {
        ++reads;
        if (path != "mem.toml" && !others.contains(path)) {
            *error = "not there";
            return false;
        }
        *out = path == "mem.toml" ? text : others[path].first;
        return true;
    }
    void Save(const std::string& changed)
    {
        text = changed;
        ++stamp.mtimeNs;
    }
    void Load(const std::string& changed)
    {
        Save(changed);
        store.Reload();
    }
    void SaveOther(const std::string& path, const std::string& changed)
    {
        others[path].first = changed;
        ++others[path].second.mtimeNs;
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
    std::string text = "[lut]\nmode = \"table\"\nbits = " + std::to_string(bits) + "\nvalues = [";
    for (int i = 0; i < 256; ++i) {
        text += std::to_string(entry) + ",";
    }
    return text + "]\n";
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
    const auto lut = [](const std::string& entry) {
        std::string text;
        for (int i = 0; i < 256; ++i) {
            text += entry + "\n";
        }
        return text;
    };
    const std::string named = "[lut]\nmode = \"table\"\nbits = 8\nfile = \"";
    Store file("");
    file.SaveOther("a.csv", lut("1"));
    file.SaveOther("b.csv", lut("1"));
    file.Load(named + "a.csv\"\n");
    const std::uint16_t* first = file.store.LutData();
    ASSERT_NE(first, nullptr);
    EXPECT_FALSE(file.PollAtRest().has_value());

    file.SaveOther("b.csv", lut("1"));
    EXPECT_FALSE(file.PollAtRest().has_value()) << "nobody names that file";
    file.SaveOther("a.csv", "# the same\n" + lut("0x01"));
    EXPECT_FALSE(file.PollAtRest().has_value()) << "written anew, with the same entries";
    file.Load(named + "b.csv\"\n");
    EXPECT_EQ(file.store.LutData(), first) << "another file, the same table";

    file.SaveOther("b.csv", lut("2"));
    auto news = file.PollAtRest();
    ASSERT_TRUE(news && news->adopted);
    EXPECT_THAT(news->changes.dynamic, ElementsAre("lut"));
    const std::uint16_t* second = file.store.LutData();
    EXPECT_NE(second, first);
    EXPECT_EQ(FirstEntry(second), 2);
    EXPECT_EQ(FirstEntry(first), 1);

    // A broken table is told once, and mending it is noticed, though it was never in force.
    file.SaveOther("b.csv", lut("256"));
    news = file.PollAtRest();
    ASSERT_TRUE(news.has_value());
    EXPECT_THAT(news->error, HasSubstr("b.csv:1:1: this is \"256\""));
    EXPECT_EQ(file.store.LutData(), second);
    file.SaveOther("b.csv", lut("3"));
    news = file.PollAtRest();
    ASSERT_TRUE(news && news->adopted);
    EXPECT_EQ(FirstEntry(file.store.LutData()), 3);
}

TEST(ConfigStore, WhatTheDriverForcesEndsWithTheSession)
{
    Store file("[image]\nformat = \"bayer8\"\n[stream]\nbuffers = 4\n");
    file.store.ForceFormat(2);
    file.store.ForceBuffers(3);
    file.Save(file.text + "[gamma]\nvalue = 1\n");
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
