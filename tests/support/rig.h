/** A driver between a scripted host and simulated cameras, all on one manual clock.
 *
 *  Two uses: Open() a camera and call operations of `Cam()` and `proc` one by one, or Run() whole
 *  sessions through the library's entry. Grab thread only; one rig per process, since the driver's
 *  statics live as long as the process. */
#pragma once

#include "kv_td_excam.h"
#include "kv_td_proc.h"
#include "sim_control.h"
#include "tests/support/fake_host.h"
#include "tests/support/manual_time.h"

#include <initializer_list>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace rig
{

using Texts = std::vector<std::string>;

/** 64x48 pixels, 30 frames per second, an untouched picture, ticks in nanoseconds. */
sim::CameraSetup SmallCamera(sim::Model model = sim::Model::Mono);
/** The same with these values at power-up, or without these features. */
sim::CameraSetup Having(std::vector<std::pair<std::string, std::string>> values,
                        sim::Model model = sim::Model::Mono);
sim::CameraSetup Lacking(std::vector<std::string> features, sim::Model model = sim::Model::Mono);

class Rig
{
public:
    explicit Rig(const sim::CameraSetup& setup = SmallCamera());
    /** No camera at all. */
    explicit Rig(std::nullptr_t);
    ~Rig();
    Rig(const Rig&) = delete;
    Rig& operator=(const Rig&) = delete;

    /** Opens the first camera of the network, as the library's entry does, and starts a fresh
     *  journal. */
    KvTd::CExCam& Open();
    KvTd::CExCam& Cam() { return *cam_; }
    /** Lets the opened camera grab into two buffers; not into the journal. */
    void StartTransfer();

    /** One session through KvLibProc. */
    static int Run();
    /** One run of the grab loop on the opened camera. */
    int Loop();

    /** Texts of one kind, in order. */
    static Texts Of(std::string_view kind);
    /** "kind text" of several kinds, in order. "log" means all levels. */
    static Texts Of(std::initializer_list<std::string_view> kinds);
    /** "3 ProcLoop: message", of one function when it is given. */
    static Texts Logs(std::string_view function = {});
    /** Host calls whose text begins with `prefix`. */
    static Texts HostCalls(std::string_view prefix);
    static void Clear() { sim::ClearJournal(); }
    /** A feature of the first camera, beside the journal. */
    static std::string Feature(const char* name) { return sim::FeatureText("S0000001", name); }
    static void SetFeature(const char* name, const char* value)
    {
        sim::SetFeatureText("S0000001", name, value);
    }

    /** Records nothing from now on, neither in the journal nor in the host. */
    void BeQuiet();

    ManualTime time;
    FakeHost host;
    KvTd::CCamProc proc;
    void* handle = nullptr; ///< of the opened camera

private:
    std::unique_ptr<KvTd::CExCam> cam_;
    std::vector<std::uint8_t> memory_;
    GEV_DEVICE_INFO info_{};
};

/** A call that fails each time, and faults that take effect at the n-th match, `times` times in a
 * row.
 */
sim::Fault CallFails(const char* call, int status = kGevError);
sim::Fault FrameFault(sim::Effect effect, std::uint64_t nth, std::uint64_t times = 1,
                      std::int64_t value = 0);
sim::Fault AccessThrows(sim::Trigger trigger, const char* feature,
                        sim::ExceptionKind kind = sim::ExceptionKind::Runtime,
                        std::uint64_t nth = 1);

/** From the first of `texts` that contains `from` to the next that contains `to`, both included. */
Texts Between(const Texts& texts, std::string_view from, std::string_view to);
/** One text a line, between two line feeds: as it stands in a raw string. */
std::string Story(const Texts& texts);
/** The same, each run of writes to a look-up table as one text: "cam LUT[256]=0..255". */
Texts FoldTables(const Texts& texts);
/** How many of `texts` contain `part`. */
std::size_t Count(const Texts& texts, std::string_view part);

} // namespace rig
