#include "source.h"

#include "errors.h"
#include "unlocked.h"

#include <algorithm>
#include <pybind11/pybind11.h>
#include <set>

namespace kvpython
{

namespace
{

namespace py = pybind11;

/** Python's handlers of signals run on the main thread alone, between two parts of a wait. */
constexpr auto kPartOfMainThread = std::chrono::milliseconds(50);
/** Other threads wait as long as the library's time-out can be. */
constexpr auto kPart = std::chrono::hours(1);

std::mutex existing;
std::set<Source*> sources; ///< guarded by `existing`

bool IsMainThread()
{
    const auto threading = py::module_::import("threading");
    return threading.attr("current_thread")().is(threading.attr("main_thread")());
}

} // namespace

Source::Source(const std::string& name)
{
    Check(kvf_open(name.c_str(), &source_));
    const std::lock_guard lock(existing);
    sources.insert(this);
}

Source::~Source()
{
    {
        const std::lock_guard lock(existing);
        sources.erase(this);
    }
    kvf_close(source_);
}

void Source::CloseAll()
{
    const std::lock_guard lock(existing);
    for (Source* source : sources) {
        source->Close();
    }
}

std::uint64_t Source::BeginWait()
{
    const std::lock_guard lock(waits_);
    if (interruptNext_) {
        interruptNext_ = false;
        throw Failure(KVF_INTERRUPTED, "The wait was interrupted.");
    }
    ++waiting_;
    return interrupts_;
}

void Source::EndWait()
{
    const std::lock_guard lock(waits_);
    --waiting_;
}

void Source::Interrupt()
{
    {
        const std::lock_guard lock(waits_);
        ++interrupts_;
        interruptNext_ = waiting_ == 0;
    }
    kvf_interrupt(source_);
}

void Source::Close()
{
    closed_ = true;
    kvf_interrupt(source_);
}

void Source::FailIfEnded(std::uint64_t interrupts) const
{
    if (closed_) {
        throw Failure(KVF_INTERRUPTED, "The source is closed.");
    }
    if (interrupts_ != interrupts) {
        throw Failure(KVF_INTERRUPTED, "The wait was interrupted.");
    }
}

/** Throws a Failure at the end of the time. Without the GIL. */
std::shared_ptr<const Pixels> Source::WaitUntil(Clock::time_point end, kvf_which which,
                                                std::uint64_t interrupts)
{
    const std::unique_lock turn(turn_, end);
    if (!turn) {
        throw Failure(KVF_TIMEOUT, ""); // other threads waited all the time
    }
    for (;;) {
        FailIfEnded(interrupts);
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        kvf_frame frame = {};
        const kvf_result result =
            kvf_wait(source_, which, static_cast<int>(std::max<long>(left, 0)), &frame);
        // An interrupt that no wait was under way for is left in the library.
        if (result == KVF_INTERRUPTED) {
            continue;
        }
        Check(result);
        Check(kvf_pin(source_, &frame));
        return std::make_shared<Pixels>(frame);
    }
}

std::shared_ptr<const Pixels> Source::Wait(std::optional<double> seconds, kvf_which which)
{
    if (seconds && !(*seconds >= 0)) {
        throw Failure(KVF_INVALID, "A time-out is at least 0 seconds, or None.");
    }
    const bool isForEver = !seconds || *seconds > 1e9;
    const Clock::time_point begin = Clock::now();
    const Clock::time_point end =
        isForEver
            ? Clock::time_point::max()
            : begin + std::chrono::ceil<Clock::duration>(std::chrono::duration<double>(*seconds));
    if (IsEnding()) {
        throw Failure(KVF_INTERRUPTED, "The program is ending.");
    }
    const std::uint64_t interrupts = BeginWait();
    struct Ending {
        Source* source;
        ~Ending() { source->EndWait(); }
    } const ending = {this};

    const Clock::duration part = IsMainThread() ? Clock::duration(kPartOfMainThread) : kPart;
    for (;;) {
        const Clock::time_point endOfPart = std::min(end, Clock::now() + part);
        try {
            const Unlocked unlocked;
            return WaitUntil(endOfPart, which, interrupts);
        } catch (const Failure& failure) {
            const bool mayComeYet =
                failure.Result() == KVF_TIMEOUT || failure.Result() == KVF_NO_HOST;
            if (!mayComeYet) {
                throw;
            }
            if (endOfPart == end) { // the library knows only the last part of the time
                throw failure.Result() == KVF_TIMEOUT
                    ? Failure(KVF_TIMEOUT, py::str("No frame came within {} s.").format(*seconds))
                    : failure;
            }
        }
        if (PyErr_CheckSignals() != 0) {
            throw py::error_already_set();
        }
    }
}

kvf_state Source::State()
{
    kvf_state state = {};
    const kvf_result result = kvf_get_state(source_, &state);
    if (result != KVF_NO_HOST) {
        Check(result);
    }
    return state;
}

void Source::Hold(const kvf_frame& frame)
{
    const std::lock_guard lock(holding_);
    if (holds_) {
        throw Failure(KVF_BUSY, "The source holds a frame already. Release it first, or open "
                                "another source.");
    }
    Check(kvf_hold(source_, &frame));
    holds_ = true;
}

kvf_result Source::Release()
{
    const std::lock_guard lock(holding_);
    holds_ = false;
    return kvf_release(source_);
}

} // namespace kvpython
