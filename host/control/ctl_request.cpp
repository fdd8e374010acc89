#include "control/ctl_request.h"

#include "base/printable.h"

#include <algorithm>
#include <filesystem>
#include <fmt/format.h>
#include <fmt/ranges.h>

namespace kvgrab
{

using nlohmann::json;

namespace
{

struct Action {
    std::string_view name;
    std::string_view method;
    std::size_t least; ///< arguments after the name
    std::size_t most;
    std::string_view usage;
    std::string_view help;
};

constexpr std::size_t kAny = 1000;
constexpr Action kActions[] = {
    {"status", "status", 0, 0, "status", "print what kvgrab is doing, and its counts"},
    {"get", "get", 1, kAny, "get FEATURE...", "print values of features, each on a line"},
    {"set", "set", 1, kAny, "set FEATURE=VALUE...",
     "set features in this order, up to the first that is refused"},
    {"execute", "execute", 1, 1, "execute COMMAND",
     "execute a command of the camera, such as TriggerSoftware"},
    {"change", "change", 1, kAny, "change KEY=VALUE...",
     "change keys of the configuration that are applied while grabbing, such as "
     "exposure.time_us=5000"},
    {"configuration", "configuration", 0, 0, "configuration",
     "print the configuration in force as TOML"},
    {"save", "save", 1, 1, "save FILE",
     "write it to a new file; with --overwrite, also to one that exists"},
    {"reload", "reload", 0, 0, "reload", "read the configuration file again, like the signal HUP"},
    {"usr1", "usr1", 0, 0, "usr1", "request the dynamic look-up table, like the signal USR1"},
    {"usr2", "usr2", 0, 0, "usr2", "request it from a 12-bit picture, like the signal USR2"},
    {"stop", "stop", 0, 0, "stop", "end kvgrab after the current frame, like the signal TERM"},
    {"events", "subscribe", 0, 0, "events", "print events until kvgrab ends"},
    {"raw", "", 1, 1, "raw JSON", "send a line as it is, and print the result"},
};

/** "exposure.time_us=5000" as a key and a value: JSON where it is some, otherwise a text. */
bool PutChange(const std::string& argument, json* params)
{
    const std::size_t equals = argument.find('=');
    if (equals == std::string::npos || equals == 0) {
        return false;
    }
    const std::string text = argument.substr(equals + 1);
    json value = json::parse(text, nullptr, false);
    (*params)[argument.substr(0, equals)] = value.is_discarded() ? json(text) : value;
    return true;
}

/** A member as a text, in any case a printable one. */
std::string Text(const json& object, const char* name)
{
    const json value = object.is_object() ? object.value(name, json()) : json();
    return base::Printable(value.is_string()  ? value.get<std::string>()
                           : value.is_null()  ? std::string()
                           : value.is_array() ? fmt::format("{}", fmt::join(value, ", "))
                                              : value.dump());
}

json Member(const json& object, const char* name)
{
    return object.is_object() ? object.value(name, json()) : json();
}

double Number(const json& object, const char* name)
{
    const json value = Member(object, name);
    return value.is_number() ? value.get<double>() : 0;
}

std::string CameraText(const json& camera)
{
    return camera.is_object()
               ? fmt::format("{} {}, serial {}, version {}", Text(camera, "manufacturer"),
                             Text(camera, "model"), Text(camera, "serial"), Text(camera, "version"))
               : "none is open";
}

std::string FramesText(const json& status)
{
    const json frames = Member(status, "frames");
    const json dropped = Member(status, "dropped");
    const std::string of = Number(frames, "requested") == 0
                               ? ""
                               : fmt::format(" of {} requested", Text(frames, "requested"));
    return fmt::format("{} grabbed{}, {:.1f} fps, {} dropped", Text(frames, "grabbed"), of,
                       Number(status, "rate"), Text(dropped, "total"));
}

std::string StatusText(const json& status)
{
    const json pictures = Member(status, "pictures");
    const json dropped = Member(status, "dropped");
    const json packets = Member(status, "packets");
    std::string text = fmt::format(
        "kvgrab {}, process {}, for {:.1f} s\nstate: {} ({})\ncamera: {}\nframes: {}\n"
        "dropped: {} lost on the link, {} incomplete, {} without a free buffer\n"
        "pictures: {} exported, {} skipped, {} failed\n",
        Text(status, "version"), Text(status, "pid"), Number(status, "runtime_s"),
        Text(status, "state"), Text(status, "sentence"), CameraText(Member(status, "camera")),
        FramesText(status), Text(dropped, "lost"), Text(dropped, "incomplete"),
        Text(dropped, "without_buffer"), Text(pictures, "exported"), Text(pictures, "skipped"),
        Text(pictures, "failed"));
    if (Number(packets, "received") != 0) {
        text +=
            fmt::format("packets: {} received, {} resent, {} missing\n", Text(packets, "received"),
                        Text(packets, "resent"), Text(packets, "missing"));
    }
    if (Number(status, "taken_back") != 0) {
        text +=
            fmt::format("taken back: {} frames that consumers held\n", Text(status, "taken_back"));
    }
    text += fmt::format("exposure: {:.0f} us, gain: {:.1f} dB\n", Number(status, "exposure_us"),
                        Number(status, "gain_db"));
    for (const json& line : Member(status, "settings_not_taken")) {
        text +=
            fmt::format("not taken: {}\n",
                        base::Printable(line.is_string() ? line.get<std::string>() : line.dump()));
    }
    const std::string configuration = Text(status, "configuration");
    return fmt::format("{}configuration: {}\nmemory: {}\n", text,
                       configuration.empty() ? "no file" : configuration, Text(status, "memory"));
}

void AddValues(const json& rows, CtlText* text)
{
    for (const json& row : rows) {
        text->out += fmt::format("{}\n", Text(row, "value"));
        if (row.contains("error")) {
            text->complaints.push_back(Text(row, "error"));
            text->status = ExitStatus::CameraRefused;
        }
    }
}

ExitStatus StatusFor(int code)
{
    switch (static_cast<RpcCode>(code)) {
    case RpcCode::NoCamera:
        return ExitStatus::NoCamera;
    case RpcCode::Refused:
        return ExitStatus::CameraRefused;
    case RpcCode::CameraFailed:
        return ExitStatus::GrabbingFailed;
    case RpcCode::Busy:
        return ExitStatus::NoAnswer;
    case RpcCode::NotWritten:
        return ExitStatus::SetUp;
    case RpcCode::InternalError:
        return ExitStatus::Internal;
    default:
        return ExitStatus::Usage;
    }
}

} // namespace

std::vector<base::HelpEntry> CtlActions()
{
    std::vector<base::HelpEntry> actions;
    for (const Action& action : kActions) {
        actions.push_back({action.usage, action.help});
    }
    return actions;
}

bool CtlRequest(const std::vector<std::string>& arguments, bool replace, std::string* line,
                std::string* error)
{
    const std::string name = arguments.empty() ? "" : arguments.front();
    const auto action = std::find_if(std::begin(kActions), std::end(kActions),
                                     [&name](const Action& each) { return each.name == name; });
    if (action == std::end(kActions)) {
        std::vector<std::string_view> names;
        for (const Action& each : kActions) {
            names.push_back(each.name);
        }
        *error = fmt::format("ctl {} is unknown; expected one of {}", base::Printable(name),
                             fmt::join(names, ", "));
        return false;
    }
    const std::vector<std::string> rest(arguments.begin() + 1, arguments.end());
    if (rest.size() < action->least || rest.size() > action->most) {
        *error = fmt::format("expected kvgrab ctl {}", action->usage);
        return false;
    }
    if (name == "raw") {
        *line = fmt::format("{}\n", rest.front());
        return true;
    }
    json params = json::object();
    if (name == "get") {
        params["features"] = rest;
    } else if (name == "set") {
        params["settings"] = rest;
    } else if (name == "execute") {
        params["command"] = rest.front();
    } else if (name == "save") {
        params["path"] = std::filesystem::absolute(rest.front()).string();
        params["replace"] = replace;
    } else if (name == "change") {
        for (const std::string& argument : rest) {
            if (!PutChange(argument, &params)) {
                *error = fmt::format("{} is no change; expected KEY=VALUE, such as "
                                     "exposure.time_us=5000",
                                     base::Quoted(argument));
                return false;
            }
        }
    }
    *line = RequestLine(action->method, params);
    return true;
}

CtlText TextOfAnswer(const std::string& action, const json& answer)
{
    CtlText text;
    const json error = Member(answer, "error");
    if (!error.is_null()) {
        for (const json& row : Member(Member(error, "data"), "set")) {
            text.out += fmt::format("{} = {}\n", Text(row, "feature"), Text(row, "value"));
        }
        text.complaints.push_back(Text(error, "message"));
        text.status = StatusFor(static_cast<int>(Number(error, "code")));
        return text;
    }
    const json result = Member(answer, "result");
    if (action == "status") {
        text.out = StatusText(result);
    } else if (action == "get") {
        AddValues(result, &text);
    } else if (action == "set") {
        for (const json& row : result) {
            text.out += fmt::format("{} = {}\n", Text(row, "feature"), Text(row, "value"));
        }
    } else if (action == "configuration") {
        const json toml = Member(result, "toml");
        text.out = toml.is_string() ? toml.get<std::string>() : "";
    } else if (action == "save") {
        text.out = fmt::format("saved in {}\n", Text(result, "path"));
    } else if (action == "change") {
        const json changes = Member(result, "changes");
        text.out = changes.empty()
                       ? "nothing changes\n"
                       : fmt::format("changes with the next frame: {}\n", Text(result, "changes"));
        for (const json& warning : Member(result, "warnings")) {
            text.complaints.push_back(
                base::Printable(warning.is_string() ? warning.get<std::string>() : warning.dump()));
        }
    } else if (action == "raw") {
        text.out = fmt::format("{}\n", result.dump());
    }
    return text;
}

std::string TextOfEvent(const json& event)
{
    const std::string kind = Text(event, "kind");
    if (kind == "log") {
        return fmt::format("{}: {}\n", Text(event, "level"), Text(event, "text"));
    }
    if (kind == "state") {
        return fmt::format("state: {} ({})\n", Text(event, "state"), Text(event, "sentence"));
    }
    if (kind == "status") {
        const json status = Member(event, "status");
        return fmt::format("status: {}, {}\n", Text(status, "state"), FramesText(status));
    }
    if (kind == "missed") {
        return fmt::format("missed: {} events\n", Text(event, "events"));
    }
    return fmt::format("{}\n", base::Printable(event.dump()));
}

} // namespace kvgrab
