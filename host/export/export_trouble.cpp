#include "export/export_trouble.h"

#include <fmt/format.h>
#include <new>
#include <utility>

namespace kvgrab
{

ExportTrouble::ExportTrouble(Report report) : report_(std::move(report)) {}

void ExportTrouble::Tell(const std::string& text, std::string_view reason)
{
    {
        const std::lock_guard lock(mutex_);
        newest_ = text;
        if (reason_ == reason) {
            ++unreported_;
            return;
        }
        reason_ = reason;
    }
    Say(text);
}

void ExportTrouble::TellNoMemory() noexcept
{
    try {
        Tell("A picture can't be written: there is no memory for it.", "no memory");
    } catch (const std::bad_alloc&) {
        // The picture is counted as failed.
    }
}

void ExportTrouble::Keep(const std::string& text)
{
    const std::lock_guard lock(mutex_);
    newest_ = text;
}

void ExportTrouble::Say(const std::string& text)
{
    const std::lock_guard lock(reportMutex_);
    if (report_) {
        report_(text);
    }
}

void ExportTrouble::Over()
{
    const std::lock_guard lock(mutex_);
    reason_.clear();
}

void ExportTrouble::SayUnreported()
{
    std::uint64_t unreported = 0;
    {
        const std::lock_guard lock(mutex_);
        unreported = std::exchange(unreported_, 0);
    }
    if (unreported > 0) {
        Say(fmt::format("{} more frames could not be exported, for the reasons reported before.",
                        unreported));
    }
}

void ExportTrouble::Silence()
{
    const std::lock_guard lock(reportMutex_);
    report_ = nullptr;
}

std::string ExportTrouble::Newest() const
{
    const std::lock_guard lock(mutex_);
    return newest_;
}

} // namespace kvgrab
