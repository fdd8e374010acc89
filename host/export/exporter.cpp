#include "export/exporter.h"
#include "base/signals_blocked.h"

#include "export/frame_files.h"
#include "export/index_row.h"
#include "export/pixels.h"
#include "export/png_encoder.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <csignal>
#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <mutex>
#include <pthread.h>
#include <span>
#include <thread>
#include <utility>
#include <vector>

namespace kvgrab
{
namespace
{

/** A frame to be written. Used by the grab thread until it is accepted, then by one worker. */
struct Slot {
    std::vector<std::uint8_t> pixels; ///< at least `bytes`, never shrinks
    std::size_t bytes = 0;
    std::uint64_t number = 0;
    FrameView values; ///< without pixels; its codec is the copy below
    std::array<char, 24> codec = {};
    std::size_t fileBytes = 0; ///< 0: the file could not be written
    bool done = false;
};

/** The part after the last colon, which is the same for all frames that fail for the same reason.
 */
std::string_view ReasonOf(std::string_view text)
{
    const std::size_t colon = text.rfind(": ");
    return colon == std::string_view::npos ? text : text.substr(colon);
}

} // namespace

bool ParseExportFormat(std::string_view text, ExportFormat* format)
{
    if (text == "png") {
        *format = ExportFormat::kPng;
    } else if (text == "raw") {
        *format = ExportFormat::kRaw;
    } else if (text == "none") {
        *format = ExportFormat::kNone;
    } else {
        return false;
    }
    return true;
}

/** The slots are a ring: frames are accepted by the grab thread, taken by workers and retired, each
 *  in the order of their numbers. A slot is free again when it is retired, so retired <= taken <=
 *  accepted <= retired + slots. */
struct Exporter::State {
    explicit State(ExportOptions given) : options(std::move(given)) {}

    bool Start(const std::shared_ptr<State>& self);
    bool Acceptable(const FrameView& frame);
    bool FreeSlot(std::unique_lock<std::mutex>& lock);
    void Work(unsigned worker);
    void WriteFrame(unsigned worker, PngEncoder& encoder, std::vector<std::uint8_t>& file,
                    Slot& slot);
    bool WriteRow(const Slot& slot);
    void Retire(std::unique_lock<std::mutex>& lock);
    bool AllWritten(const std::function<bool()>& givesUp);
    void LeaveWorkers();
    void Trouble(const std::string& text, std::string_view reason);
    void NoMemory() noexcept;
    void Report(const std::string& text);
    Slot& At(std::uint64_t position) { return slots[position % slots.size()]; }

    ExportOptions options;
    FrameFiles files;
    std::vector<std::thread> workers;

    std::mutex mutex; ///< guards all down to `counters`
    std::condition_variable workAppeared;
    std::condition_variable slotFreed;
    std::vector<Slot> slots;
    std::uint64_t accepted = 0;
    std::uint64_t taken = 0;
    std::uint64_t retired = 0;
    bool retiring = false; ///< one worker writes rows, without the mutex
    bool closing = false;
    bool givenUp = false; ///< workers write nothing more
    ExportCounters counters;

    std::atomic<bool> started = false;
    std::atomic<bool> failed = false;
    std::atomic<bool> waits = true; ///< for free slots; false for ever once it was told to stop
    std::size_t preparedBytes = 0;  ///< grab thread only, like the next
    bool skipReported = false;

