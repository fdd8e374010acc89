/** A host with all its parts, but without camera and driver. Time stands still unless a test moves
 *  it. */
#pragma once

#include "session/host_session.h"
#include "tests/system/files.h"

#include <string>
#include <utility>

namespace kvgrab
{

struct HostUnderTest {
    explicit HostUnderTest(ExportOptions exporting = {}) : exporter(std::move(exporting))
    {
        config.Reload();
    }
    bool Configure(const std::string& text)
    {
        configText = text;
        return config.Reload().usable;
    }

    std::string configText = "[session]\nframes = 2\n";
    std::int64_t nowNs = 1;
    std::int64_t wallNs = 0;    ///< the real-time clock, less the monotonic one
    std::uint64_t transfer = 0; ///< number of the newest
    FrameFacts newest;
    NamelessFile logged;

    ConfigStore config{ConfigSource{"f.toml",
                                    [](const std::string&) {
                                        return FileStamp{1, 1, 1};
                                    },
                                    [this](const std::string&, std::string* out, std::string*) {
                                        *out = configText;
                                        return true;
                                    },
                                    [](Config*) {}}};
    SignalState signals;
    Log log{logged.Fd(), false, 5, [] { return timespec{}; }};
    FrameMemory memory;
    Exporter exporter;
    HostSession host{{.config = config,
                      .signals = signals,
                      .log = log,
                      .memory = memory,
                      .exporter = exporter,
                      .monotonicNs = [this] { return nowNs; },
                      .transfers =
                          [this] {
                              return TransferCounts{transfer, 1, 2, 3};
                          },
                      .wallClockNs = [this] { return nowNs + wallNs; },
                      .newestFrame = [this] { return newest; }}};
};

} // namespace kvgrab
