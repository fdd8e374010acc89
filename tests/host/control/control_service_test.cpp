// The methods of the control socket, and kvgrab ctl: lines in, lines out.

#include "config/config_text.h"
#include "control/control_service.h"
#include "control/ctl_request.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>

#include <sstream>

namespace
{

using namespace kvgrab;

Config Parsed(const std::string& text)
{
    auto outcome = ParseConfig(
        text, "f.toml", [](const std::string&, std::string*, std::string*) { return false; });
    const auto* const error = std::get_if<ConfigError>(&outcome);
    EXPECT_EQ(error, nullptr) << (error == nullptr ? "" : error->Message());
    return error == nullptr ? std::get<ParsedConfig>(outcome).config : Config();
}

/** A run with a camera that has the feature Width, and takes from 1 to 9 for it. */
struct RunUnderTest {
    RunUnderTest()
    {
        desk.SetConfig(Parsed("[exposure]\nmode = \"manual\"\ntime_us = 100\n"));
        desk.SetState(RunState::Grabbing, "it grabs");
        desk.SetCamera({"Dalsa", "M1", "S\xff", "1.0"});
        RunCounts counts;
        counts.grabbed = 7;
        counts.takenBack = 8;
        counts.requested = 9;
        counts.rate = 5;
        counts.transfers = {1, 1, 2, 3};
        desk.SetCounts(counts);
    }

    std::string width = "5";
    std::string events; ///< what else happened
    bool full = false;
    ControlDesk desk;
    ControlService service{
        {.desk = desk,
         .facts = {"1.2.3", 42, "f.toml", "/m"},
         .features = {.get =
                          [this](const FeatureName& name) {
                              if (name.feature == "Gone") {
                                  throw RpcFailure{RpcCode::NoCamera, "no camera is grabbing"};
                              }
                              if (name.feature != "Width") {
                                  throw RpcFailure{RpcCode::Refused, "there is no such feature"};
                              }
                              return width;
                          },
                      .set =
                          [this](const FeatureSetting& setting) {
                              if (setting.value.size() != 1) {
                                  throw RpcFailure{RpcCode::Refused, "from 1 to 9"};
                              }
                              return width = setting.value;
                          },
                      .execute = [this](const std::string& what) { events += " " + what; }},
         .exported =
             [] {
                 return ExportCounters{4, 5, 6};
             },
         .runtimeS = [] { return 1.5; },
         .raise = [this](int signal) { events += fmt::format(" signal {}", signal); },
         .later =
             [this](const std::function<void()>& task) {
                 if (!full) {
                     task();
                 }
                 return !full;
             },
         .write =
             [this](const std::string& path, const std::string&, bool replace, std::string* error) {
                 *error = "there is one";
                 events += " " + path;
                 return replace;
             }}};
};

/** What a line does: "CHANGES | " for what is asked of the grab thread, "EVENTS | " for the rest,
 *  and the answers. A case that begins with "ctl" is a command line of kvgrab ctl. */
std::string Outcome(std::string text)
{
    text.pop_back();
    RunUnderTest run;
    std::string action;
    if (text.starts_with("ctl")) {
        std::istringstream words(text.substr(3));
        const std::vector<std::string> arguments(std::istream_iterator<std::string>(words), {});
        std::string error;
        if (!CtlRequest(arguments, false, &text, &error)) {
            return error;
        }
        text.pop_back();
        action = arguments[0];
    }
    run.full = text.starts_with("full ");
    std::string answer;
    run.service.Handle(
        text.substr(run.full ? 5 : 0),
        {.answer = [&answer](const std::string& line) { answer += line; },
         .subscribe =
             [&run](bool wanted) { run.events += wanted ? " subscribe" : " unsubscribe"; }});
    std::string said;
    if (const auto change = run.desk.TakeChange()) {
        said =
            fmt::format("{} us, {} dB | ", change->wanted.exposure.timeUs, change->wanted.gain.db);
    }
    said += run.events.empty() ? "" : run.events.substr(1) + " | ";
    if (!action.empty()) {
        const CtlText shown = TextOfAnswer(action, nlohmann::json::parse(answer));
        answer = shown.out;
        for (const std::string& complaint : shown.complaints) {
            answer += "! " + complaint + "\n";
        }
        answer += fmt::format("{}\n", static_cast<int>(shown.status));
    }
    for (std::size_t at; (at = answer.find('\n')) != std::string::npos;) {
        answer.replace(at, 1, at + 1 == answer.size() ? "" : " / ");
    }
    return said + (answer.empty() ? "no answer" : answer);
}

TEST(ControlService, AnswersEachLine)
{
    ExpectOutcomes(CONTROL_CASES "/control_cases.txt", Outcome);
}

TEST(ConfigText, IsReadAsTheSameConfiguration)
{
    const Config every = Parsed(TextOf(CONFIG_CASES "/every_key.toml"));
    EXPECT_EQ(Parsed(ConfigText(every)), every);
    EXPECT_EQ(Parsed(ConfigText(Config())), Config());
}

} // namespace
