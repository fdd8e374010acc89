/** What a run shows of itself all the time: the status line of the terminal, that of the service
 *  manager, its signs of life, and an hourly line in the log. Grab thread only. */
#pragma once

#include "report/log.h"
#include "report/service_manager.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace kvgrab
{

class RunReport
{
public:
    struct Parts {
        Log& log;
        ServiceManager* manager = nullptr; ///< null: none
        std::function<std::int64_t()> monotonicNs;
        std::function<std::string()> statusText; ///< counts of the run in one line
    };

    explicit RunReport(Parts parts);

    /** The camera is looked for and opened; said unless kvgrab waits for it. */
    void SessionBegins();
    void GrabbingBegins() { waitsFor_.clear(); }
    void SessionEnded();
    /** kvgrab waits before the next attempt, for this reason. */
    void Waits(std::string_view why);
    /** Shows the counts of the run. */
    void ShowStatus();
    /** The grab thread is alive: what is to be said every so often is said if it is due. Called in
     *  each round, and several times a second while waiting for a camera. */
    void Alive();

private:
    void TellManager(const std::string& text, bool urgent);

    Parts parts_;
    std::string waitsFor_;         ///< empty once frames are grabbed
    std::int64_t hourBeganNs_ = 0; ///< of the status lines in the log; 0: not yet
};

} // namespace kvgrab
