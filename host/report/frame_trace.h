/** Records when each frame came, by both clocks, for stamps_bench. */
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace kvgrab
{

/** Writes CSV: settings in lines that begin with #, then "arrival_us,camera_ticks" and a line for
 *  each frame. Grab thread only; writes to the disk about every thousand frames. */
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
    /** Only the `settings` of the first two frames are used; if the period is 0, it is computed
     *  from their distance. */
    void Frame(std::int64_t arrivalUs, std::uint64_t cameraTicks, const Settings& settings);

    /** False when not everything could be written. */
    bool Close();

private:
    enum class State { Empty, OneFrame, Going };
    struct Line {
        std::int64_t arrivalUs = 0;
        std::uint64_t cameraTicks = 0;
    };
    void Write(const Line& line);

    struct CloseFile {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };
    std::unique_ptr<std::FILE, CloseFile> file_;
    std::int64_t startUs_ = 0;
    State state_ = State::Empty;
    Line first_;
};

} // namespace kvgrab
