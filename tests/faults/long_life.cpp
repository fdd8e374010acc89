/** Hours and days of grabbing in virtual time: frames are lost, late and incomplete, signals and
 *  configuration changes come, the camera leaves and returns, clocks are set and wrap around. All
 *  of this is random, but reproducible by the seed; every frame and every session is checked. */
#include "sim/description/fault_names.h"
#include "tests/faults/watched_process.h"
#include "tests/support/alloc_count.h"
#include "tests/support/quick_thread.h"
#include "tests/support/rig.h"

#include <CLI/CLI.hpp>
#include <fmt/ranges.h>

#include <algorithm>
#include <array>
#include <cstdio>
#include <deque>
#include <optional>
#include <random>
#include <string>

namespace
{

using rig::Rig;
using sim::Effect;

constexpr double kFps = 100;
constexpr const char* kSerial = "S0000001";

/** How often things happen: on average once in this many frames. */
struct Odds {
    double missed = 500;
    double badStamp = 20'000;
    double jumpOfTicks = 50'000;
    double wallStep = 100'000;
    double dynamicChange = 3'000;
    double reconfiguration = 20'000;
    double user1 = 15'000;
    double user2 = 30'000;
    double refusedTrigger = 2'000;
    double detachment = 200'000;
    double terminate = 300'000;
    double earlyTerminate = 5'000; ///< in seven sessions of eight
};

class Life
{
public:
    /** `lastWords` are printed when a session breaks the process. */
    Life(double hours, std::uint64_t seed, std::string lastWords)
        : rig_(Camera(seed)), random_(seed),
          endNs_(Now() + static_cast<std::int64_t>(hours * 3600e9)),
          lastWords_(std::move(lastWords))
    {
        rig_.BeQuiet();
        rig::FakeHost& host = rig_.host;
        host.fps = kFps;
        host.AskForManual(3, 2000);
        host.sweepLutMod = KvTd::kSweepManual;
        host.lut.assign(256, 7);
        host.lutBitSize = 8;
        host.bnum = 16; // what is late takes buffers as well
        host.dynamicLut = rig::RisingTable;
        host.onCall = [this](std::string_view service) { Called(service); };
        host.onLog = [this](std::string_view format) { Logged(format); };
        host.onTrigger = [this](std::uint64_t stampUs) { Triggered(stampUs); };
    }

    /** Runs sessions until the time is over; returns how much was wrong. */
    int Run()
    {
        while (Now() < endNs_) {
            RunSession();
        }
        std::printf("%lu frames, %lu exports, %lu sessions, %lu missed, %lu changes, %lu signals, "
                    "%lu detachments, %lu clock troubles, %lu re-anchorings: %d wrong\n",
                    frames_, rig_.host.exported, sessions_, rig_.host.haltUpdates, changes_,
                    signals_, detachments_, clockTroubles_, reanchorings_, wrong_);
        return wrong_;
    }

private:
    static sim::CameraSetup Camera(std::uint64_t seed)
    {
        sim::CameraSetup camera = rig::SmallCamera();
        camera.driftPpm = -50;
        camera.jitterUs = 30;
        camera.seed = seed;
        return camera;
    }
    std::int64_t Now() const { return rig_.time.clock->NowNs(); }
    bool Chance(double once)
    {
        return std::uniform_real_distribution<double>(0, once)(random_) < 1;
    }

    /** Prints what is wrong and the newest events. */
    template <class... Args>
    void WrongIf(bool wrong, fmt::format_string<const Args&...> sentence, const Args&... args)
    {
        constexpr int kEnough = 20;
        if (wrong && ++wrong_ <= kEnough) {
            fmt::print("WRONG in session {}, frame {}: {}\n        {}\n", sessions_, frames_,
                       fmt::format(sentence, args...), fmt::join(recent_, "\n        "));
        }
    }

    /** Keeps the newest few events. */
    void Note(std::string_view event)
    {
        constexpr std::size_t kKept = 4;
        if (recent_.size() == kKept) {
            recent_.pop_front();
        }
        recent_.push_back(fmt::format("frame {}: {}", frames_, event));
    }

