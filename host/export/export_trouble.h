/** What goes wrong in an export: the newest trouble, and which of it is reported. */
#pragma once

#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>

namespace kvgrab
{

/** Any thread, without locks held that the report might need: reports come one at a time. */
class ExportTrouble
{
public:
    using Report = std::function<void(const std::string&)>;

    explicit ExportTrouble(Report report);

    /** Keeps the text as the newest trouble. Reports it, unless it has the same reason as the one
     *  before: each text names its frame and so is different. */
    void Tell(const std::string& text, std::string_view reason);
    /** There is no memory for a picture. */
    void TellNoMemory() noexcept;
    /** Keeps the text as the newest trouble. */
    void Keep(const std::string& text);
    /** Reports a sentence that is no trouble of a picture. */
    void Say(const std::string& text);
    /** A picture was written: the next trouble is reported, whatever its reason. */
    void Over();
    /** Reports how many troubles were not reported. */
    void SayUnreported();
    /** Reports nothing more. */
    void Silence();
    /** The newest trouble; empty when there was none. */
    std::string Newest() const;

private:
    mutable std::mutex mutex_; ///< guards the next three
    std::string newest_;
    std::string reason_;
    std::uint64_t unreported_ = 0;
    std::mutex reportMutex_; ///< guards report_; never held together with `mutex_`
    Report report_;
};

} // namespace kvgrab
