/** The command line of kvgrab ctl as a request, and its answer as a text. Pure. */
#pragma once

#include "base/program_help.h"
#include "control/messages.h"
#include "exit_status.h"

#include <string>
#include <vector>

namespace kvgrab
{

/** What kvgrab ctl can do. */
std::vector<base::HelpEntry> CtlActions();

/** The line to send for these arguments. False: `*error` says what is wrong with them. */
bool CtlRequest(const std::vector<std::string>& arguments, bool replace, std::string* line,
                std::string* error);

/** What is printed for an answer. */
struct CtlText {
    std::string out;
    std::vector<std::string> complaints; ///< sentences without a full stop, for standard error
    ExitStatus status = ExitStatus::Done;
};

/** The text for the answer to the request that `action`, the first argument, makes. */
CtlText TextOfAnswer(const std::string& action, const nlohmann::json& answer);

/** A line for an event. */
std::string TextOfEvent(const nlohmann::json& event);

} // namespace kvgrab
