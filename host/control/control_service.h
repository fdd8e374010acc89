/** The methods of the control socket. */
#pragma once

#include "control/control_desk.h"
#include "control/messages.h"
#include "export/exporter.h"
#include "features/feature_setting.h"

#include <cstdint>
#include <functional>
#include <string>
#include <string_view>

namespace kvgrab
{

/** The features of the camera of a run. Everything throws RpcFailure and may take seconds. */
struct FeatureMethods {
    std::function<std::string(const FeatureName&)> get;
    std::function<std::string(const FeatureSetting&)> set; ///< returns the value in force
    std::function<void(const std::string&)> execute;
};

/** What does not change in a run. */
struct RunFacts {
    std::string version;
    int pid = 0;
    std::string configPath; ///< empty: none
    std::string memoryName;
};

class ControlService
{
public:
    struct Parts {
        ControlDesk& desk;
        RunFacts facts;
        FeatureMethods features;
        std::function<ExportCounters()> exported;
        std::function<double()> runtimeS;
        std::function<void(int signal)> raise; ///< as if the process got this signal
        /** Does a task later, on another thread; false: too many are waiting. */
        std::function<bool(std::function<void()>)> later;
        /** Writes a text to a file. False: `*error` says why not. */
        std::function<bool(const std::string& path, const std::string& text, bool replace,
                           std::string* error)>
            write;
    };
    /** Who asks. Both functions may be called on any thread. */
    struct Asker {
        /** Called once for each line; an empty text means no answer. */
        std::function<void(std::string line)> answer;
        std::function<void(bool wanted)> subscribe;
    };

    explicit ControlService(Parts parts) : parts_(std::move(parts)) {}

    /** Does what a line asks for. It outlives the tasks that it gives to `later`. */
    void Handle(std::string_view line, const Asker& asker) const;

    nlohmann::json Status() const;
    /** Lines of events. */
    std::string StatusEvent() const;
    static std::string StateEvent(const RunStatus& status);
    static std::string LogEvent(int level, std::string_view text);
    static std::string MissedEvent(std::uint64_t missed);

private:
    nlohmann::json Do(const RpcRequest& request, const Asker& asker) const;
    nlohmann::json Change(const nlohmann::json& params) const;
    std::string Configuration() const;
    /** The work of a request that takes its time; none: it is done at once. */
    std::function<nlohmann::json()> LongWork(const RpcRequest& request) const;
    std::function<nlohmann::json()> GetWork(const nlohmann::json& params) const;
    std::function<nlohmann::json()> SetWork(const nlohmann::json& params) const;
    std::function<nlohmann::json()> ExecuteWork(const nlohmann::json& params) const;
    std::function<nlohmann::json()> SaveWork(const nlohmann::json& params) const;

    const Parts parts_;
};

} // namespace kvgrab
