#include "export/exporter.h"

#include "base/signals_blocked.h"
#include "export/export_trouble.h"
#include "export/frame_files.h"
#include "export/frame_stream.h"
#include "export/pixels.h"
#include "export/png_encoder.h"
#include "export/slot_writer.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <exception>
#include <fmt/format.h>
#include <mutex>
#include <thread>
#include <utility>
#include <vector>

namespace kvgrab
{

bool ParseExportFormat(std::string_view text, ExportFormat* format)
{
    if (text == "png") {
        *format = ExportFormat::kPng;
    } else if (text == "raw") {
        *format = ExportFormat::kRaw;
    } else if (text == "-") {
        *format = ExportFormat::kStream;
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
    explicit State(ExportOptions given)
        : options(std::move(given)), trouble(std::move(options.report)),
          writer(options, files, stream, trouble)
    {
    }

    bool Start(const std::shared_ptr<State>& self);
    bool Acceptable(const FrameView& frame);
    bool FreeSlot(std::unique_lock<std::mutex>& lock);
    void Work(unsigned worker);
    void Retire(std::unique_lock<std::mutex>& lock);
    bool AllWritten(const std::function<bool()>& givesUp,
                    const std::function<bool()>& beginsNoMore);
    void LeaveWorkers();
    ExportSlot& At(std::uint64_t position) { return slots[position % slots.size()]; }

    ExportOptions options;
    ExportTrouble trouble;
    FrameFiles files;
    FrameStream stream;
    SlotWriter writer;
    std::vector<std::thread> workers;

    std::mutex mutex; ///< guards all down to `counters`
    std::condition_variable workAppeared;
    std::condition_variable slotFreed;
    std::vector<ExportSlot> slots;
    std::uint64_t accepted = 0;
    std::uint64_t taken = 0;
    std::uint64_t retired = 0;
    bool retiring = false; ///< one worker writes rows, without the mutex
    bool closing = false;
    bool givenUp = false;   ///< workers write nothing more
    bool lastBegun = false; ///< no further frame of a stream is begun
    ExportCounters counters;

    std::atomic<bool> started = false;
    std::atomic<bool> failed = false;
    std::atomic<bool> waits = true; ///< for free slots; false for ever after StopWaiting
    std::size_t preparedBytes = 0;  ///< grab thread only, like the next
    bool skipReported = false;
};

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
    std::string text;
    if (options.format == ExportFormat::kStream) {
        stream.Open(options.streamFd, options.stream);
        options.workers = 1; // the frames keep their order
    } else {
        const char* extension = options.format == ExportFormat::kPng ? "png" : "raw";
        text = files.Open(options.folder, extension, options.overwrite);
    }
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
    trouble.Keep(text);
    failed = true;
    return false;
}

/** Grab thread only. */
bool Exporter::State::Acceptable(const FrameView& frame)
{
    const auto refuse = [this](const std::string& text) {
        trouble.Tell(text, text);
        return false;
    };
    if (frame.pixels == nullptr || frame.bytes == 0) {
        return refuse("A frame without pixels can't be exported.");
    }
    if (options.format == ExportFormat::kStream) {
        const std::string text = stream.Accepts(frame);
        return text.empty() || refuse(text);
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
        if (taken == accepted || givenUp || lastBegun) {
            return;
        }
        ExportSlot& slot = At(taken++);
        lock.unlock();
        try {
            writer.WritePicture(worker, encoder, file, &slot);
        } catch (const std::bad_alloc&) {
            slot.fileBytes = 0;
            trouble.TellNoMemory();
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

/** Retires the finished slots at the head of the ring. One worker at a time; the grab thread never
 *  waits for the writing of rows. */
void Exporter::State::Retire(std::unique_lock<std::mutex>& lock)
{
    if (retiring) {
        return;
    }
    retiring = true;
    while (retired < taken && At(retired).done && !givenUp) {
        ExportSlot& slot = At(retired);
        lock.unlock();
        bool complete = false;
        try {
            complete = slot.fileBytes != 0 && writer.WriteRow(slot);
        } catch (const std::bad_alloc&) {
            files.RemoveFrame(slot.number);
            trouble.TellNoMemory();
        }
        if (complete) {
            trouble.Over();
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
        for (ExportSlot& slot : state.slots) {
            if (!state.waits) { // large ones take seconds
                return;
            }
            slot.pixels.resize(frameBytes);
        }
        state.preparedBytes = frameBytes;
    } catch (const std::exception&) {
        state.trouble.Tell(fmt::format("There is no memory for {} export slots of {} bytes.",
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
            state.trouble.Say(
                "The export can't keep up: frames are skipped while its queue is full.");
        }
        state.skipReported = true;
        return ExportResult::kSkipped;
    }
    ExportSlot& slot = state.At(state.accepted);
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
bool Exporter::State::AllWritten(const std::function<bool()>& givesUp,
                                 const std::function<bool()>& beginsNoMore)
{
    constexpr std::chrono::milliseconds kAskEvery(20);
    std::unique_lock lock(mutex);
    closing = true;
    workAppeared.notify_all();
    const auto isDone = [this] { return retired == accepted && !retiring; };
    while (givesUp && !slotFreed.wait_for(lock, kAskEvery, isDone)) {
        lastBegun = lastBegun || (beginsNoMore && beginsNoMore());
        if (givesUp() || (lastBegun && retired == taken)) {
            givenUp = true;
            counters.notWritten = accepted - retired;
            counters.cutOff = options.format == ExportFormat::kStream && retired != taken;
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
    trouble.Silence(); // what the report refers to may go before the workers do
}

bool Exporter::Close(const std::function<bool()>& givesUp,
                     const std::function<bool()>& beginsNoMore)
{
    State& state = *state_;
    if (!state.workers.empty() && !state.AllWritten(givesUp, beginsNoMore)) {
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
    state.stream.Close();
    state.started = false;
    state.trouble.SayUnreported();
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
    return state_->trouble.Newest();
}

} // namespace kvgrab
