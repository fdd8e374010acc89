/** The control socket of a run: the file, the server, the methods, and the thread for what takes
 *  its time. */
#pragma once

#include "control/control_desk.h"
#include "control/control_service.h"
#include "control/control_socket.h"
#include "control/line_server.h"
#include "control/task_thread.h"
#include "report/log.h"

#include <functional>
#include <optional>
#include <string>
#include <string_view>

namespace kvgrab
{

/** Threads: the grab thread; RemoveNow also in a signal handler. */
class Control
{
public:
    struct Parts {
        ControlDesk& desk;
        Log& log;
        RunFacts facts;
        FeatureMethods features;
        std::function<ExportCounters()> exported;
    };

    explicit Control(Parts parts);
    ~Control() { Stop(); }
    Control(const Control&) = delete;
    Control& operator=(const Control&) = delete;

    /** Serves at this path. False: `*error` says why it can't. */
    bool Start(const std::string& path, std::string* error);
    /** Removes the socket and ends the threads. */
    void Stop();
    /** Removes the socket, for leaving at once. */
    void RemoveNow() noexcept { socket_.RemoveNow(); }

private:
    void Handle(ClientId client, std::string_view line);

    ControlDesk& desk_;
    Log& log_;
    const ControlService service_;
    ControlSocket socket_;
    LineServer server_;
    TaskThread tasks_;
};

} // namespace kvgrab
