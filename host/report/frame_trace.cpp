#include "report/frame_trace.h"

#include "base/own_files.h"
#include "report/dropped_frames.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace kvgrab
{

namespace
{

constexpr const char* kColumns =
    "arrival_us,camera_ticks,frame,received,resent,missing,dropped,lost,no_buffer\n";
constexpr std::size_t kMostKept = 200;

} // namespace

bool FrameTrace::Open(const std::string& path, std::string* error)
{
    constexpr std::size_t kBuffer = 32 * 1024;
    std::string why;
    const int fd = base::OpenFileForWriting(path, base::Existing::Overwrite, &why);
    file_.reset(fd < 0 ? nullptr : fdopen(fd, "w"));
    if (file_ == nullptr) {
        *error = fmt::format("the trace '{}' can't be written: {}", path,
                             fd < 0 ? why : std::strerror(errno));
        return false;
    }
    std::setvbuf(file_.get(), nullptr, _IOFBF, kBuffer);
    return true;
}

void FrameTrace::Frame(const Line& line, const Settings& settings)
{
    if (settings.tickNs == 0) {
        return;
    }
    if (state_ == State::Empty) {
        state_ = State::OneFrame;
        firstTicks_ = line.cameraTicks;
        kept_.push_back(line);
        return;
    }
    if (state_ == State::OneFrame) {
        state_ = State::Going;
        const double periodUs =
            settings.periodUs != 0
                ? settings.periodUs
                : static_cast<double>(line.cameraTicks - firstTicks_) * settings.tickNs / 1e3;
        const std::string head = fmt::format("# tick_frequency = {:.9g}\n# fps = {:.9g}\n"
                                             "# exposure_us = {:.9g}\n# loop_start_us = {}\n",
                                             1e9 / settings.tickNs, 1e6 / periodUs,
                                             static_cast<double>(settings.exposureUs), startUs_);
        std::fputs(head.c_str(), file_.get()); // Close reports a failure
        WriteKept();
    }
    Write(line);
}

void FrameTrace::Dropped(const Line& line)
{
    if (state_ == State::Going) {
        Write(line);
    } else if (kept_.size() < kMostKept) {
        kept_.push_back(line);
    }
}

void FrameTrace::WriteKept()
{
    std::fputs(kColumns, file_.get());
    for (const Line& line : kept_) {
        Write(line);
    }
    kept_.clear();
}

void FrameTrace::Write(const Line& line)
{
    std::array<char, 160> text; // nine columns fit; no frame costs an allocation
    const FrameFacts& facts = line.facts;
    const auto end = fmt::format_to(
        text.begin(), "{},{},{},{},{},{},{},{},{}\n", line.arrivalUs, line.cameraTicks,
        facts.number, facts.packetsReceived, facts.packetsResent, facts.packetsMissing,
        FaultName(facts.fault), facts.framesLost, facts.framesWithoutBuffer);
    std::fwrite(text.data(), 1, static_cast<std::size_t>(end - text.begin()), file_.get());
}

bool FrameTrace::Close()
{
    if (!kept_.empty()) { // without two complete frames, nobody knows the settings
        WriteKept();
    }
    const bool failed = std::ferror(file_.get()) != 0;
    return std::fclose(file_.release()) == 0 && !failed;
}

} // namespace kvgrab
