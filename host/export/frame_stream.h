/** Frames one after the other on standard output, for the program at the other end of a pipe. */
#pragma once

#include "export/exporter.h"
#include "export/slot.h"

#include <atomic>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

namespace kvgrab
{

/** Takes standard output over for frames: whatever else the process prints there goes to standard
 *  error from now on. Returns the descriptor for the frames; -1: it can't be used, and `*error`
 *  says why. */
int TakeStandardOutput(std::string* error);

/** Frames are written whole: when a write fails or is given up within a frame, none follows it.
 *
 *  Threads: Accepts on the grab thread, Write on one worker. */
class FrameStream
{
public:
    FrameStream() = default;
    ~FrameStream();
    FrameStream(const FrameStream&) = delete;
    FrameStream& operator=(const FrameStream&) = delete;

    /** Owns the descriptor from now on. */
    void Open(int fd, StreamFormat format);
    void Close();

    /** Whether the frame has a form in this stream. Returns an empty text, or a sentence that says
     *  why it has none. */
    std::string Accepts(const FrameView& frame);
    /** Returns an empty text, or a sentence that says what went wrong. Sets the slot's fileBytes.
     */
    std::string Write(ExportSlot* slot);

private:
    std::span<const std::uint8_t> RawFrame(const ExportSlot& slot);
    std::span<const std::uint8_t> PnmFrame(const ExportSlot& slot);
    std::span<const std::uint8_t> Y4mFrame(const ExportSlot& slot);
    void SplitUyvy(const ExportSlot& slot);
    std::string Put(std::span<const std::uint8_t> head, std::span<const std::uint8_t> body);

    int fd_ = -1;
    StreamFormat format_ = StreamFormat::kRaw;
    bool isFile_ = false; ///< a regular file, which can be cut
    // Of a y4m stream, which can't change: those of the first frame. Grab thread only.
    std::string fixedCodec_;
    std::uint32_t fixedWidth_ = 0;
    std::uint32_t fixedHeight_ = 0;
    // Of the worker.
    bool begun_ = false; ///< the header of a y4m stream is written
    std::string broken_; ///< why no further frame can be written
    std::string head_;
    std::vector<std::uint8_t> body_;
    std::vector<std::uint16_t> grey_;
};

} // namespace kvgrab
