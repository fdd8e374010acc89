/** Writes frames to files: the grab thread copies a frame into a slot, and workers do the rest. */
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace kvgrab
{

enum class ExportFormat {
    kNone,   ///< no files at all
    kPng,    ///< frame_000001.png: 8- or 16-bit grey, 8-bit colour
    kRaw,    ///< frame_000001.raw: the bytes as received
    kStream, ///< no files: the frames go to standard output, one after the other
};

/** In which form frames go to standard output. */
enum class StreamFormat {
    kRaw, ///< a header of fixed size (kv_frame_stream.h), then the bytes as received
    kPnm, ///< PGM (8 or 16 bits) or PPM
    kY4m, ///< grey, or YUV 4:2:2 in planes
};

/** "png", "raw", "none" or "-". False: `text` is none of them, `*format` is untouched. */
bool ParseExportFormat(std::string_view text, ExportFormat* format);

/** What a frame that can't be written does to the session. */
enum class ExportErrorPolicy {
    kContinue, ///< the frame is counted as failed, the next one is tried
    kStop,     ///< Failed() becomes true, and no further frame is taken
};

struct ExportOptions {
    std::string folder; ///< made with its parents when missing
    ExportFormat format = ExportFormat::kPng;
    bool overwrite = false;  ///< files of the same names are replaced; otherwise they are an error
    bool everyFrame = false; ///< wait for a free slot instead of skipping the frame
    ExportErrorPolicy onError = ExportErrorPolicy::kContinue;
    unsigned workers = 2;     ///< 1 to 64
    unsigned queueLength = 8; ///< frames that may wait, besides those being written
    int pngCompression = 1;   ///< 0 none, 1 fast to 9 small
    StreamFormat stream = StreamFormat::kRaw;
    int streamFd = -1; ///< where a stream goes; the exporter closes it
    /** Gets one sentence for each new kind of trouble; from workers and the grab thread, one at a
     *  time. Must not call the exporter. */
    std::function<void(const std::string&)> report;
};

/** One frame of the grab thread. Export keeps no reference to it. */
struct FrameView {
    const void* pixels = nullptr;
    std::size_t bytes = 0;    ///< of the picture, without spare room
    std::uint32_t width = 0;  ///< pixels
    std::uint32_t height = 0; ///< lines, without padding
    std::string_view codec;   ///< "MONO8T", "MONO12PT", "MONO12T", "UYVY", "BayerRG8T"
    std::uint64_t timeUs = 0; ///< since the epoch
    std::uint64_t cameraTicks = 0;
    std::uint32_t frameCounter = 0;
    float gainDb = 0;
    float exposureUs = 0;
    std::uint64_t cameraFrameNumber = 0; ///< 0: none
    std::uint64_t captureTimeNs = 0;     ///< since the epoch; 0: none
    std::uint32_t periodUs = 0;          ///< of the frames; 0: not known
};

enum class ExportResult {
    kQueued,  ///< copied; a worker writes it
    kSkipped, ///< no slot was free
    kFailed,  ///< the exporter has failed or was not started, or the frame is invalid
    kOff,     ///< the format is "none"
};

struct ExportCounters {
    std::uint64_t exported = 0; ///< frames whose file and index row were written
    std::uint64_t skipped = 0;
    std::uint64_t failed = 0;
    std::uint64_t notWritten = 0; ///< still waiting or being written when Close gave up
    std::uint64_t bytes = 0;      ///< of the exported files
    bool cutOff = false;          ///< a stream ends within a frame, since Close gave up
};

/** Writes frames to `folder`/frame_000001.png and so on, numbered in the order of their acceptance,
 *  and a row for each to `folder`/index.csv, in the same order. A file appears under its name only
 *  when it is complete. As a stream, the frames go to standard output, in one thread.
 *
 *  Threads: Start, Prepare, Export and Close on the grab thread only; Counters, Failed, ErrorText
 *  and StopWaiting on any. The workers belong to the exporter, block all signals, and end in Close.
 */
class Exporter
{
public:
    explicit Exporter(ExportOptions options);
    ~Exporter(); ///< closes
    Exporter(const Exporter&) = delete;
    Exporter& operator=(const Exporter&) = delete;

    /** Makes the folder, removes unfinished files of runs that were killed, begins the index and
     *  starts the workers. Once only. False: ErrorText() says why, whatever onError says; frames
     * then count as failed. */
    bool Start();
    /** Allocates memory for frames of `frameBytes`, so that Export allocates nothing, not even the
     *  first time. If the slots must grow, it waits until queued frames are written. */
    void Prepare(std::size_t frameBytes);
    /** Copies the frame into a free slot and returns. Waits only with `everyFrame`; allocates only
     *  when the frame is larger than the prepared size and all frames before. */
    ExportResult Export(const FrameView& frame);
    /** From now on nothing waits for a free slot: frames that find none are skipped. */
    void StopWaiting();
    /** Waits until all queued frames are written and ends the workers. Later frames fail.
     *
     *  `givesUp`, asked now and then, may end the waiting: what is not written by then is counted
     *  and removed, and workers that hang in a file system are left to themselves (false). The
     *  process should then end without running destructors of statics (_exit). `beginsNoMore`,
     *  asked in the same way, lets a stream end between two frames: the one that is being written
     *  is the last, unless `givesUp` comes first. */
    bool Close(const std::function<bool()>& givesUp = {},
               const std::function<bool()>& beginsNoMore = {});

    /** For leaving at once: removes the files that are being written, and lets nothing be written
     *  afterwards. Async-signal-safe; from any thread, but not concurrently with Close. */
    void AbandonNow() noexcept;

    ExportCounters Counters() const;
    /** With kStop: a frame could not be written, and the session should end. */
    bool Failed() const;
    /** The newest trouble in one sentence; empty when there was none. */
    std::string ErrorText() const;

private:
    struct State;
    std::shared_ptr<State> state_; ///< workers that were left to themselves share it
};

} // namespace kvgrab
