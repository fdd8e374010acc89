#include "tests/faults/reference_session.h"

#include "tests/faults/session_checks.h"
#include "tests/support/alloc_count.h"
#include "tests/support/quick_thread.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <filesystem>
#include <iterator>
#include <thread>

namespace faults
{

namespace
{

using rig::FakeHost;
using rig::Rig;

constexpr std::uint32_t kBuffers = 4;
constexpr std::uint32_t kRoundsAtMost = 60; ///< then a terminate comes, whatever else happened

/** What CheckSignal tells in the rounds of the session, by round. */
struct Signal {
    std::uint32_t round;
    std::uint32_t state;
};
constexpr Signal kScript[] = {{4, KvTd::kSignalUsr1},
                              {14, KvTd::kSignalReconfigure},
                              {20, KvTd::kSignalUsr2},
                              {40, KvTd::kSignalTerminate}};
constexpr std::uint32_t kDynamicChangeRound = 10;

/** Waits in real time until it is so; false after five seconds. */
template <class Condition> bool HappensSoon(Condition condition)
{
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!condition()) {
        if (std::chrono::steady_clock::now() >= end) {
            return false;
        }
        std::this_thread::sleep_for(std::chrono::microseconds(50));
    }
    return true;
}

/** A host with everything configured, which plays the script. */
class ScriptedHost
{
public:
    /** Asks for the camera by all that it tells. */
    ScriptedHost(Rig& rig, Kind kind, const sim::CameraSetup& camera) : host_(rig.host)
    {
        host_.model = camera.modelName.c_str();
        host_.id = camera.serial.c_str();
        host_.bnum = kBuffers;
        host_.width = 48;
        host_.height = 32;
        host_.offsetX = 8;
        host_.offsetY = 8;
        host_.fps = 100;
        host_.rotate = KvTd::kRotateTurned;
        host_.tsadjns = kind == Kind::ManualMono ? 0 : 1500;
        host_.ioboxes = {{KvTd::TD_PIN_OUT1, 1, 2, 0, {100, 500}},
                         {KvTd::TD_PIN_OUT2, 1, 3, 2, {0, 800}}};
        host_.lut.assign(65536, 0); // a host that tells of more entries has them
        host_.lut.resize(256);
        for (std::size_t i = 0; i < host_.lut.size(); ++i) {
            host_.lut[i] = static_cast<std::uint16_t>(255 - i);
        }
        host_.lutBitSize = 8;
        host_.sweepLutMod = KvTd::kSweepManual;
        if (kind == Kind::ManualMono) {
            host_.sweepGainMod = KvTd::kSweepManual;
            host_.sweepEtimeMod = KvTd::kSweepManual;
            host_.gainMan = 6;
            host_.exptMan = 2000;
            host_.gamma = 0.7F;
        } else {
            host_.format = KvTd::kFormatBayer8;
            host_.AskForAutomatics();
        }
        host_.dynamicLut = rig::RisingTable;
        host_.onCall = [this](std::string_view service) { Called(service); };
        host_.onLog = [this](std::string_view format) {
            threadGone_ = threadGone_ || format == "ctrl thread loop is done";
        };
        rig::QuickThread::onSleep = [this](std::uint32_t) { ++sleeps_; };
    }
    ~ScriptedHost() { rig::QuickThread::onSleep = nullptr; }
    ScriptedHost(const ScriptedHost&) = delete;
    ScriptedHost& operator=(const ScriptedHost&) = delete;

private:
    void Called(std::string_view service)
    {
        if (service == "KvGi__DoReconfig") {
            host_.exptMan = 1500;
            host_.ioboxes[0].parameters[0] = 200;
        }
        if (service != "KvUtl__CheckSignal") {
            return;
        }
        ++round_;
        if (round_ == 2 || round_ == 16) {
            AwaitControlThread();
        }
        host_.dynConfig = round_ == kDynamicChangeRound ? 1 : 0;
        const auto* const line =
            std::find_if(std::begin(kScript), std::end(kScript),
                         [this](const Signal& signal) { return signal.round == round_; });
        host_.signals.clear();
        if (line != std::end(kScript) || round_ > kRoundsAtMost) {
            const std::uint32_t terminate = KvTd::kSignalTerminate;
            host_.signals.push_back(line != std::end(kScript) ? line->state : terminate);
        }
    }

    /** The control thread lives in real time; a run is the same each time only if its work is done
     *  at the same point: before its second sleep from here it has made a whole pass. */
    void AwaitControlThread() const
    {
        HappensSoon([this, passed = sleeps_ + 2] { return sleeps_ >= passed || threadGone_; });
    }

