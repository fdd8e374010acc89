// LogWrite: the driver's way to the log, from both of its threads.

#include "services/exported.h"

#include <cstdarg>

extern "C" void LogWrite(const char* sourceFile, int line, const char* function, int level,
                         const char* format, ...)
{
    kvgrab::HostSession* host = kvgrab::HostSession::Current();
    if (host == nullptr) {
        return;
    }
    std::va_list arguments;
    va_start(arguments, format);
    host->parts.log.DriverLine(sourceFile, line, function, host->LevelOf(level, format), format,
                               arguments);
    va_end(arguments);
    if (host->parts.manager != nullptr) {
        host->parts.manager->Alive(host->parts.monotonicNs()); // unless another thread logs
    }
}
