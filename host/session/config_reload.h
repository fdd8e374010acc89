/** Changes of the configuration file during a run: which of them are taken, what they need, and
 *  what is said about them. Grab thread only. */
#pragma once

#include "config/config_store.h"
#include "report/log.h"
#include "session/dynamic_lut.h"
#include "session/signal_state.h"

#include <cstdint>

namespace kvgrab
{

/** What a configuration that was read again needs. */
enum class ReloadResult {
    Nothing,    ///< there is no file
    Refused,    ///< it can't be used, and the old configuration stays
    Applied,    ///< applied by the driver during the session
    NewSession, ///< a new device session
};

class ConfigReload
{
public:
    struct Parts {
        ConfigStore& config;
        Log& log;
        SignalState& signals;
        DynamicLut& dynamicLut;
    };

    explicit ConfigReload(Parts parts) : parts_(parts) {}

    /** Whether the camera of the next session has been checked for the features that the configured
     *  output lines need. Without the check no change to them is applied during the session. */
    void OutputLinesChecked(bool checked) { outputLinesChecked_ = checked; }
    /** Reads the file, as asked by HUP. */
    ReloadResult Reload();
    /** Looks whether the file has changed. True once for each change that was accepted and can be
     *  applied while grabbing. */
    bool Poll(std::int64_t nowNs);
    /** The dynamic table is gone once the driver writes another table or switches gamma. */
    void ForgetTableIfChanged(const ConfigChanges& changes);

private:
    void ReportWarnings(const ConfigStore::Result& result);
    bool OutputLinesNeedACheck() const;

    Parts parts_;
    bool outputLinesChecked_ = false;
};

} // namespace kvgrab
