/** How frames are stamped in a session: the clock's events with their texts and numbers. What the
 *  clock decides is tested in tests/util; here a frame arrives 10 267 us after its exposure began,
 *  so that 10 267 is the start latency and 10 262 the expected lag. */
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

constexpr std::int64_t kSecondUs = 1'000'000;

/** Two frames a second: seven early or late frames re-anchor, three very late ones. */
class StampRig : public Rig
{
public:
    explicit StampRig(unsigned tickBits = 64) : Rig(Setup(tickBits)) { Open(); }
    /** So many frames; the events that the clock told of. */
    Texts Frames(std::uint32_t count)
    {
        host.fnum = count;
        EXPECT_EQ(Loop(), 0);
        Texts events = Logs("ProcLoop");
        std::erase_if(events, [](const std::string& line) {
            return line.find("Loop_") == std::string::npos ||
                   line.find("time budget") != std::string::npos;
        });
        return events;
    }
    /** The n-th announced time, microseconds after the loop's start. */
    static std::int64_t Announced(std::size_t n)
    {
        const std::string call = HostCalls("KvGi__CommTriggerAll").at(n - 1);
        return std::stoll(call.substr(call.find('(') + 1)) - ManualTime::kEpochUs -
               ManualTime::kStartNs / 1000;
    }

private:
    static sim::CameraSetup Setup(unsigned tickBits)
    {
        sim::CameraSetup setup = SmallCamera();
        setup.values = {{"AcquisitionFrameRate", "2"}};
        setup.tickBits = tickBits;
        return setup;
    }
};

} // namespace

TEST(Stamps, RegularOnesAdvanceByThePeriod)
{
    //      exposure    0          500 000      1 000 000
    //      announced   500 005    1 000 005    ...          5 us of latency on top
    StampRig rig;
    EXPECT_THAT(rig.Frames(4), IsEmpty());
    EXPECT_EQ(StampRig::Announced(1), 500'005);
    EXPECT_EQ(StampRig::Announced(2), 1'000'005);
    EXPECT_EQ(StampRig::Announced(3), 1'500'005);
    EXPECT_THAT(Rig::HostCalls("KvSc__ProcExport"),
                ElementsAre("KvSc__ProcExport(1000000010500005)",
                            "KvSc__ProcExport(1000000011000005)",
                            "KvSc__ProcExport(1000000011500005)"))
        << "what was announced is exported";
}

TEST(Stamps, OfTheCameraStartWithTheSecondFrame)
{
    StampRig rig;
    rig.host.tsadjns = 1000;
    EXPECT_THAT(rig.Frames(3),
                ElementsAre("3 ProcLoop: Loop_2(2): init TS trigger oldD=1000000000000005, "
                            "newD=1000000000000005, oldFTS=0, newFTS=1000000010500005"));
    EXPECT_EQ(Rig::HostCalls("KvGi__CommTriggerAll").size(), 2U) << "none with the first frame";
    EXPECT_EQ(StampRig::Announced(1), 1'000'005);
}

TEST(Stamps, OfTheCameraDoNotFollowASteppedWallClock)
{
    //      the wall clock is set 300 us forward before the third frame, the camera's is not
    StampRig rig;
    rig.host.tsadjns = 100;
    int exports = 0;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvSc__ProcExport" && ++exports == 1) {
            rig.time.wallStepUs = 300;
        }
    };
    rig.Frames(4);
    EXPECT_EQ(StampRig::Announced(2), 1'500'005);
    EXPECT_EQ(StampRig::Announced(3), 2'000'005);
}

TEST(Stamps, WrapOfTheCameraIsToldOnce)
{
    //      34 bits of nanoseconds are 17.179 869 184 s; the clock starts at 10 s
    StampRig rig(34);
    EXPECT_THAT(rig.Frames(20), ElementsAre("3 ProcLoop: Loop_16(16): bTS wrap is detected: old "
                                            "17000000us, new 320130us"));
}

TEST(Stamps, EarlyAndLateFramesAreToldWithTheirNumbers)
{
    // The wall clock is set by so much after each export, so that each arrival seems early or late.
    struct Case {
        std::int64_t stepUs;
        std::uint32_t frames;
        const char* told;
    };
    for (const Case& c :
         {Case{-2000, 10,
               "3 ProcLoop: Loop_9(9): cam is Fast (8262us < 9236us), TS readjusting..."},
          Case{2000, 10,
               "3 ProcLoop: Loop_9(9): cam is Slow or frames delaying (12262 >= 11288), TS "
               "readjusting..."},
          Case{40'000, 5,
               "2 ProcLoop: Loop_5(5): cam is extra-Slow or frames delay (50262 >= 41048), TS "
               "readjusting..."}}) {
        StampRig rig;
        rig.host.onCall = [&](std::string_view service) {
            rig.time.wallStepUs += service == "KvSc__ProcExport" ? c.stepUs : 0;
        };
        EXPECT_THAT(rig.Frames(c.frames), ElementsAre(c.told));
    }
}

TEST(Stamps, OverflowOfTheDriftCorrectionIsTold)
{
    //      the wall clock is set 800 s forward after the second frame: at 2.147 us per us that is
    //      1.7e9 us of correction, beyond 0x60000000
    StampRig rig;
    rig.host.tsadjns = 2'147'483'647;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvSc__ProcExport") {
            rig.time.wallStepUs = 800 * kSecondUs;
        }
    };
    EXPECT_THAT(rig.Frames(3),
                ElementsAre(testing::HasSubstr("init TS trigger"),
                            "3 ProcLoop: Loop_3(3): sync adjust us value 1719060659 overflow "
                            "protection trigger"));
}

TEST(Stamps, FirstFrameWithoutAStampCountsFromItsHalves)
{
    //      stamp 0, halves 10 000 000 us: latency = exposure 10 000 + 10 000 000
    StampRig rig;
    sim::AddFault(FrameFault(sim::Effect::ZeroTimestamp, 1));
    rig.Frames(1);
    EXPECT_THAT(Rig::Logs(), Contains("3 ProcLoop: Init timings: latencyUs=10010000, "
                                      "tsDiffAdjUs=1000000000000272, "
                                      "diffCheck=10009995 (btsFGotUs=10000000, btsFStartUs=0)"));
    EXPECT_THAT(Rig::Of("host"), Contains("KvSc__SetParamVal(9, 0)"));
}

TEST(Stamps, MissedRoundsBeforeTheFirstFrameAreTakenOffItsLatency)
{
    //      0          500 000 (lost)    1 000 000   1 010 267
    //      start      |◄── the wait times out after 1 s, once ──►| frame 3 arrives
    StampRig rig;
    sim::AddFault(FrameFault(sim::Effect::Lose, 1, 2));
    rig.Frames(1);
    EXPECT_THAT(Rig::Logs(), Contains(testing::HasSubstr("Init timings: latencyUs=510267,")));
}
