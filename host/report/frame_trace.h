/** Records when each frame came, by both clocks, and how: for stamps_bench, and for people who look
 *  for lost frames. */
#pragma once

#include "memory/frame_values.h"

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>
#include <vector>

namespace kvgrab
{

/** Writes CSV: settings in lines that begin with #, then the names of the columns and a line for
 *  each frame, also for those that are dropped. Grab thread only; writes to the disk about every
 *  four hundred frames. */
class FrameTrace
{
public:
    bool Open(const std::string& path, std::string* error);

    /** Call it when the acquisition starts. `us`: microseconds since the epoch, on the host's
     *  clock. */
    void AcquisitionStarts(std::int64_t us) { startUs_ = us; }

    struct Settings {
        std::uint32_t tickNs = 0;
        std::uint32_t periodUs = 0;
        float exposureUs = 0;
    };
    struct Line {
        std::int64_t arrivalUs = 0;
        std::uint64_t cameraTicks = 0;
        FrameFacts facts;
    };
    /** Only the `settings` of the first two frames are used; if the period is 0, it is computed
     *  from their distance. */
    void Frame(const Line& line, const Settings& settings);
    /** A frame that arrived incomplete. Of those before the second complete frame, only the first
     *  200 are recorded. */
    void Dropped(const Line& line);

    /** False when not everything could be written. */
    bool Close();

private:
    enum class State { Empty, OneFrame, Going };
    void WriteKept();
    void Write(const Line& line);

    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::int64_t startUs_ = 0;
    State state_ = State::Empty;
    std::uint64_t firstTicks_ = 0;
    std::vector<Line> kept_; ///< until the settings are known
};

} // namespace kvgrab
