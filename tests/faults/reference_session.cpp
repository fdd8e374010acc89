#include "tests/faults/reference_session.h"

#include "tests/faults/session_checks.h"
#include "tests/support/alloc_count.h"
#include "tests/support/quick_thread.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <unistd.h>

namespace faults
{

namespace
{

using rig::FakeHost;
using rig::Rig;

constexpr std::uint32_t kBuffers = 4;
constexpr std::uint32_t kRoundsAtMost = 60; ///< after which the session is told to terminate

/** The signals that KvUtl__CheckSignal returns, by round. */
struct Signal {
    std::uint32_t round;
    std::uint32_t state;
};
constexpr Signal kScript[] = {{4, KvTd::kSignalUsr1},
                              {14, KvTd::kSignalReconfigure},
                              {20, KvTd::kSignalUsr2},
                              {40, KvTd::kSignalTerminate}};
constexpr std::uint32_t kDynamicChangeRound = 10;

void PlayRound(FakeHost& host, std::uint32_t round)
{
    if (round == 2 || round == 16) {
        // The control thread lives in real time. A run is the same each time only if that thread's
        // work is done at the same point.
        rig::QuickThread::AwaitPass();
    }
    host.dynConfig = round == kDynamicChangeRound ? 1 : 0;
    const auto* const line =
        std::find_if(std::begin(kScript), std::end(kScript),
                     [round](const Signal& signal) { return signal.round == round; });
    host.signals.clear();
    if (line != std::end(kScript)) {
        host.signals.push_back(line->state);
    } else if (round > kRoundsAtMost) {
        host.signals.push_back(KvTd::kSignalTerminate);
    }
}

/** Configures everything that can be configured, asks for the camera by its model and serial
 * number, and plays the script. */
void ScriptHost(FakeHost& host, Kind kind, const sim::CameraSetup& camera)
{
    host.model = camera.modelName.c_str();
    host.id = camera.serial.c_str();
    host.bnum = kBuffers;
    host.width = 48;
    host.height = 32;
    host.offsetX = 8;
    host.offsetY = 8;
    host.fps = 100;
    host.rotate = KvTd::kRotateTurned;
    host.tsadjns = kind == Kind::ManualMono ? 0 : 1500;
    host.ioboxes = {{KvTd::TD_PIN_OUT1, 1, 2, 0, {100, 500}},
                    {KvTd::TD_PIN_OUT2, 1, 3, 2, {0, 800}}};
    host.lut.assign(65536, 0); // a host that tells of more entries has them
    host.lut.resize(256);
    for (std::size_t i = 0; i < host.lut.size(); ++i) {
        host.lut[i] = static_cast<std::uint16_t>(255 - i);
    }
    host.lutBitSize = 8;
    host.sweepLutMod = KvTd::kSweepManual;
    if (kind == Kind::ManualMono) {
        host.AskForManual(6, 2000);
        host.gamma = 0.7F;
    } else {
        host.format = KvTd::kFormatBayer8;
        host.AskForAutomatics();
    }
    host.dynamicLut = rig::RisingTable;
    host.onCall = [&host, round = 0U](std::string_view service) mutable {
        if (service == "KvUtl__CheckSignal") {
            PlayRound(host, ++round);
        } else if (service == "KvGi__DoReconfig") {
            host.exptMan = 1500;
            host.ioboxes[0].parameters[0] = 200;
        }
    };
}

sim::CameraSetup Camera(Kind kind, const std::vector<Fault>& faults)
{
    sim::CameraSetup camera =
        rig::SmallCamera(kind == Kind::ManualMono ? sim::Model::Mono : sim::Model::Color);
    for (const Fault& fault : faults) {
        fault.ShapeCamera(&camera);
    }
    return camera;
}

/** Loses some frames in every run, so that missed frames are part of the session. */
void MissSomeFrames()
{
    sim::AddFault(rig::FrameFault(sim::Effect::Lose, 7));
    sim::AddFault(rig::FrameFault(sim::Effect::Incomplete, 12));
    sim::AddFault(rig::FrameFault(sim::Effect::NullImage, 25));
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
    // The control thread calls it in real time, so the number of calls differs from run to run.
    census->calls.erase("GevGetCameraInfo");
    census->answers = rig.host.answers;
    census->frames = sim::GetCounts().frames;
}

std::size_t ThreadCount()
{
    const std::filesystem::directory_iterator tasks("/proc/self/task");
    return static_cast<std::size_t>(std::distance(begin(tasks), end(tasks)));
}

/** Whether there are more threads than before. The system lists a thread a little longer than it
 *  lives. */
bool IsThreadLeft(std::size_t before)
{
    constexpr int kLooks = 5000;
    for (int look = 0; look < kLooks && ThreadCount() > before; ++look) {
        usleep(1000);
    }
    return ThreadCount() > before;
}

/** Runs one session through the library's entry, which no exception may leave. */
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
        circumstances.nullFrames += fault.how == "null_frame" ? 1 : 0;
        circumstances.factoryUsed &= fault.name != "KvGiMem__IsFactoryUsed";
        circumstances.buffersGone |=
            fault.name == "KvGiMem__GetBufPtr" &&
            (faults.size() > 1 || (fault.nth - 1) % (2 * kBuffers) >= kBuffers);
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

/** The exit codes with which a camera of this shape may be refused, each time that it is used. */
std::vector<int> RefusalsOf(const std::vector<Fault>& faults)
{
    std::vector<int> codes;
    for (const Fault& fault : faults) {
        if (fault.where == "range") {
            codes.push_back(KvTd::kExitConfiguration);
        } else if (fault.HidesCamera()) {
            codes.push_back(KvTd::kExitNoDevice);
        }
    }
    return codes;
}

/** A camera's texts decide only whether it is the manufacturer's, and are logged in full. */
void CheckTexts(const std::vector<Fault>& faults, const sim::CameraSetup& camera, int exitCode,
                std::vector<std::string>* wrong)
{
    if (faults.size() != 1 || faults[0].where != "text") {
        return;
    }
    const bool hidden = faults[0].HidesCamera();
    if (exitCode != (hidden ? KvTd::kExitNoDevice : KvTd::kExitDone)) {
        wrong->push_back("with this text the session ends with " + std::to_string(exitCode));
    }
    const rig::Texts logs = Rig::Logs();
    for (const std::string& told :
         {camera.manufacturer, camera.modelName, camera.serial, camera.version}) {
        if (!hidden && rig::Count(logs, told) == 0) {
            wrong->push_back("the log does not contain " + told);
        }
    }
}

/** Runs a session without faults in the same process. */
void CheckNextSession(Rig& rig, const std::vector<int>& refusals, std::vector<std::string>* wrong)
{
    rig.host.onCall = nullptr;
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
    ScriptHost(rig.host, kind, camera);
    rig::QuickThread::allowed = true;
    rig::QuickThread::patient = true;
    rig.host.counting = census != nullptr;
    MissSomeFrames();
    for (const Fault& fault : faults) {
        fault.Arm(&rig.host);
    }
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
    // Whether the system frees all that belongs to an ended thread differs from run to run; a leak
    // shows each time.
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
