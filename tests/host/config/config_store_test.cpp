// Reading again: what is taken over when, what is reported once, what stays valid.

#include "config/config_store.h"

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
    ConfigStore store{ConfigSource{"mem.toml", [this](const std::string& path) { return At(path); },
                                   [this](const std::string& path, std::string* out,
                                          std::string* error) { return Read(path, out, error); },
                                   [](Config*) {}}};

    explicit Store(std::string first) : text(std::move(first)) { store.Reload(); }
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
    void SaveOther(const std::string& path, const std::string& changed)
    {
        others[path].first = changed;
        ++others[path].second.mtimeNs;
    }
    /** Polls until the file has been at rest for a look. */
    std::optional<ConfigStore::Result> PollAtRest()
    {
        nowNs += kLookNs;
        EXPECT_FALSE(store.Poll(nowNs).has_value());
        nowNs += kLookNs;
        return store.Poll(nowNs);
    }
};

/** -1: there is no table. */
int FirstEntry(const std::uint16_t* table)
{
    return table != nullptr ? table[0] : -1;
}

struct ChangeCase {
    const char* before;
    const char* after;
    std::vector<std::string> ConfigChanges::*list;
    const char* name;
};

class Changes : public testing::TestWithParam<ChangeCase>
{
};

TEST_P(Changes, AreSortedByWhatTheyTake)
{
    const auto parse = [](const std::string& text) {
        return std::get<ParsedConfig>(ParseConfig(text, "", {})).config;
    };
    const ChangeCase& change = GetParam();
    const ConfigChanges changes = Compare(parse(change.before), parse(change.after));
    EXPECT_THAT(changes.*change.list, ElementsAre(change.name));
    EXPECT_EQ(changes.dynamic.size() + changes.reload.size() + changes.newSession.size() +
                  changes.restart.size(),
              1U);
    EXPECT_EQ(changes.OnlyDynamic(), change.list == &ConfigChanges::dynamic);
}

constexpr auto kDynamic = &ConfigChanges::dynamic;
constexpr auto kReload = &ConfigChanges::reload;
constexpr auto kNewSession = &ConfigChanges::newSession;
constexpr auto kRestart = &ConfigChanges::restart;
INSTANTIATE_TEST_SUITE_P(
    ConfigStore, Changes,
    testing::Values(
        ChangeCase{"[exposure]\ntime_us = 1", "[exposure]\ntime_us = 2", kDynamic, "exposure"},
        ChangeCase{"", "[gain]\ndb = 2", kDynamic, "gain"},
        ChangeCase{"", "[auto]\nbrightness = 0.5", kDynamic, "auto"},
        ChangeCase{"", "[white_balance]\nred = 5", kDynamic, "white_balance"},
        ChangeCase{"", "[lut]\nmode = \"off\"", kDynamic, "lut"},
        ChangeCase{"", "[gamma]\nvalue = 1", kDynamic, "gamma"},
        ChangeCase{"", "[[iobox]]\npin = \"Out1\"\nsource = \"off\"", kDynamic, "iobox"},
        ChangeCase{"", "[region]\nwidth = 8\nheight = 8", kReload, "region"},
        ChangeCase{"", "[timing]\nfps = 8", kReload, "timing"},
        ChangeCase{"", "[image]\nrotate = 180", kReload, "image.rotate"},
        ChangeCase{"", "[log]\nlevel = \"error\"", kReload, "log.level"},
        ChangeCase{"", "[image]\nformat = \"mono12\"", kNewSession, "image.format"},
        ChangeCase{"", "[stream]\nbuffers = 3", kNewSession, "stream"},
        ChangeCase{"", "[stream]\npacket_size = 9000", kNewSession, "stream"},
        ChangeCase{"", "[camera]\nmodel = \"a\"", kNewSession, "camera"},
        ChangeCase{"", "[camera]\nserial = \"a\"", kNewSession, "camera"},
        ChangeCase{"", "[camera]\npositions = [1]", kNewSession, "camera"},
        ChangeCase{"", "[session]\nframes = 1", kNewSession, "session.frames"},
        ChangeCase{"", "[export]\nformat = \"png\"", kRestart, "export"},
        ChangeCase{"", "[memory]\nname = \"a\"", kRestart, "memory"},
        ChangeCase{"", "[log]\nfile = \"a\"", kRestart, "log.file"}));

TEST(ConfigStore, BrokenFileKeepsTheOldConfiguration)
{
    Store file("[session]\nframes = 5\n");
    file.Save("[session]\nframes = \n");
    const ConfigStore::Result result = file.store.Reload();
    EXPECT_FALSE(result.usable);
    EXPECT_THAT(result.error, HasSubstr("mem.toml:2:"));
    EXPECT_EQ(file.store.Current().session.frames, 5U);
}

