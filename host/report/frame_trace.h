/** Records when each frame came, by both clocks: what stamps_bench plays. */
#pragma once

#include <cstdint>
#include <cstdio>
#include <memory>
#include <string>

namespace kvgrab
{

/** CSV: settings in lines that begin with #, then "arrival_us,camera_ticks" and a line a frame.
 *  Grab thread only; writes to the disk every thousand frames or so. */
class FrameTrace
{
public:
    bool Open(const std::string& path, std::string* error);

    /** On the host's clock, microseconds since the epoch. */
    void AcquisitionStarts(std::int64_t us) { startUs_ = us; }

    struct Settings {
        std::uint32_t tickNs = 0;
        std::uint32_t periodUs = 0;
        float exposureUs = 0;
    };
    /** `settings` matter for the first two frames; a period of 0 is taken from their distance. */
    void Frame(std::int64_t arrivalUs, std::uint64_t cameraTicks, const Settings& settings);

    /** False: the disk did not take all of it. */
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