    mutable std::mutex troubleMutex; ///< guards the next three; never held together with `mutex`
    std::string trouble;
    std::string reason; ///< of the newest trouble; a reason is not reported twice in a row
    std::uint64_t unreported = 0;
    std::mutex reportMutex; ///< guards options.report
};

void Exporter::State::Report(const std::string& text)
{
    const std::lock_guard lock(reportMutex);
    if (options.report) {
        options.report(text);
    }
}

/** `why` identifies the kind of trouble, since each text names its frame and so is different. Never
 *  call it with the mutex held. */
void Exporter::State::Trouble(const std::string& text, std::string_view why)
{
    {
        const std::lock_guard lock(troubleMutex);
        trouble = text;
        if (reason == why) {
            ++unreported;
            return;
        }
        reason = why;
    }
    Report(text);
}

void Exporter::State::NoMemory() noexcept
{
    try {
        Trouble("A picture can't be written: there is no memory for it.", "no memory");
    } catch (const std::bad_alloc&) {
        // The picture is counted as failed.
    }
}

bool Exporter::State::Start(const std::shared_ptr<State>& self)
{
    if (started || closing) {
        return started;
    }
    if (options.format == ExportFormat::kNone) {
        started = true;
        return true;
    }
    options.workers = std::clamp(options.workers, 1U, FrameFiles::kMostWorkers);
    options.queueLength = std::max(options.queueLength, 1U);
    options.pngCompression = std::clamp(options.pngCompression, 0, 9);
    const char* extension = options.format == ExportFormat::kPng ? "png" : "raw";
    std::string text = files.Open(options.folder, extension, options.overwrite);
    if (text.empty()) {
        try {
            slots.resize(options.queueLength + options.workers);
            // A worker must not take the host's signals, nor die of SIGXFSZ at a file-size limit:
            // with the signal blocked the write fails with a text instead.
            const base::SignalsBlocked blocked;
            for (unsigned i = 0; i < options.workers; ++i) {
                workers.emplace_back([self, i] { self->Work(i); });
            }
            started = true;
            return true;
        } catch (const std::exception& error) {
            text = fmt::format("The export can't start: {}.", error.what());
        }
    }
    const std::lock_guard lock(troubleMutex);
    trouble = text;
    failed = true;
    return false;
}

/** Grab thread only. */
bool Exporter::State::Acceptable(const FrameView& frame)
{
    const auto refuse = [this](const std::string& text) {
        Trouble(text, text);
        return false;
    };
    if (frame.pixels == nullptr || frame.bytes == 0) {
        return refuse("A frame without pixels can't be exported.");
    }
    if (options.format != ExportFormat::kPng) {
        return true;
    }
    const PixelLayout layout = LayoutOfCodec(frame.codec);
    if (layout == PixelLayout::kUnknown) {
        return refuse(
            fmt::format("Pixel format '{}' has no PNG form; export it as raw.", frame.codec));
    }
    const std::size_t needed = PictureBytes(layout, frame.width, frame.height);
    if (needed == 0 || frame.bytes < needed) {
        return refuse(fmt::format("A frame of {} x {} pixels {} takes {} bytes, but {} came.",
                                  frame.width, frame.height, frame.codec, needed, frame.bytes));
    }
    return true;
}

/** Grab thread only. False when no slot is free and the frame must be skipped. */
bool Exporter::State::FreeSlot(std::unique_lock<std::mutex>& lock)
{
    const auto isFree = [this] { return accepted - retired < slots.size(); };
    if (options.everyFrame) {
        slotFreed.wait(lock, [&] { return isFree() || !waits; });
    }
    return isFree();
}

void Exporter::State::Work(unsigned worker)
{
    PngEncoder encoder(options.pngCompression);
    std::vector<std::uint8_t> file;
    std::unique_lock lock(mutex);
    while (true) {
        workAppeared.wait(lock, [this] { return taken < accepted || closing; });
        if (taken == accepted || givenUp) {
            return;
        }
        Slot& slot = At(taken++);
        lock.unlock();
        try {
            WriteFrame(worker, encoder, file, slot);
        } catch (const std::bad_alloc&) {
            slot.fileBytes = 0;
            NoMemory();
        }
        lock.lock();
        slot.done = true;
        if (!givenUp) {
            Retire(lock);
        } else if (slot.fileBytes != 0) {
            files.RemoveFrame(slot.number); // it will have no row in the index
        }
    }
}

void Exporter::State::WriteFrame(unsigned worker, PngEncoder& encoder,
                                 std::vector<std::uint8_t>& file, Slot& slot)
{
    slot.fileBytes = 0;
    const std::string name = files.Name(slot.number);
    std::span<const std::uint8_t> content(slot.pixels.data(), slot.bytes);
    std::string text;
    const auto notEncoded = [&name](std::string_view why) {
        return fmt::format("'{}' can't be encoded: {}.", name, why);
    };
    try {
        if (options.format == ExportFormat::kPng) {
            const Picture picture = {content, LayoutOfCodec(slot.values.codec), slot.values.width,
                                     slot.values.height};
            if (!encoder.Encode(picture, &file, &text)) {
                text = notEncoded(text);
            }
            content = file;
        }
    } catch (const std::exception& error) { // out of memory
        text = notEncoded(error.what());
    }
    if (text.empty()) {
        text = files.WriteFile(worker, name, content);
    }
    if (text.empty()) {
        slot.fileBytes = content.size();
        return;
    }
    Trouble(text, ReasonOf(text));
}

bool Exporter::State::WriteRow(const Slot& slot)
{
    const std::string name = files.Name(slot.number);
    const IndexRow row(slot.number, name, slot.values);
    const std::string text = files.AppendRow(row.Line());
    if (text.empty()) {
        return true;
    }
    files.RemoveFrame(slot.number); // a picture without a row in the index has no frame values
    Trouble(text, ReasonOf(text));
    return false;
}

/** Retires the finished slots at the head of the ring. One worker at a time; the grab thread never
 *  waits for the writing of rows. */
void Exporter::State::Retire(std::unique_lock<std::mutex>& lock)
{
    if (retiring) {
        return;
    }
    retiring = true;
    while (retired < taken && At(retired).done && !givenUp) {
        Slot& slot = At(retired);
        lock.unlock();
        bool complete = false;
        try {
            complete = slot.fileBytes != 0 && WriteRow(slot);
        } catch (const std::bad_alloc&) {
            files.RemoveFrame(slot.number);
            NoMemory();
        }
        if (complete) {
            const std::lock_guard troubleLock(troubleMutex);
            reason.clear();
        } else if (options.onError == ExportErrorPolicy::kStop) {
            failed = true;
        }
        lock.lock();
        slot.done = false;
        counters.exported += complete ? 1 : 0;
        counters.failed += complete ? 0 : 1;
        counters.bytes += complete ? slot.fileBytes : 0;
        ++retired;
        slotFreed.notify_all();
    }
    retiring = false;
}

Exporter::Exporter(ExportOptions options) : state_(std::make_unique<State>(std::move(options))) {}

Exporter::~Exporter()
{
    Close();
}

bool Exporter::Start()
{
    return state_->Start(state_);
}

void Exporter::Prepare(std::size_t frameBytes)
{
    State& state = *state_;
    if (frameBytes <= state.preparedBytes || state.slots.empty()) {
        return;
    }
    {
        // Then nobody uses the slots, since only this thread hands out new work.
        std::unique_lock lock(state.mutex);
        const auto unused = [&] { return state.retired == state.accepted; };
        state.slotFreed.wait(lock, [&] { return unused() || !state.waits; });
        if (!unused()) {
            return; // the frames of the new size are skipped
        }
    }
    try {
        for (Slot& slot : state.slots) {
            if (!state.waits) { // large ones take seconds
                return;
            }
            slot.pixels.resize(frameBytes);
        }
        state.preparedBytes = frameBytes;
    } catch (const std::exception&) {
        state.Trouble(fmt::format("There is no memory for {} export slots of {} bytes.",
                                  state.slots.size(), frameBytes),
                      "slots");
    }
}

ExportResult Exporter::Export(const FrameView& frame)
{
    State& state = *state_;
    if (state.options.format == ExportFormat::kNone) {
        return ExportResult::kOff;
    }
    bool usable = state.started && !state.failed && state.Acceptable(frame);
    if (usable) {
        Prepare(frame.bytes);
        usable = frame.bytes <= state.preparedBytes;
    }
    std::unique_lock lock(state.mutex);
    if (!state.waits && frame.bytes > state.preparedBytes) {
        ++state.counters.skipped;
        return ExportResult::kSkipped;
    }
    if (!usable || state.closing) {
        ++state.counters.failed;
        state.failed = state.failed || state.options.onError == ExportErrorPolicy::kStop;
        return ExportResult::kFailed;
    }
    if (!state.FreeSlot(lock)) {
        ++state.counters.skipped;
        lock.unlock();
        if (!state.skipReported) {
            state.Report("The export can't keep up: frames are skipped while its queue is full.");
        }
        state.skipReported = true;
        return ExportResult::kSkipped;
    }
    Slot& slot = state.At(state.accepted);
    lock.unlock(); // the slot is the grab thread's until it is accepted

    std::memcpy(slot.pixels.data(), frame.pixels, frame.bytes);
    slot.bytes = frame.bytes;
    slot.number = state.accepted + 1; // only this thread writes it
    slot.values = frame;
    const std::size_t codecLength = std::min(frame.codec.size(), slot.codec.size());
    std::memcpy(slot.codec.data(), frame.codec.data(), codecLength);
    slot.values.codec = {slot.codec.data(), codecLength};
    slot.values.pixels = nullptr;

    lock.lock();
    ++state.accepted;
    lock.unlock();
    state.workAppeared.notify_one();
    return ExportResult::kQueued;
}

void Exporter::StopWaiting()
{
    {
        const std::lock_guard lock(state_->mutex);
        state_->waits = false;
    }
    state_->slotFreed.notify_all();
}

/** False: `givesUp` ended the waiting. */
bool Exporter::State::AllWritten(const std::function<bool()>& givesUp)
{
    constexpr std::chrono::milliseconds kAskEvery(20);
    std::unique_lock lock(mutex);
    closing = true;
    workAppeared.notify_all();
    const auto isDone = [this] { return retired == accepted && !retiring; };
    while (givesUp && !slotFreed.wait_for(lock, kAskEvery, isDone)) {
        if (givesUp()) {
            givenUp = true;
            counters.notWritten = accepted - retired;
            return false;
        }
    }
    return true;
}

void Exporter::State::LeaveWorkers()
{
    files.AbandonNow();
    workAppeared.notify_all();
    for (std::thread& worker : workers) {
        worker.detach();
    }
    workers.clear();
    const std::lock_guard lock(reportMutex);
    options.report = nullptr; // what it refers to may go before the workers do
}

bool Exporter::Close(const std::function<bool()>& givesUp)
{
    State& state = *state_;
    if (!state.workers.empty() && !state.AllWritten(givesUp)) {
        state.LeaveWorkers();
        return false;
    }
    {
        const std::lock_guard lock(state.mutex);
        if (state.givenUp) {
            return false;
        }
        state.closing = true;
    }
    state.workAppeared.notify_all();
    for (std::thread& worker : state.workers) {
        worker.join();
    }
    state.workers.clear();
    state.files.Close();
    state.started = false;
    std::uint64_t unreported = 0;
    {
        const std::lock_guard lock(state.troubleMutex);
        unreported = std::exchange(state.unreported, 0);
    }
    if (unreported > 0) {
        state.Report(fmt::format(
            "{} more frames could not be exported, for the reasons reported before.", unreported));
    }
    return true;
}

void Exporter::AbandonNow() noexcept
{
    state_->files.AbandonNow();
}

ExportCounters Exporter::Counters() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->counters;
}

bool Exporter::Failed() const
{
    return state_->failed;
}

std::string Exporter::ErrorText() const
{
    const std::lock_guard lock(state_->troubleMutex);
    return state_->trouble;
}

} // namespace kvgrab
