// What the driver sets for a configuration, and what a camera makes of it.

#include "session/host_session.h"
#include "settings/settings_report.h"
#include "tests/base/text_cases.h"
#include "tests/host/session/host_under_test.h"

#include <fmt/format.h>
#include <map>
#include <sstream>

namespace
{

using namespace kvgrab;

/** Facts from lines such as "Gain RW 1 1:8" or "lutMode RW Off Off,Active". */
std::map<std::string, FeatureFacts> FactsIn(const std::string& lines)
{
    std::map<std::string, FeatureFacts> camera;
    std::istringstream in(lines);
    for (std::string line; std::getline(in, line);) {
        std::istringstream words(line);
        std::string name, mode, value, range;
        words >> name >> mode >> value >> range;
        FeatureFacts facts;
        facts.present = mode != "NI";
        facts.readable = mode.starts_with("R");
        facts.writable = mode.ends_with("W");
        facts.trouble = mode == "??" ? "no answer" : "";
        facts.text = value;
        std::istringstream entries(range);
        double min = 0, max = 0, increment = 0;
        if (std::sscanf(range.c_str(), "%lf:%lf/%lf", &min, &max, &increment) >= 2) {
            facts.min = min;
            facts.max = max;
            facts.increment = increment;
        } else {
            for (std::string entry; std::getline(entries, entry, ',');) {
                facts.entries.push_back({entry, entry == "Mono8" ? 0x01080001 : 1});
            }
        }
        facts.value = value == "Mono8" ? 0x01080001 : std::atof(value.c_str());
        camera[name] = facts;
    }
    return camera;
}

TEST(Settings, AreJudgedByWhatTheCameraSays)
{
    const std::string usual = TextOf(SETTINGS_CASES "/camera.txt");
    ExpectOutcomes(SETTINGS_CASES "/settings_cases.txt", [&usual](const std::string& text) {
        std::string toml, changed;
        std::istringstream in(text);
        std::string when;
        std::getline(in, when);
        for (std::string line; std::getline(in, line);) {
            const bool camera = line.starts_with("@ ");
            (camera ? changed : toml) += (camera ? line.substr(2) : line) + "\n";
        }
        auto facts = FactsIn(changed);
        facts.merge(FactsIn(usual));
        const auto parsed = ParseConfig(toml, "c.toml", nullptr);
        if (!std::holds_alternative<ParsedConfig>(parsed)) {
            return fmt::format("refused: {}", std::get<ConfigError>(parsed).text);
        }
        std::string outcome;
        const auto ask = [&facts](const FeatureRef& feature, Look) { return facts[feature.name]; };
        for (const JudgedSetting& judged :
             JudgeSettings(PlannedSettings(std::get<ParsedConfig>(parsed).config), ask,
                           when == "before" ? Moment::Before : Moment::After)) {
            constexpr const char* kOutcomes[] = {"in force", "settable", "not taken", "unknown"};
            const Judgement& is = judged.judgement;
            if (judged.setting.key != "image.format" || is.outcome != Judgement::Outcome::InForce) {
                outcome += fmt::format("{}{} {} {}{}{}", outcome.empty() ? "" : "; ",
                                       judged.setting.key, RequestedText(judged.setting),
                                       kOutcomes[static_cast<int>(is.outcome)],
                                       is.why.empty() ? "" : ": ", is.why);
            }
        }
        return outcome;
    });
}

/** Reported once while it lasts, counted, and forgotten when the camera has taken it. */
TEST(Settings, NotTakenAreReportedOnceAndCanEndTheRun)
{
    HostUnderTest under;
    HostSession& host = under.host;
    float exposure = 0;
    host.parts.strict = true;
    host.parts.judgeSettings = [&exposure](const Config& config) {
        auto facts = FactsIn(fmt::format("PixelFormat RW Mono8 Mono8\nExposureAuto RW Off Off\n"
                                         "ExposureTime RW {} 10:500",
                                         exposure));
        return JudgeSettings(
            PlannedSettings(config),
            [&facts](const FeatureRef& feature, Look) { return facts[feature.name]; },
            Moment::After);
    };
    const auto apply = [&](float inForce) {
        exposure = inForce;
        host.PrepareMemory(64);
        return host.settingsNotTaken.Count();
    };
    ASSERT_TRUE(under.Configure("[exposure]\nmode = \"manual\"\ntime_us = 500\n"));
    EXPECT_EQ(apply(500), 0U);
    EXPECT_FALSE(under.signals.Terminating());
    EXPECT_EQ(apply(100), 1U);
    EXPECT_TRUE(under.signals.Terminating());
    EXPECT_EQ(apply(100), 1U);
    const std::string line = "exposure.time_us = 500 us: ExposureTime is 100 us, range 10 .. 500: "
                             "the camera kept another value\n";
    EXPECT_EQ(host.settingsNotTaken.Summary(),
              fmt::format("1 setting not taken by the camera:\n  {}", line));
    const std::string log = under.logged.Content();
    EXPECT_NE(log.find(line), log.npos) << log;
    EXPECT_EQ(log.find(line), log.rfind(line)) << log;
    EXPECT_EQ(apply(500), 0U);

    host.parts.config.ForceFormat(KvTd::kFormatMono12Packed);
    EXPECT_EQ(apply(100), 0U); // in another format, for a dynamic table, nothing is judged
}

} // namespace
