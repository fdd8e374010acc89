#include "control/control_service.h"

#include "base/printable.h"
#include "config/config_text.h"

#include <csignal>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>
#include <set>

namespace kvgrab
{

using nlohmann::json;

namespace
{

constexpr std::string_view kLevels[] = {"error", "warning", "info", "detail", "trace"};

[[noreturn]] void RefuseParams(std::string why)
{
    throw RpcFailure{RpcCode::InvalidParams, std::move(why)};
}

/** The only members that the parameters may have. */
void TakeOnly(const json& params, const std::set<std::string>& names)
{
    if (!params.is_object()) {
        RefuseParams("params is an object");
    }
    for (const auto& entry : params.items()) {
        if (!names.contains(entry.key())) {
            RefuseParams(fmt::format(
                "{} is no parameter of this method; it has {}", base::Quoted(entry.key()),
                names.empty() ? "none" : fmt::format("{}", fmt::join(names, ", "))));
        }
    }
}

std::string TextParam(const json& params, const char* name, const char* expected)
{
    const auto found = params.find(name);
    if (found == params.end() || !found->is_string()) {
        RefuseParams(fmt::format("{} is needed: {}", name, expected));
    }
    return found->get<std::string>();
}

std::vector<std::string> TextsParam(const json& params, const char* name, const char* expected)
{
    const auto found = params.find(name);
    const bool texts = found != params.end() && found->is_array() && !found->empty() &&
                       std::all_of(found->begin(), found->end(),
                                   [](const json& each) { return each.is_string(); });
    if (!texts) {
        RefuseParams(fmt::format("{} is needed: {}", name, expected));
    }
    return found->get<std::vector<std::string>>();
}

json CameraJson(const CameraNames& camera)
{
    if (camera.model.empty() && camera.serial.empty()) {
        return nullptr;
    }
    return {{"manufacturer", camera.manufacturer},
            {"model", camera.model},
            {"serial", camera.serial},
            {"version", camera.version}};
}

} // namespace

json ControlService::Status() const
{
    const RunStatus run = parts_.desk.Status();
    const RunCounts& counts = run.counts;
    const TransferCounts& transfers = counts.transfers;
    const ExportCounters exported = parts_.exported();
    return {{"version", parts_.facts.version},
            {"pid", parts_.facts.pid},
            {"configuration", parts_.facts.configPath},
            {"memory", parts_.facts.memoryName},
            {"state", WordFor(run.state)},
            {"sentence", run.sentence},
            {"camera", CameraJson(run.camera)},
            {"runtime_s", parts_.runtimeS()},
            {"frames", {{"grabbed", counts.grabbed}, {"requested", counts.requested}}},
            {"rate", counts.rate},
            {"pictures",
             {{"exported", exported.exported},
              {"skipped", exported.skipped},
              {"failed", exported.failed}}},
            {"dropped",
             {{"total", transfers.Dropped()},
              {"lost", transfers.lost},
              {"incomplete", transfers.incomplete},
              {"without_buffer", transfers.underruns}}},
            {"packets",
             {{"received", transfers.packetsReceived},
              {"resent", transfers.packetsResent},
              {"missing", transfers.packetsMissing}}},
            {"exposure_us", counts.exposureUs},
            {"gain_db", counts.gainDb},
            {"temperature", counts.temperature ? json(*counts.temperature) : json()},
            {"frame_bytes", counts.frameBytes},
            {"settings_not_taken", run.settingsNotTaken},
            {"taken_back", counts.takenBack}};
}

std::string ControlService::StatusEvent() const
{
    return NotificationLine("event", {{"kind", "status"}, {"status", Status()}});
}

std::string ControlService::StateEvent(const RunStatus& status)
{
    return NotificationLine("event", {{"kind", "state"},
                                      {"state", WordFor(status.state)},
                                      {"sentence", status.sentence},
                                      {"camera", CameraJson(status.camera)}});
}

std::string ControlService::LogEvent(int level, std::string_view text)
{
    const auto index = static_cast<std::size_t>(std::clamp(level, 1, 5) - 1);
    return NotificationLine("event", {{"kind", "log"}, {"level", kLevels[index]}, {"text", text}});
}

std::string ControlService::MissedEvent(std::uint64_t missed)
{
    return NotificationLine("event", {{"kind", "missed"}, {"events", missed}});
}

std::string ControlService::Configuration() const
{
    const auto inForce = parts_.desk.ConfigWithChanges();
    Config config = inForce == nullptr ? Config() : *inForce;
    if (!config.simulation.network.empty()) {
        // In a file its path is relative to that file, and nobody knows where this text will be.
        config.simulation.network =
            std::filesystem::absolute(
                FromConfigFolder(config.simulation.network, parts_.facts.configPath))
                .string();
    }
    return ConfigText(config);
}

json ControlService::Change(const json& params) const
{
    if (!params.is_object() || params.empty()) {
        RefuseParams(
            "params is an object of keys and values, such as {\"exposure.time_us\": 5000}");
    }
    const auto before = parts_.desk.ConfigWithChanges();
    ChangedConfig changed;
    std::string error;
    if (before == nullptr || !ChangeConfig(*before, params, &changed, &error)) {
        throw RpcFailure{RpcCode::Refused, error};
    }
    const auto refuse = [](const std::vector<std::string>& names, const char* when) {
        if (!names.empty()) {
            throw RpcFailure{
                RpcCode::Refused,
                fmt::format(
                    "{} is not applied while grabbing: change the configuration file, and {}",
                    Listed(names), when)};
        }
    };
    refuse(changed.changes.reload, "then reload");
    refuse(changed.changes.newSession, "then reload, which begins a new "
                                       "device session");
    refuse(changed.changes.restart, "then start kvgrab again");
    if (!DrivesOutputLines(*before) && DrivesOutputLines(changed.config)) {
        throw RpcFailure{
            RpcCode::Refused,
            "the first output line needs a new device session, in which the camera's "
            "lines are checked: write it into the configuration file, and then reload"};
    }
    if (!changed.changes.dynamic.empty()) {
        parts_.desk.Ask(changed.config, changed.changes);
    }
    return {{"changes", changed.changes.dynamic}, {"warnings", changed.warnings}};
}

std::function<json()> ControlService::GetWork(const json& params) const
{
    TakeOnly(params, {"features"});
    std::vector<FeatureName> names;
    for (const std::string& text :
         TextsParam(params, "features", "an array of names such as Width or Gain[DigitalAll]")) {
        const auto name = ParseFeatureName(text);
        if (!name) {
            RefuseParams(fmt::format("{} names no feature; expected a name such as Width or "
                                     "Gain[DigitalAll]",
                                     base::Quoted(text)));
        }
        names.push_back(*name);
    }
    return [this, names] {
        json values = json::array();
        for (const FeatureName& name : names) {
            json row = {{"feature", name.Text()}};
            try {
                row["value"] = parts_.features.get(name);
            } catch (const RpcFailure& failure) {
                if (failure.code != RpcCode::Refused) {
                    throw;
                }
                row["error"] = failure.message;
            }
            values.push_back(std::move(row));
        }
        return values;
    };
}

std::function<json()> ControlService::SetWork(const json& params) const
{
    TakeOnly(params, {"settings"});
    std::vector<FeatureSetting> settings;
    for (const std::string& text :
         TextsParam(params, "settings", "an array of settings such as Width=640")) {
        const auto setting = ParseSetting(text);
        if (!setting || text.find('\0') != std::string::npos) {
            RefuseParams(fmt::format("{} is no setting; expected FEATURE=VALUE, such as Width=640 "
                                     "or Gain[DigitalAll]=2",
                                     base::Quoted(text)));
        }
        settings.push_back(*setting);
    }
    return [this, settings] {
        json done = json::array();
        for (const FeatureSetting& setting : settings) {
            try {
                const std::string value = parts_.features.set(setting);
                done.push_back({{"feature", setting.name.Text()}, {"value", value}});
            } catch (RpcFailure& failure) {
                failure.data = {{"set", done}};
                throw;
            }
        }
        return done;
    };
}

std::function<json()> ControlService::ExecuteWork(const json& params) const
{
    TakeOnly(params, {"command"});
    const std::string command =
        TextParam(params, "command", "the name of a command, such as TriggerSoftware");
    const auto name = ParseFeatureName(command);
    if (!name || !name->selected.empty()) {
        RefuseParams(fmt::format("{} names no command; expected a name such as TriggerSoftware",
                                 base::Quoted(command)));
    }
    return [this, command]() -> json {
        parts_.features.execute(command);
        return {{"executed", command}};
    };
}

std::function<json()> ControlService::SaveWork(const json& params) const
{
    TakeOnly(params, {"path", "replace"});
    const std::string path = TextParam(params, "path", "the file to write, as an absolute path");
    if (!path.starts_with('/') || path.find('\0') != std::string::npos) {
        RefuseParams("path is an absolute path");
    }
    const json replace = params.value("replace", json(false));
    if (!replace.is_boolean()) {
        RefuseParams("replace is true or false");
    }
    return [this, path, replaces = replace.get<bool>(), text = Configuration()]() -> json {
        std::string error;
        if (!parts_.write(path, text, replaces, &error)) {
            throw RpcFailure{RpcCode::NotWritten, fmt::format("can't write {}: {}", path, error)};
        }
        return {{"path", path}, {"bytes", text.size()}};
    };
}

std::function<json()> ControlService::LongWork(const RpcRequest& request) const
{
    constexpr struct {
        std::string_view method;
        std::function<json()> (ControlService::*work)(const json&) const;
    } kLong[] = {
        {"get", &ControlService::GetWork},
        {"set", &ControlService::SetWork},
        {"execute", &ControlService::ExecuteWork},
        {"save", &ControlService::SaveWork},
    };
    for (const auto& row : kLong) {
        if (request.method == row.method) {
            return (this->*row.work)(request.params);
        }
    }
    return {};
}

json ControlService::Do(const RpcRequest& request, const Asker& asker) const
{
    constexpr struct {
        std::string_view method;
        int signal;
    } kSignals[] = {{"reload", SIGHUP}, {"usr1", SIGUSR1}, {"usr2", SIGUSR2}, {"stop", SIGTERM}};
    if (request.method == "change") {
        return Change(request.params);
    }
    const auto alone = [&](std::string_view method) {
        if (request.method != method) {
            return false;
        }
        if (!request.params.empty()) {
            RefuseParams("this method has no parameters");
        }
        return true;
    };
    if (alone("status")) {
        return Status();
    }
    if (alone("configuration")) {
        return {{"toml", Configuration()}};
    }
    for (const bool wanted : {true, false}) {
        if (alone(wanted ? "subscribe" : "unsubscribe")) {
            asker.subscribe(wanted);
            return {{"subscribed", wanted}};
        }
    }
    for (const auto& row : kSignals) {
        if (alone(row.method)) {
            parts_.raise(row.signal);
            return json::object();
        }
    }
    throw RpcFailure{RpcCode::UnknownMethod,
                     fmt::format("there is no method {}", base::Quoted(request.method))};
}

void ControlService::Handle(std::string_view line, const Asker& asker) const
{
    const auto parsed = ParseRequest(line);
    if (const auto* refusal = std::get_if<std::string>(&parsed)) {
        asker.answer(*refusal);
        return;
    }
    const auto& request = std::get<RpcRequest>(parsed);
    const auto answer = [id = request.id, send = asker.answer](const std::function<json()>& work) {
        std::string text;
        const json shown = id.value_or(nullptr);
        try {
            text = ResultLine(shown, work());
        } catch (const RpcFailure& failure) {
            text = ErrorLine(shown, failure);
        } catch (const std::exception& unforeseen) {
            text = ErrorLine(shown, {RpcCode::InternalError, unforeseen.what()});
        }
        send(id ? std::move(text) : ""); // a notification gets no answer
    };
    try {
        if (auto work = LongWork(request)) {
            if (!parts_.later([answer, work = std::move(work)] { answer(work); })) {
                throw RpcFailure{RpcCode::Busy, "too many requests are waiting"};
            }
            return;
        }
    } catch (const RpcFailure& failure) {
        answer([&failure]() -> json { throw RpcFailure(failure); });
        return;
    }
    answer([&] { return Do(request, asker); });
}

} // namespace kvgrab
