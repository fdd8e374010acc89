/** Time stamps in a session: the frame clock's events with their texts and numbers, and the
 *  announced and exported times. The decisions of the frame clock are tested in tests/util. Here a
 *  frame arrives 10 267 us after the start of its exposure, so that 10 267 is the start latency and
 *  10 262 the expected lag. */
#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;

namespace
{

struct StampCase {
    const char* name;
    std::uint32_t frames;
    std::int32_t tsAdjNs = 0;
    std::int64_t stepUs = 0;  ///< the wall clock is set by so much at an export
    bool everyExport = false; ///< or else at the first alone
    unsigned tickBits = 64;
    void (*fault)() = [] {};
};

// Two frames a second: seven early or late frames re-anchor, three very late ones.
constexpr StampCase kStamps[] = {
    //      exposure    0          500 000      1 000 000
    //      announced   500 005    1 000 005    ...          5 us of latency on top
    {"regular", 4},
    {"of the camera, from the second frame on", 3, 1000},
    {"of the camera, which does not follow a wall clock set forward", 4, 100, 300},
    //      34 bits of nanoseconds are 17.179 869 184 s; the clock starts at 10 s
    {"wrap of the camera's ticks", 18, 0, 0, false, 34},
    {"early frames", 10, 0, -2000, true},
    {"late frames", 10, 0, 2000, true},
    {"very late frames", 5, 0, 40'000, true},
    //      800 s at 2.147 us per us are 1.7e9 us of correction, beyond 0x60000000
    {"overflow of the drift correction", 3, 2'147'483'647, 800'000'000},
    //      stamp 0, halves 10 000 000 us: latency = exposure 10 000 + 10 000 000
    {"first frame without a stamp", 1, 0, 0, false, 64,
     [] { sim::AddFault(FrameFault(sim::Effect::ZeroTimestamp, 1)); }},
    //      0          500 000 (lost)    1 000 000   1 010 267
    //      start      |◄── the wait times out after 1 s, once ──►| frame 3 arrives
    {"missed rounds before the first frame", 1, 0, 0, false, 64,
     [] { sim::AddFault(FrameFault(sim::Effect::Lose, 1, 2)); }},
};

} // namespace

TEST(Stamps, EventsAreToldWithTheirNumbers)
{
    Texts story;
    for (const StampCase& c : kStamps) {
        sim::CameraSetup setup = Having({{"AcquisitionFrameRate", "2"}});
        setup.tickBits = c.tickBits;
        Rig rig(setup);
        rig.Open();
        rig.host.fnum = c.frames;
        rig.host.tsadjns = c.tsAdjNs;
        int exports = 0;
        rig.host.onCall = [&](std::string_view service) {
            if (service == "KvSc__ProcExport" && (++exports == 1 || c.everyExport)) {
                rig.time.wallStepUs += c.stepUs;
            }
        };
        c.fault();
        EXPECT_EQ(rig.Loop(), 0);
        Texts lines = Rig::Of({"log", "host"});
        std::erase_if(lines, [](const std::string& text) {
            const bool event = text.find("Loop_") != text.npos || text.find("Init ") != text.npos;
            return text.find("time budget") != text.npos ||
                   (!event && text.find("Comm") == text.npos && text.find("Export") == text.npos);
        });
        Append(story, c.name, lines);
    }
    EXPECT_TRUE(IsStory("stamps", story));
}