    FakeHost& host_;
    std::uint32_t round_ = 0;
    std::atomic<int> sleeps_{0}; ///< of the control thread, one after each of its passes
    std::atomic<bool> threadGone_{false};
};

sim::CameraSetup Camera(Kind kind, const std::vector<Fault>& faults)
{
    sim::CameraSetup camera =
        rig::SmallCamera(kind == Kind::ManualMono ? sim::Model::Mono : sim::Model::Color);
    for (const Fault& fault : faults) {
        if (const auto* range = std::get_if<StrangeRange>(&fault.what)) {
            camera.ranges.push_back(range->Setup());
        } else if (const auto* text = std::get_if<CameraText>(&fault.what)) {
            text->Apply(&camera);
        }
    }
    return camera;
}

/** Frames that stay away in every run, so that missed frames belong to the session. */
void MissSomeFrames()
{
    sim::AddFault(rig::FrameFault(sim::Effect::Lose, 7));
    sim::AddFault(rig::FrameFault(sim::Effect::Incomplete, 12));
    sim::AddFault(rig::FrameFault(sim::Effect::NullImage, 25));
}

void Add(Rig& rig, const std::vector<Fault>& faults)
{
    for (const Fault& fault : faults) {
        if (const auto* camera = std::get_if<sim::Fault>(&fault.what)) {
            sim::AddFault(*camera);
        } else if (const auto* tampering = std::get_if<FakeHost::Tampering>(&fault.what)) {
            rig.host.tamperings.push_back(*tampering);
        }
    }
}

std::string NameOfAccess(const std::string& text)
{
    return text.substr(0, text.find_first_of("=."));
}

void Count(const Rig& rig, Census* census)
{
    for (const sim::JournalEntry& entry : sim::Journal()) {
        if (entry.kind == "read") {
            if (entry.text.find(".M") < entry.text.find('=')) { // .Min, .Max
                census->ranges.insert(NameOfAccess(entry.text));
            }
            ++census->reads[NameOfAccess(entry.text)];
        } else if (entry.kind == "cam") {
            ++census->writes[NameOfAccess(entry.text)];
        } else if (entry.kind == "gev") {
            ++census->calls[entry.text.substr(0, entry.text.find_first_of("=("))];
        }
    }
    // The control thread asks in real time: how often is chance.
    census->calls.erase("GevGetCameraInfo");
    census->answers = rig.host.answers;
    census->frames = sim::GetCounts().frames;
}

std::size_t ThreadCount()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

/** Whether there are more than before. The system lists a thread a moment longer than it lives. */
bool IsThreadLeft(std::size_t before)
{
    return !HappensSoon([before] { return ThreadCount() <= before; });
}

/** One session through the library's entry; an exception that leaves it is a fault of the driver.
 */
int Run(FakeHost* host, std::vector<std::string>* wrong)
{
    host->formats.clear();
    try {
        const int exitCode = Rig::Run();
        CheckExitCode(*host, exitCode, wrong);
        return exitCode;
    } catch (const std::exception& e) {
        wrong->push_back(std::string("an exception leaves the driver: ") + e.what());
    } catch (...) {
        wrong->push_back("something unknown leaves the driver");
    }
    return KvTd::kExitDone;
}

Circumstances CircumstancesOf(const std::vector<Fault>& faults)
{
    Circumstances circumstances;
    circumstances.orderly = faults.empty();
    for (const Fault& fault : faults) {
        if (const auto* camera = std::get_if<sim::Fault>(&fault.what)) {
            circumstances.nullFrames += camera->effect == sim::Effect::NullFrame ? 1 : 0;
        } else if (const auto* tampering = std::get_if<FakeHost::Tampering>(&fault.what)) {
            circumstances.factoryUsed =
                circumstances.factoryUsed && tampering->service != "KvGiMem__IsFactoryUsed";
            circumstances.buffersGone =
                circumstances.buffersGone ||
                (tampering->service == "KvGiMem__GetBufPtr" &&
                 (faults.size() > 1 || (tampering->nth - 1) % (2 * kBuffers) >= kBuffers));
        }
    }
    return circumstances;
}

void CheckCameraIsFree(std::vector<std::string>* wrong)
{
    GEV_DEVICE_INFO device{};
    int count = 0;
    void* handle = nullptr;
    GevGetCameraList(&device, 1, &count);
    if (count != 1 || GevOpenCamera(&device, 2, &handle) != kGevOk) {
        wrong->push_back("the camera was not closed");
    }
    GevCloseCamera(&handle);
}

/** The codes with which a camera that is made so may be refused, each time again. */
std::vector<int> RefusalsOf(const std::vector<Fault>& faults)
{
    std::vector<int> codes;
    for (const Fault& fault : faults) {
        const auto* text = std::get_if<CameraText>(&fault.what);
        if (std::holds_alternative<StrangeRange>(fault.what)) {
            codes.push_back(KvTd::kExitConfiguration);
        } else if (text != nullptr && text->Hides()) {
            codes.push_back(KvTd::kExitNoDevice);
        }
    }
    return codes;
}

/** Texts of a camera change nothing but whether it is the maker's, and are logged whole. */
void CheckTexts(const std::vector<Fault>& faults, const sim::CameraSetup& camera, int exitCode,
                std::vector<std::string>* wrong)
{
    const auto* text = faults.size() == 1 ? std::get_if<CameraText>(&faults[0].what) : nullptr;
    if (text == nullptr) {
        return;
    }
    if (exitCode != (text->Hides() ? KvTd::kExitNoDevice : KvTd::kExitDone)) {
        wrong->push_back("with this text the session ends with " + std::to_string(exitCode));
    }
    const rig::Texts logs = Rig::Logs();
    for (const std::string& told :
         {camera.manufacturer, camera.modelName, camera.serial, camera.version}) {
        if (!text->Hides() && rig::Count(logs, told) == 0) {
            wrong->push_back("the log does not tell " + told);
        }
    }
}

/** A session without faults that follows in the same process. */
void CheckNextSession(Rig& rig, const std::vector<int>& refusals, std::vector<std::string>* wrong)
{
    rig.host.onCall = nullptr;
    rig.host.onLog = nullptr;
    rig.host.signals.clear();
    rig.host.tamperings.clear();
    rig.host.dynConfig = 0;
    rig.host.bnum = kBuffers;
    rig.host.fnum = 4;
    const std::uint64_t before = rig.host.exported;
    const int exitCode = Run(&rig.host, wrong);
    Circumstances circumstances;
    circumstances.orderly = refusals.empty();
    CheckCalls(circumstances, wrong);
    if (std::find(refusals.begin(), refusals.end(), exitCode) != refusals.end()) {
        return;
    }
    if (exitCode != KvTd::kExitDone || rig.host.exported - before != rig.host.fnum - 1) {
        wrong->push_back("the next session ends with " + std::to_string(exitCode) + " after " +
                         std::to_string(rig.host.exported - before) + " exports");
    }
}

void RunSessions(Kind kind, const std::vector<Fault>& faults, Census* census,
                 std::vector<std::string>* wrong)
{
    const std::size_t threads = ThreadCount(); // a sanitizer may keep one of its own
    const sim::CameraSetup camera = Camera(kind, faults);
    Rig rig(camera);
    {
        ScriptedHost script(rig, kind, camera);
        rig::QuickThread::allowed = true;
        rig.host.counting = census != nullptr;
        MissSomeFrames();
        Add(rig, faults);
        const int exitCode = Run(&rig.host, wrong);
        if (faults.empty() && (exitCode != KvTd::kExitDone || rig.host.exported < 30)) {
            wrong->push_back("without a fault it ends with " + std::to_string(exitCode));
        }
        if (census != nullptr) {
            Count(rig, census);
        }
        CheckCalls(CircumstancesOf(faults), wrong);
        CheckTexts(faults, camera, exitCode, wrong);
        sim::ClearFaults();
        sim::SetAttached(camera.serial, true);
        CheckCameraIsFree(wrong);
        sim::ClearJournal();
        rig::QuickThread::allowed = false;
        CheckNextSession(rig, RefusalsOf(faults), wrong);
    }
    if (IsThreadLeft(threads)) {
        wrong->push_back("a thread is left");
    }
}

} // namespace

const char* NameOf(Kind kind)
{
    return kind == Kind::ManualMono ? "manual-mono" : "automatic-color";
}

std::vector<std::string> RunWith(Kind kind, const std::vector<Fault>& faults, Census* census)
{
    // The system keeps something of a thread that ended, or doesn't, as it happens; a leak is there
    // each time.
    constexpr int kTries = 3;
    std::vector<std::string> wrong;
    for (int i = 0; i < kTries; ++i) {
        wrong.clear();
        const std::uint64_t before = rig::LiveAllocations();
        RunSessions(kind, faults, census, &wrong);
        const std::uint64_t left = rig::LiveAllocations() - before;
        if (!wrong.empty() || census != nullptr || static_cast<std::int64_t>(left) <= 0) {
            break;
        }
        wrong.push_back(std::to_string(left) + " allocations are left");
    }
    return wrong;
}

} // namespace faults
