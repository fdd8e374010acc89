#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;

namespace
{

/** A session in the middle of grabbing: configured and running, the journal fresh. */
class SignalRig : public Rig
{
public:
    SignalRig()
    {
        std::uint32_t buffers = 4;
        proc.ProcSetCamConfig(&Open(), &buffers);
        Clear();
    }
};

struct SignalCase {
    const char* name;
    int state;
    void (*prepare)(Rig& rig) = [](Rig&) {};
};

template <int result, int flag> void Refuse(Rig& rig)
{
    rig.host.reconfigResult = result;
    rig.host.reconfigFlag = flag;
}

template <int excursion, std::uint8_t bits> void InState(Rig& rig)
{
    rig.proc.reconfigState = excursion;
    rig.proc.dataBits = bits;
}

constexpr SignalCase kSignals[] = {
    {"nothing pending", 0},
    {"a dynamic change", 0,
     [](Rig& rig) {
         rig.host.dynConfig = 1;
         rig.host.tsadjns = 1500; // the time-stamp mode stays
     }},
    {"a dynamic change while the dynamic LUT has work", 0,
     [](Rig& rig) {
         rig.host.dynConfig = 1;
         rig.proc.usrSignalPending = 1;
     }},
    {"a dynamic change during an excursion", 0,
     [](Rig& rig) {
         rig.host.dynConfig = 1;
         rig.proc.reconfigState = 6;
     }},
    {"terminate", 1},
    {"quit", 5},
    {"reconfiguration with the same region", 2,
     [](Rig& rig) {
         rig.host.width = 64;
         rig.host.tsadjns = 1500; // the time-stamp mode is chosen again
     }},
    {"reconfiguration with another region", 2, [](Rig& rig) { rig.host.width = 32; }},
    {"the host refuses, -1 and the flag", 2, Refuse<-1, 1>},
    {"the host refuses, 3 and the flag", 2, Refuse<3, 1>},
    {"the host takes over, with the flag", 2, Refuse<0, 1>},
    {"the host refuses, -1 without the flag", 2, Refuse<-1, 0>},
    {"the host refuses, 3 without the flag", 2, Refuse<3, 0>},
    {"USR2 with 8 bits", 4, InState<0, 8>},
    {"USR2 with 12 bits", 4, InState<0, 12>},
    {"USR2 on the way to 12 bits", 4, InState<6, 8>},
    {"USR2 for the way back", 4, InState<7, 12>},
    {"USR1", 3},
    {"an unknown state", 6},
    {"a negative state", -1},
};

} // namespace

TEST(Signals, EachStateTellsItsStory)
{
    Texts story;
    for (const SignalCase& c : kSignals) {
        SignalRig rig;
        c.prepare(rig);
        rig.host.onCall = [&rig](std::string_view service) { // whole seconds are left out
            rig.time.AdvanceUs(service == "KvGiMainCtx__GetSweepProf" ? 1'500'000 : 0);
        };
        bool stop = true; // to see whether it is written
        rig.proc.lastSignal = c.state;
        const int result = rig.proc.ProcSignal(&rig.Cam(), 42, &stop);
        Texts lines = Rig::Of({"host", "gev", "log", "cam"});
        char fields[100];
        snprintf(fields, sizeof fields,
                 "result %i, stop %i, signal %i, step %u, excursion %i, tsAdjNs %i", result,
                 static_cast<int>(stop), rig.proc.lastSignal, rig.proc.usrSignalPending,
                 rig.proc.reconfigState, rig.proc.tsAdjNs);
        lines.emplace_back(fields);
        Append(story, c.name, lines);
    }
    EXPECT_TRUE(IsStory("signals", story));
}

TEST(Signals, StopFlagMayBeNull)
{
    SignalRig rig;
    for (const int state : {0, 1, 2, 3, 4}) {
        rig.proc.lastSignal = state;
        EXPECT_EQ(rig.proc.ProcSignal(&rig.Cam(), 1, nullptr), 0);
    }
}

TEST(Signals, Usr1IsTakenByItsOwnOperation)
{
    SignalRig rig;
    rig.host.signals = {4, 3};
    for (const auto& [signal, left, step] : {std::tuple{4, 4, 0U}, {3, 0, 1U}}) {
        rig.proc.ProcLookSignal();
        EXPECT_EQ(rig.proc.lastSignal, signal);
        EXPECT_EQ(rig.proc.ProcSignalUsr(7), 0);
        EXPECT_EQ(rig.proc.lastSignal, left);
        EXPECT_EQ(rig.proc.usrSignalPending, step);
    }
    EXPECT_THAT(Rig::Logs(),
                ElementsAre("3 ProcSignalUsr: Grabbed 7 images, processing SIGUSR1..."));
}
