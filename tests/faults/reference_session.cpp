#include "tests/faults/reference_session.h"

#include "tests/faults/session_checks.h"
#include "tests/support/alloc_count.h"
#include "tests/support/quick_thread.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <map>
#include <unistd.h>

namespace faults
{

namespace
{

using rig::FakeHost;
using rig::Rig;

constexpr std::uint32_t kBuffers = 4;
/** The signals that KvUtl__CheckSignal returns, by round. */
const std::map<std::uint32_t, std::uint32_t> kSignals = {
    {4, KvTd::kSignalUsr1},
    {14, KvTd::kSignalReconfigure},
    {20, KvTd::kSignalUsr2},
    {40, KvTd::kSignalTerminate},
    {61, KvTd::kSignalTerminate}}; // and in each round that comes later
constexpr std::uint32_t kDynamicChangeRound = 10;

void PlayRound(FakeHost& host, std::uint32_t round)
{
    if (round == 2 || round == 16) {
        // The control thread lives in real time. A run is the same each time only if that thread's
        // work is done at the same point.
        rig::QuickThread::AwaitPass();
    }
    host.dynConfig = round == kDynamicChangeRound ? 1 : 0;
    host.signals.clear();
    const auto signal = kSignals.find(std::min(round, kSignals.rbegin()->first));
    if (signal != kSignals.end()) {
        host.signals.push_back(signal->second);
    }
}

/** Configures everything that can be configured, asks for the camera by its model and serial
 *  number, and plays the script. */
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

Census Count(const Rig& rig)
{
    Census census;
    const auto add = [&census](const std::string& where, const std::string& name) {
        ++census.try_emplace({where, name}, Reached{0, WaysOf(where)}).first->second.times;
    };
    for (const auto& [kind, text] : sim::Journal()) {
        const std::string name = text.substr(0, text.find_first_of(kind == "gev" ? "=(" : "=."));
        if (kind == "read") {
            add("read", name);
            if (text.find(".M") < text.find('=')) { // .Min, .Max
                census[{"range", name}] = {1, WaysOf("range")};
            }
        } else if (kind == "cam") {
            add("write", name);
        } else if (kind == "gev" && name != "GevGetCameraInfo") {
            // The control thread makes that call in real time, not equally often in each run.
            add("call", name);
        }
    }
    for (const auto& [service, answers] : rig.host.answers) {
        census[{"host", service}] = {answers.count, answers.extremes};
    }
    for (const std::string_view text : CameraTexts()) {
        add("text", std::string(text));
    }
    census[{"text", "model"}].ways = {"long_text"}; // without one the camera has its model's own
    census[{"frame", "any"}] = {sim::GetCounts().frames, WaysOf("frame")};
    return census;
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
int Run(FakeHost* host, Findings* findings)
{
    host->formats.clear();
    try {
        const int exitCode = Rig::Run();
        CheckExitCode(*host, exitCode, findings);
        return exitCode;
    } catch (const std::exception& e) {
        findings->AddIf(true, "an exception leaves the driver: {}", e.what());
    } catch (...) {
        findings->AddIf(true, "something unknown leaves the driver");
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

void CheckCameraIsFree(Findings* findings)
{
    GEV_DEVICE_INFO device{};
    int count = 0;
    void* handle = nullptr;
    GevGetCameraList(&device, 1, &count);
    findings->AddIf(count != 1 || GevOpenCamera(&device, 2, &handle) != kGevOk,
                    "the camera was not closed");
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
                Findings* findings)
{
    if (faults.size() != 1 || faults[0].where != "text") {
        return;
    }
    const bool hidden = faults[0].HidesCamera();
    findings->AddIf(exitCode != (hidden ? KvTd::kExitNoDevice : KvTd::kExitDone),
                    "with this text the session ends with {}", exitCode);
    const rig::Texts logs = Rig::Logs();
    for (const std::string& told :
         {camera.manufacturer, camera.modelName, camera.serial, camera.version}) {
        findings->AddIf(!hidden && rig::Count(logs, told) == 0, "the log does not contain {}",
                        told);
    }
}

/** Runs a session without faults in the same process. */
void CheckNextSession(Rig& rig, const std::vector<int>& refusals, Findings* findings)
{
    rig.host.onCall = nullptr;
    rig.host.signals.clear();
    rig.host.tamperings.clear();
    rig.host.dynConfig = 0;
    rig.host.bnum = kBuffers;
    rig.host.fnum = 4;
    const std::uint64_t before = rig.host.exported;
    const int exitCode = Run(&rig.host, findings);
    CheckCalls({.orderly = refusals.empty()}, findings);
    const bool refused = std::count(refusals.begin(), refusals.end(), exitCode) != 0;
    const std::uint64_t exports = rig.host.exported - before;
    findings->AddIf(!refused && (exitCode != KvTd::kExitDone || exports != rig.host.fnum - 1),
                    "the next session ends with {} after {} exports", exitCode, exports);
}

Findings RunSessions(Kind kind, const std::vector<Fault>& faults, Census* census)
{
    Findings findings;
    const std::size_t threads = ThreadCount(); // a sanitizer may keep one of its own
    sim::CameraSetup camera =
        rig::SmallCamera(kind == Kind::ManualMono ? sim::Model::Mono : sim::Model::Color);
    for (const Fault& fault : faults) {
        fault.ShapeCamera(&camera);
    }
    Rig rig(camera);
    ScriptHost(rig.host, kind, camera);
    rig::QuickThread::allowed = true;
    rig::QuickThread::patient = true;
    rig.host.counting = census != nullptr;
    // Some frames are lost in every run, so that missed frames are part of the session.
    sim::AddFault(rig::FrameFault(sim::Effect::Lose, 7));
    sim::AddFault(rig::FrameFault(sim::Effect::Incomplete, 12));
    sim::AddFault(rig::FrameFault(sim::Effect::NullImage, 25));
    for (const Fault& fault : faults) {
        fault.Arm(&rig.host);
    }
    const int exitCode = Run(&rig.host, &findings);
    findings.AddIf(faults.empty() && (exitCode != KvTd::kExitDone || rig.host.exported < 30),
                   "without a fault it ends with {} after {} exports", exitCode, rig.host.exported);
    if (census != nullptr) {
        *census = Count(rig);
    }
    CheckCalls(CircumstancesOf(faults), &findings);
    CheckTexts(faults, camera, exitCode, &findings);
    sim::ClearFaults();
    sim::SetAttached(camera.serial, true);
    CheckCameraIsFree(&findings);
    sim::ClearJournal();
    rig::QuickThread::allowed = false;
    CheckNextSession(rig, RefusalsOf(faults), &findings);
    findings.AddIf(IsThreadLeft(threads), "a thread is left");
    return findings;
}

} // namespace

std::vector<std::string> RunWith(Kind kind, const std::vector<Fault>& faults, Census* census)
{
    // Whether the system frees all that belongs to an ended thread differs from run to run; a leak
    // shows each time.
    constexpr int kTries = 3;
    Findings findings;
    for (int i = 0; i < kTries; ++i) {
        findings = {};
        const std::uint64_t before = rig::LiveAllocations();
        findings = RunSessions(kind, faults, census);
        const auto left = static_cast<std::int64_t>(rig::LiveAllocations() - before);
        if (!findings.sentences.empty() || census != nullptr || left <= 0) {
            break;
        }
        findings.AddIf(true, "{} allocations are left", left);
    }
    return findings.sentences;
}

} // namespace faults
