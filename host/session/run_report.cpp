#include "session/run_report.h"

#include <fmt/format.h>
#include <utility>

namespace kvgrab
{

RunReport::RunReport(Parts parts) : parts_(std::move(parts)) {}

void RunReport::SessionBegins()
{
    if (waitsFor_.empty()) {
        TellManager("opening the camera", false);
    }
}

void RunReport::SessionEnded()
{
    parts_.log.SetStatus("");
}

void RunReport::Waits(std::string_view why)
{
    waitsFor_ = fmt::format("waiting: {}", why);
    parts_.log.SetStatus(waitsFor_);
    TellManager(waitsFor_, true);
}

void RunReport::ShowStatus()
{
    const std::string status = parts_.statusText();
    parts_.log.SetStatus(status);
    TellManager(status, false);
    Alive();
}

void RunReport::Alive()
{
    constexpr std::int64_t kHourNs = 3600 * 1'000'000'000LL;
    const std::int64_t now = parts_.monotonicNs();
    if (parts_.manager != nullptr) {
        parts_.manager->Alive(now);
    }
    parts_.log.CatchUp();
    if (hourBeganNs_ == 0) {
        hourBeganNs_ = now;
    } else if (now - hourBeganNs_ >= kHourNs) {
        hourBeganNs_ = now;
        parts_.log.Line(3, waitsFor_.empty()
                               ? parts_.statusText()
                               : fmt::format("{}; {}", parts_.statusText(), waitsFor_));
    }
}

void RunReport::TellManager(const std::string& text, bool urgent)
{
    if (parts_.manager != nullptr) {
        parts_.manager->Status(parts_.monotonicNs(), text, urgent);
    }
}

} // namespace kvgrab
