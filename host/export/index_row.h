/** The text form of the export's index. */
#pragma once

#include "export/exporter.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cstdint>
#include <cstring>
#include <string_view>

namespace kvgrab
{

/** One line, in a buffer of its own; numbers in the form of the C locale. */
class IndexRow
{
public:
    static constexpr std::string_view kColumns =
        "number,file,time_us,camera_ticks,frame_counter,gain_db,exposure_us,width,height,codec,"
        "camera_frame_number,capture_time_ns\n";

    /** `file` and the codec must not contain a comma; if too long, they are cut. */
    IndexRow(std::uint64_t number, std::string_view file, const FrameView& frame)
    {
        AddNumber(number);
        AddText(file);
        AddNumber(frame.timeUs);
        AddNumber(frame.cameraTicks);
        AddNumber(frame.frameCounter);
        AddNumber(frame.gainDb);
        AddNumber(frame.exposureUs);
        AddNumber(frame.width);
        AddNumber(frame.height);
        AddText(frame.codec);
        AddNumber(frame.cameraFrameNumber);
        AddNumber(frame.captureTimeNs);
        end_[-1] = '\n'; // in place of the last comma
    }
    IndexRow(const IndexRow&) = delete;
    IndexRow& operator=(const IndexRow&) = delete;

    std::string_view Line() const
    {
        return {text_.data(), static_cast<std::size_t>(end_ - text_.data())};
    }

private:
    static constexpr std::size_t kLongestText = 64;

    template <typename Value> void AddNumber(Value value)
    {
        end_ = std::to_chars(end_, text_.data() + text_.size() - 1, value).ptr;
        *end_++ = ',';
    }
    void AddText(std::string_view text)
    {
        const std::size_t length = std::min(text.size(), kLongestText);
        std::memcpy(end_, text.data(), length);
        end_ += length;
        *end_++ = ',';
    }

    std::array<char, 512> text_; ///< twelve fields, none longer than kLongestText
    char* end_ = text_.data();
};

} // namespace kvgrab
