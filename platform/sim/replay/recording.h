/** An exported folder as a simulated camera plays it back: the rows of its index, and the pictures
 *  that they name. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace sim
{

/** One row of the index. */
struct RecordedFrame {
    std::size_t line = 0; ///< of index.csv, from 1 on
    std::string file;
    std::uint64_t number = 0; ///< the camera's own; 0: it gave none
    std::uint64_t ticks = 0;
    std::uint32_t counter = 0;   ///< of the frames that the host grabbed
    std::uint64_t hostUs = 0;    ///< time stamp of the host
    std::uint64_t captureNs = 0; ///< capture time; 0: none
    std::int64_t timeNs = 0;     ///< since the first frame; never falls from frame to frame
    double gain = 1;             ///< linear factor
    double exposureUs = 0;
    std::uint64_t lostBefore = 0; ///< frames between the row before and this one that never arrived
};

/** Never changes once it is loaded; any thread may use it. */
class Recording
{
public:
    /** Reads the index of a folder and looks at each picture: whether it is there and has the size
     *  and form of its row. Pixels are read later.
     *
     *  Throws `std::runtime_error` with a sentence that names the folder, the line of the index,
     *  the file, and what was expected. */
    static std::shared_ptr<const Recording> Load(const std::string& folder);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    const std::vector<RecordedFrame>& Frames() const { return frames_; } ///< at least one
    std::uint32_t Width() const { return width_; }
    std::uint32_t Height() const { return height_; }
    std::uint32_t PixelFormat() const { return format_; } ///< GigE Vision code
    const std::string& Folder() const { return folder_; }
    /** Nanoseconds between two frames, as far as that can be seen; at least 1. */
    std::int64_t PeriodNs() const { return periodNs_; }
    std::uint64_t PeriodTicks() const { return periodTicks_; }
    std::uint64_t TickFrequency() const { return tickFrequency_; } ///< Hz
    std::uint64_t Lost() const { return lost_; }                   ///< frames that never arrived
    /** Frames that arrived but are not in the folder. */
    std::uint64_t NotExported() const { return notExported_; }

    /** Writes the pixels of a frame as they were received, `size` bytes at most. Returns an empty
     *  text, or a sentence that says why the picture can't be used. */
    std::string ReadPicture(std::size_t position, std::uint8_t* pixels, std::size_t size) const;

private:
    Recording() = default;
    void ReadIndex();
    void ReadRow(std::string_view row, std::size_t line);
    void CountMissing(RecordedFrame* frame);
    void LookAtPicture(const RecordedFrame& frame) const;
    void FindTimes();
    void FindPace();
    [[noreturn]] void Refuse(std::string_view why) const;
    [[noreturn]] void RefuseRow(std::size_t line, std::string_view why) const;

    std::string folder_;
    int folderFd_ = -1;
    std::vector<RecordedFrame> frames_;
    std::uint32_t width_ = 0;
    std::uint32_t height_ = 0;
    std::string codec_;
    std::uint32_t format_ = 0;
    std::size_t pictureBytes_ = 0;
    std::int64_t periodNs_ = 1;
    std::uint64_t periodTicks_ = 0;
    std::uint64_t tickFrequency_ = 1'000'000'000;
    std::uint64_t lost_ = 0;
    std::uint64_t notExported_ = 0;
};

} // namespace sim
