#include "control/control.h"

#include "base/own_files.h"
#include "base/write_all.h"
#include "features/feature_file.h"
#include "session/monotonic.h"

#include <csignal>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

namespace kvgrab
{

namespace
{

bool WriteText(const std::string& path, const std::string& text, bool replace, std::string* error)
{
    if (replace) {
        return base::ReplaceFile(path, text, error);
    }
    const FileHandle file(base::OpenFileForWriting(path, base::Existing::Refuse, error));
    if (!file.Valid()) {
        return false;
    }
    const int failed = base::WriteAll(file.Get(), text);
    if (failed != 0) {
        *error = std::strerror(failed);
        unlink(path.c_str());
    }
    return failed == 0;
}

} // namespace

Control::Control(Parts parts)
    : desk_(parts.desk), log_(parts.log),
      service_(
          {.desk = parts.desk,
           .facts = std::move(parts.facts),
           .features = std::move(parts.features),
           .exported = std::move(parts.exported),
           .runtimeS =
               [beginNs = MonotonicNs()] {
                   return static_cast<double>(MonotonicNs() - beginNs) / 1e9;
               },
           .raise = [](int signal) { kill(getpid(), signal); },
           .later = [this](std::function<void()> task) { return tasks_.Post(std::move(task)); },
           .write = WriteText}),
      server_({.handle = [this](ClientId client, std::string_view line) { Handle(client, line); },
               .refusal =
                   [](const char* why) {
                       return ErrorLine(nullptr, {RpcCode::InvalidRequest, why});
                   },
               .everySecond = [this] { return service_.StatusEvent(); },
               .missed = ControlService::MissedEvent})
{
}

bool Control::Start(const std::string& path, std::string* error)
{
    if (!socket_.Listen(path, error) || !server_.Start(socket_.Fd(), error)) {
        socket_.RemoveNow();
        return false;
    }
    tasks_.Start();
    desk_.OnState(
        [this](const RunStatus& status) { server_.Publish(ControlService::StateEvent(status)); });
    log_.OnWarning([this](int level, std::string_view text) {
        server_.Publish(ControlService::LogEvent(level, text));
    });
    return true;
}

void Control::Stop()
{
    log_.OnWarning({});
    desk_.OnState({});
    socket_.RemoveNow();
    tasks_.Stop(); // before the server, which its tasks answer
    server_.Stop();
}

void Control::Handle(ClientId client, std::string_view line)
{
    service_.Handle(
        line,
        {.answer = [this, client](std::string text) { server_.Send(client, std::move(text)); },
         .subscribe = [this, client](bool wanted) { server_.Subscribe(client, wanted); }});
}

} // namespace kvgrab
