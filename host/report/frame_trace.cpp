#include "report/frame_trace.h"

#include "base/own_files.h"

#include <array>
#include <cerrno>
#include <cstring>
#include <fmt/format.h>

namespace kvgrab
{

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

void FrameTrace::Frame(std::int64_t arrivalUs, std::uint64_t cameraTicks, const Settings& settings)
{
    if (settings.tickNs == 0) {
        return;
    }
    if (state_ == State::Empty) {
        state_ = State::OneFrame;
        first_ = {arrivalUs, cameraTicks};
        return;
    }
    if (state_ == State::OneFrame) {
        state_ = State::Going;
        const double periodUs =
            settings.periodUs != 0
                ? settings.periodUs
                : static_cast<double>(cameraTicks - first_.cameraTicks) * settings.tickNs / 1e3;
        const std::string head =
            fmt::format("# tick_frequency = {:.9g}\n# fps = {:.9g}\n# exposure_us = {:.9g}\n"
                        "# loop_start_us = {}\narrival_us,camera_ticks\n",
                        1e9 / settings.tickNs, 1e6 / periodUs,
                        static_cast<double>(settings.exposureUs), startUs_);
        std::fputs(head.c_str(), file_.get()); // Close reports a failure
        Write(first_);
    }
    Write({arrivalUs, cameraTicks});
}

void FrameTrace::Write(const Line& line)
{
    std::array<char, 64> text; // two numbers fit; no frame costs an allocation
    const auto end = fmt::format_to(text.begin(), "{},{}\n", line.arrivalUs, line.cameraTicks);
    std::fwrite(text.data(), 1, static_cast<std::size_t>(end - text.begin()), file_.get());
}

bool FrameTrace::Close()
{
    const bool failed = std::ferror(file_.get()) != 0;
    return std::fclose(file_.release()) == 0 && !failed;
}

} // namespace kvgrab