TEST(ConfigStore, PollTakesADynamicChangeOnce)
{
    Store file("");
    EXPECT_FALSE(file.PollAtRest().has_value());
    file.Save("[gamma]\nvalue = 2\n");
    const auto news = file.PollAtRest();
    ASSERT_TRUE(news.has_value());
    EXPECT_TRUE(news->adopted);
    EXPECT_EQ(file.store.Current().gamma.value, 2.0F);
    EXPECT_FALSE(file.PollAtRest().has_value());
}

TEST(ConfigStore, PollReportsOnceWhatItCannotTake)
{
    Store file("");
    file.Save("[gamma]\nvalue = 2\n[timing]\nfps = 5\n");
    const auto news = file.PollAtRest();
    ASSERT_TRUE(news.has_value());
    EXPECT_TRUE(news->usable);
    EXPECT_FALSE(news->adopted);
    EXPECT_THAT(news->changes.reload, ElementsAre("timing"));
    EXPECT_EQ(file.store.Current().gamma.value, KvTd::kGammaUnset) << "nothing in part";
    EXPECT_FALSE(file.PollAtRest().has_value());

    file.Save("[gamma\n");
    const auto broken = file.PollAtRest();
    ASSERT_TRUE(broken.has_value());
    EXPECT_FALSE(broken->usable);
    EXPECT_FALSE(file.PollAtRest().has_value());

    // Touched, or written as it was: no news.
    file.Save("# nothing\n");
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
    const auto lut = [](int bits, int fill) {
        std::string text =
            "[lut]\nmode = \"table\"\nbits = " + std::to_string(bits) + "\nvalues = [";
        for (int i = 0; i < 300; ++i) {
            text += std::to_string(fill) + ",";
        }
        return text + "]\n";
    };
    Store file(lut(8, 1));
    const std::uint16_t* first = file.store.LutData();
    ASSERT_NE(first, nullptr);

    file.Save(lut(8, 1) + "[gamma]\nvalue = 3\n");
    file.store.Reload();
    EXPECT_EQ(file.store.LutData(), first) << "the same table, so the driver writes nothing";

    std::vector<const std::uint16_t*> seen{first};
    for (const auto& [bits, fill] : {std::pair(8, 2), std::pair(9, 2), std::pair(8, 3)}) {
        file.Save(lut(bits, fill));
        file.store.Reload();
        EXPECT_THAT(seen, testing::Not(testing::Contains(file.store.LutData())));
        seen.push_back(file.store.LutData());
    }
    EXPECT_EQ(first[299], 1);
    file.Save("");
    file.store.Reload();
    EXPECT_EQ(file.store.LutData(), nullptr);
    EXPECT_EQ(FirstEntry(seen[1]), 2);

    // The last table again: the driver would take the address that it knows for a loaded table.
    file.Save(lut(8, 3));
    file.store.Reload();
    const std::uint16_t* again = file.store.LutData();
    EXPECT_NE(again, seen.back());
    EXPECT_EQ(FirstEntry(again), 3);
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
    file.Save(named + "a.csv\"\n");
    ASSERT_TRUE(file.store.Reload().adopted);
    const std::uint16_t* first = file.store.LutData();
    ASSERT_NE(first, nullptr);
    EXPECT_FALSE(file.PollAtRest().has_value());

    file.SaveOther("b.csv", lut("1"));
    EXPECT_FALSE(file.PollAtRest().has_value()) << "nobody names that file";
    file.SaveOther("a.csv", "# the same\n" + lut("0x01"));
    EXPECT_FALSE(file.PollAtRest().has_value()) << "written anew, with the same entries";
    file.Save(named + "b.csv\"\n");
    ASSERT_TRUE(file.store.Reload().adopted);
    EXPECT_EQ(file.store.LutData(), first) << "another file, the same table";

    file.SaveOther("b.csv", lut("2"));
    auto news = file.PollAtRest();
    ASSERT_TRUE(news.has_value());
    EXPECT_TRUE(news->adopted);
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
    EXPECT_FALSE(file.PollAtRest().has_value());
    file.SaveOther("b.csv", lut("3"));
    news = file.PollAtRest();
    ASSERT_TRUE(news.has_value() && news->adopted);
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

TEST(ConfigStore, CommandLineHoldsAlsoWhenReadAgain)
{
    std::string text = "[session]\nframes = 5\n";
    ConfigStore store({"f",
                       [](const std::string&) {
                           return FileStamp{1, 1, 1};
                       },
                       [&text](const std::string&, std::string* out, std::string*) {
                           *out = text;
                           return true;
                       },
                       [](Config* config) { config->session.frames = 9; }});
    store.Reload();
    text = "[session]\nframes = 6\n";
    EXPECT_FALSE(store.Reload().changes.Any());
    EXPECT_EQ(store.Current().session.frames, 9U);
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