    void RunSession()
    {
        ++sessions_;
        const std::uint64_t exported = rig_.host.exported;
        accepted_ = 0;
        late_ = 0;
        constexpr std::array kDrifts = {0, 1, 50'000, -1500};
        rig_.host.tsadjns = kDrifts[sessions_ % kDrifts.size()];
        constexpr unsigned kSeconds = 600; // to compute in; an hour of frames takes some seconds
        faults::SetLastWords(lastWords_, kSeconds);
        const int exitCode = Rig::Run();
        faults::SetLastWords("", 0);
        CheckSession(exitCode, exported);
        sim::ClearFaults();
        if (exitCode != KvTd::kExitDone) {
            rig_.time.AdvanceUs(2'000'000); // as a host waits before it tries again
            sim::SetAttached(kSerial, true);
        }
        CheckMemory();
    }

    /** An hour has about ten sessions, enough to find a leak of one allocation per session. */
    void CheckMemory()
    {
        constexpr std::uint64_t kSettled = 3; // by then, what is allocated once is there
        constexpr std::uint64_t kOwn = 4;     // for the lists of this program
        recent_.clear();
        rig_.host.signals.clear();
        const std::uint64_t live = rig::LiveAllocations();
        if (sessions_ == kSettled) {
            settled_ = live;
        }
        WrongIf(sessions_ > kSettled && live > settled_ + kOwn, "{} allocations are left",
                live - settled_);
    }

    void CheckSession(int exitCode, std::uint64_t exportedBefore)
    {
        const bool detached = detached_;
        detached_ = false;
        constexpr std::array kExpected = {KvTd::kExitDone,     KvTd::kExitReconfigFailed,
                                          KvTd::kExitGrabbing, KvTd::kExitNoDevice,
                                          KvTd::kExitOpen,     KvTd::kExitConfiguration};
        const auto* const end = detached ? kExpected.end() : kExpected.begin() + 2;
        WrongIf(std::find(kExpected.begin(), end, exitCode) == end, "exit code {}", exitCode);
        WrongIf(rig_.host.exported - exportedBefore != accepted_,
                "triggers and exports don't match");
        GEV_TRANSFER_STATISTICS counts{};
        GevGetTransferStatistics(&counts);
        // The stream holds few frames back, so frames that come in a burst may find no buffer.
        WrongIf(counts.underruns > late_, "{} frames found no free buffer: not all were released",
                counts.underruns);
    }

    void Called(std::string_view service)
    {
        if (service == "KvUtl__CheckSignal") {
            Happen();
        } else if (service == "KvGi__HaltStop") {
            ++frames_;
            constexpr std::int64_t kWorkUs = 20; // frames that come in a burst are taken one by one
            rig_.time.AdvanceUs(kWorkUs);
        } else if (service == "KvGiMemInst__Trigger") {
            const bool refused = Chance(odds_.refusedTrigger);
            rig_.host.triggerResults = {refused ? 1 : 0};
            accepted_ += refused ? 0 : 1;
        } else if (service == "KvGi__DoReconfig") {
            rig_.host.exptMan = 1000 + static_cast<float>(random_() % 5000);
        }
    }

    /** Draws what happens in this round. */
    void Happen()
    {
        rig_.host.signals.clear();
        rig_.host.dynConfig = Chance(odds_.dynamicChange) ? 1 : 0;
        changes_ += rig_.host.dynConfig != 0 ? 1 : 0;
        if (Chance(odds_.missed)) {
            constexpr std::array kWays = {Effect::Lose, Effect::Incomplete, Effect::NullImage,
                                          Effect::NullFrame, Effect::Delay};
            const Effect way = kWays[random_() % kWays.size()];
            const std::uint64_t times = random_() % 5 + 1;
            Note(fmt::format("frames missed: {}", sim::NameOf(way)));
            late_ += way == Effect::Delay ? times : 0;
            sim::AddFault(
                rig::FrameFault(way, 1, times, static_cast<std::int64_t>(random_() % 50'000'000)));
        }
        if (Chance(odds_.badStamp)) {
            TroubleClocks(rig::FrameFault(Effect::ZeroTimestamp, 1));
        }
        if (Chance(odds_.jumpOfTicks)) {
            const auto ns = static_cast<std::int64_t>(random_() % 10'000'000'000);
            TroubleClocks(rig::FrameFault(Effect::JumpTicks, 1, 1, ns - 5'000'000'000));
        }
        if (Chance(odds_.wallStep)) {
            rig_.time.wallStepUs += static_cast<std::int64_t>(random_() % 2'000'000) - 1'000'000;
            NoteClockTrouble("the wall clock is set");
        }
        if (Chance(odds_.detachment)) {
            ++detachments_;
            Note("the camera leaves");
            detached_ = true;
            sim::SetAttached(kSerial, false);
        }
        Signal();
    }

    void Signal()
    {
        const bool early = sessions_ % 8 != 1;
        const std::pair<double, std::uint32_t> signals[] = {
            {odds_.user1, KvTd::kSignalUsr1},
            {odds_.user2, KvTd::kSignalUsr2},
            {odds_.reconfiguration, KvTd::kSignalReconfigure},
            {early ? odds_.earlyTerminate : odds_.terminate, KvTd::kSignalTerminate}};
        std::uint32_t state = Now() >= endNs_ ? KvTd::kSignalTerminate : KvTd::kSignalNone;
        for (const auto& [once, signal] : signals) {
            state = state == KvTd::kSignalNone && Chance(once) ? signal : state;
        }
        if (state != KvTd::kSignalNone) {
            ++signals_;
            Note(fmt::format("signal {}", state));
            rig_.host.signals.push_back(state);
        }
    }

    void TroubleClocks(const sim::Fault& fault)
    {
        NoteClockTrouble(fmt::format("{} by {}", sim::NameOf(fault.effect), fault.value));
        sim::AddFault(fault);
    }

    void NoteClockTrouble(std::string_view event)
    {
        ++clockTroubles_;
        Note(event);
        unsettled_ = kUnsettledFrames;
    }

    /** Finds the lines with which the driver moves the stamps or restarts the camera. */
    void Logged(std::string_view format)
    {
        for (const char* moved : {"TS readjusting", "init TS trigger", "bTS wrap", "overflow prot",
                                  "starting capture"}) {
            if (format.find(moved) != std::string_view::npos) {
                ++reanchorings_;
                Note(format);
                unsettled_ = kUnsettledFrames;
            }
        }
    }

    void Triggered(std::uint64_t stampUs)
    {
        WrongIf(unsettled_ == 0 && stampUs <= lastStampUs_, "the stamp goes from {} back to {}",
                lastStampUs_, stampUs);
        unsettled_ -= unsettled_ > 0 ? 1 : 0;
        lastStampUs_ = stampUs;
    }

    /** The driver makes a stamp ahead of its frame, so what moves the stamps shows some frames
     *  later. */
    static constexpr int kUnsettledFrames = 4;

    Rig rig_;
    Odds odds_;
    std::mt19937_64 random_;
    std::int64_t endNs_;
    std::string lastWords_;
    std::deque<std::string> recent_;
    std::uint64_t sessions_ = 0;
    std::uint64_t settled_ = 0; ///< allocations
    std::uint64_t frames_ = 0;
    std::uint64_t accepted_ = 0;
    std::uint64_t late_ = 0; ///< frames of this session
    std::uint64_t lastStampUs_ = 0;
    int unsettled_ = 0; ///< frames whose stamps may still go back
    std::uint64_t changes_ = 0;
    std::uint64_t signals_ = 0;
    std::uint64_t detachments_ = 0;
    std::uint64_t clockTroubles_ = 0;
    std::uint64_t reanchorings_ = 0;
    bool detached_ = false;
    int wrong_ = 0;
};

} // namespace

int main(int argc, char** argv)
{
    double hours = 1;
    std::uint64_t seed = 1;
    CLI::App app("Hours of grabbing at 100 frames a second, in virtual time.", "long_life");
    app.add_option("--hours", hours, "how long");
    app.add_option("--seed", seed, "of all that happens");
    CLI11_PARSE(app, argc, argv);
    const std::string again = fmt::format("again: {} --hours {} --seed {}\n", argv[0], hours, seed);
    return faults::RunWatched([&] {
        Life life(hours, seed, "WRONG: a session breaks the process, or does not end\n" + again);
        const int wrong = life.Run();
        std::printf("%s", wrong == 0 ? "" : again.c_str());
        return wrong == 0 ? 0 : 1;
    });
}
