#include "control/ctl_command.h"

#include "base/write_all.h"
#include "control/control_socket.h"
#include "control/ctl_request.h"
#include "file_handle.h"
#include "report/failure.h"
#include "session/monotonic.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fmt/format.h>
#include <optional>
#include <poll.h>

namespace kvgrab
{

namespace
{

constexpr std::int64_t kPatienceNs = 5'000'000'000;

/** Reads lines from a socket. */
class LineReader
{
public:
    explicit LineReader(int fd) : fd_(fd) {}

    /** The next line; nothing if the other side left, or after `patienceNs` without a whole line; 0
     *  waits for ever. */
    std::optional<std::string> Next(std::int64_t patienceNs)
    {
        constexpr std::int64_t kNsPerMs = 1'000'000;
        const std::int64_t endNs = MonotonicNs() + patienceNs;
        for (;;) {
            const std::size_t end = text_.find('\n', searched_);
            if (end != std::string::npos) {
                std::string line = text_.substr(0, end);
                text_.erase(0, end + 1);
                searched_ = 0;
                return line;
            }
            searched_ = text_.size();
            const std::int64_t leftNs = endNs - MonotonicNs();
            if (patienceNs != 0 && leftNs <= 0) {
                return std::nullopt;
            }
            pollfd waiting = {fd_, POLLIN, 0};
            poll(&waiting, 1, patienceNs == 0 ? -1 : static_cast<int>(leftNs / kNsPerMs) + 1);
            std::array<char, 16 * 1024> part{};
            const ssize_t length = read(fd_, part.data(), part.size());
            if (length > 0) {
                text_.append(part.data(), static_cast<std::size_t>(length));
            } else if (length == 0 || (errno != EAGAIN && errno != EINTR)) {
                return std::nullopt;
            }
        }
    }

private:
    int fd_;
    std::string text_;
    std::size_t searched_ = 0;
};

void Print(const std::string& text)
{
    std::fputs(text.c_str(), stdout);
    std::fflush(stdout);
}

/** Prints an answer. */
ExitStatus Show(const Options& options, const std::string& action, const std::string& line)
{
    const nlohmann::json answer = nlohmann::json::parse(line, nullptr, false);
    CtlText text = TextOfAnswer(action, answer);
    if (options.json && answer.is_object()) {
        text.out =
            fmt::format("{}\n", answer.value("result", answer.value("error", answer)).dump());
    }
    Print(text.out);
    for (const std::string& complaint : text.complaints) {
        Fail(text.status, complaint);
    }
    return text.status;
}

/** Prints events until the other side leaves. */
ExitStatus ShowEvents(const Options& options, LineReader* reader)
{
    while (const auto line = reader->Next(0)) {
        const nlohmann::json event = nlohmann::json::parse(*line, nullptr, false);
        if (!event.is_object() || !event.contains("params")) {
            continue;
        }
        Print(options.json ? fmt::format("{}\n", event["params"].dump())
                           : TextOfEvent(event["params"]));
    }
    return ExitStatus::Done;
}

} // namespace

ExitStatus RunControl(const Options& options, ConfigSource source)
{
    std::string request;
    std::string error;
    if (!CtlRequest(options.arguments, options.overwrite, &request, &error)) {
        return Fail(ExitStatus::Usage, error);
    }
    ConfigStore store(std::move(source));
    const ConfigStore::Result loaded = store.Reload();
    if (!loaded.usable) {
        return Fail(ExitStatus::Configuration, loaded.error);
    }
    const std::vector<std::string> paths =
        ControlSocketPaths(store.Current().control.socket, store.Current().memory.name);
    const std::string& path = paths.front();
    if (path.empty()) {
        return Fail(ExitStatus::Configuration, "control.socket switches the control socket off");
    }
    FileHandle connection(ConnectTo(path, &error));
    for (std::size_t i = 1; i < paths.size() && !connection.Valid(); ++i) {
        std::string ofTheOther;
        connection = FileHandle(ConnectTo(paths[i], &ofTheOther));
    }
    if (!connection.Valid()) {
        return Fail(ExitStatus::NoAnswer, fmt::format("no kvgrab answers at {}: {}", path, error));
    }
    const int failed = base::WriteAll(connection.Get(), request);
    LineReader reader(connection.Get());
    const auto line = failed == 0 ? reader.Next(kPatienceNs) : std::nullopt;
    if (!line) {
        return Fail(ExitStatus::NoAnswer,
                    fmt::format("no answer came from {} within 5 s, or it was cut off", path));
    }
    const std::string& action = options.arguments.front();
    const ExitStatus status = Show(options, action == "events" ? "" : action, *line);
    return action == "events" && status == ExitStatus::Done ? ShowEvents(options, &reader) : status;
}

} // namespace kvgrab
