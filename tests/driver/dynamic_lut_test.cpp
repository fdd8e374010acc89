#include "alloc_count.h"
#include "kv_td_factory.h"
#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdlib>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;
using testing::IsEmpty;

namespace
{

class LutRig : public Rig
{
public:
    LutRig()
    {
        Open();
        proc.dataBits = 8;
        proc.pixelBits = 8;
        proc.roiWidth = 64;
        proc.roiHeight = 48;
        host.dynamicLut = [](std::uint8_t bits, std::uint16_t* lut) {
            for (std::size_t i = 0; i < (std::size_t{1} << bits); ++i) {
                lut[i] = static_cast<std::uint16_t>(bits == 12 ? i : i % 128 * 32);
            }
        };
    }
    ~LutRig() { proc.usrSignalPending = 0; }

    /** A session; its log without what others than the dynamic LUT have to tell. */
    int Session() { return proc.ProcOnce(&Cam(), &kvBufFactory); }
    static Texts Told()
    {
        Texts told;
        for (const std::string& text : Of({"log", "host", "cam", "gev"})) {
            for (const char* part :
                 {"ProcDynamLut", "SIGUSR", "LutDynam", "lutMode", "LUTValue=", "GevAbort",
                  "GevStart", "PixelFormat=", "START GRABBING", "12-bit mode", "8-bit mode"}) {
                const bool isEntry = text.starts_with("cam LUTValue=");
                if (text.find(part) != std::string::npos && !isEntry) {
                    told.push_back(text.substr(0, text.find(" (bufferFrameSize")));
                    break;
                }
            }
        }
        return told;
    }
    static Texts Entries()
    {
        Texts entries;
        for (const std::string& text : Of("cam")) {
            if (text.starts_with("LUTValue=")) {
                entries.push_back(text.substr(9));
            }
        }
        return entries;
    }
};

} // namespace

TEST(DynamicLut, CalculatesAndAppliesInTheThirdCall)
{
    LutRig rig;
    rig.proc.usrSignalPending = 2;
    rig.proc.ProcDynamLut(&rig.Cam());
    EXPECT_EQ(rig.proc.usrSignalPending, 3U);
    rig.proc.ProcDynamLut(&rig.Cam());
    EXPECT_EQ(rig.proc.usrSignalPending, 4U);
    rig.proc.ProcDynamLut(&rig.Cam());
    EXPECT_EQ(rig.proc.usrSignalPending, 0U);
    EXPECT_EQ(Story(LutRig::Told()), R"(
log3 kv_td_proc:ProcDynamLut: dynamic LUT is waiting for new clear picture 2 frames yet
log3 kv_td_proc:ProcDynamLut: dynamic LUT is waiting for new clear picture 1 frame yet
log3 kv_td_proc:ProcDynamLut: allocated CDF array for 8 bits pixel
log3 kv_td_proc:ProcDynamLut: allocated LUT array for 8 bits pixel
host KvGi__CalcLutDynam(64, 48, 64, 8)
host KvGi__GetLutDynam(8, 12)
log3 kv_td_proc:ProcDynamLut: a new LUT was dynamically calculated...
gev GevAbortTransfer()=-5
cam lutMode=Active
gev GevStartTransfer(-1)=-5
log3 kv_td_proc:ProcDynamLut: continue operation with new LUT (dynamically calculated)...
)");
    const Texts entries = LutRig::Entries();
    ASSERT_EQ(entries.size(), 256U);
    EXPECT_EQ(entries[2], "2");     // knot 1: 32
    EXPECT_EQ(entries[3], "3");     // between 32 and 64
    EXPECT_EQ(entries[255], "254"); // knot 127 again
    EXPECT_NE(rig.proc.dynLut, nullptr) << "kept for the next request";
    EXPECT_NE(rig.proc.dynCdf, nullptr);
    std::free(rig.proc.dynLut);
    std::free(rig.proc.dynCdf);
}

TEST(DynamicLut, StepsWithoutWorkDoNothing)
{
    LutRig rig;
    for (const std::uint32_t step : {0U, 1U, 6U, 7U, 9U, 0xFFFFFFFFU}) {
        rig.proc.usrSignalPending = step;
        rig.proc.ProcDynamLut(&rig.Cam());
        EXPECT_EQ(rig.proc.usrSignalPending, step);
    }
    EXPECT_THAT(Rig::Of({"log", "host", "cam", "gev", "read"}), IsEmpty());
    EXPECT_EQ(rig.proc.dynLut, nullptr);
}

TEST(DynamicLut, WithoutMemoryTheRequestIsDropped)
{
    if (!CountsAllocations()) {
        GTEST_SKIP() << "allocations can't be refused under a sanitizer";
    }
    for (const std::size_t refused : {std::size_t{4} << 12, std::size_t{2} << 12}) {
        LutRig rig;
        rig.proc.pixelBits = 12;
        rig.proc.dataBits = 12;
        rig.proc.usrSignalPending = 4;
        rig.proc.reconfigState = 6;
        RefuseAllocationsOf(refused);
        rig.proc.ProcDynamLut(&rig.Cam());
        RefuseAllocationsOf(0);
        EXPECT_EQ(rig.proc.usrSignalPending, 0U);
        EXPECT_EQ(rig.proc.reconfigState, 6);
        EXPECT_EQ(rig.proc.dynLut, nullptr);
        EXPECT_EQ(rig.proc.dynCdf, nullptr);
        EXPECT_THAT(Rig::HostCalls(""), IsEmpty());
    }
}

TEST(DynamicLut, FailedTableWriteIsNotLookedAt)
{
    LutRig rig;
    rig.proc.dataBits = 12; // refuses the table
    rig.proc.pixelBits = 16;
    rig.proc.usrSignalPending = 4;
    rig.proc.ProcDynamLut(&rig.Cam());
    EXPECT_EQ(rig.proc.usrSignalPending, 0U);
    EXPECT_EQ(Count(Rig::Logs(), "LUT is not supported for 12 bit pixel format"), 1U);
    EXPECT_EQ(Count(Rig::Logs("ProcDynamLut"), "continue operation with new LUT"), 1U);
    std::free(rig.proc.dynLut);
    std::free(rig.proc.dynCdf);
}

TEST(DynamicLut, LoopTakesARequestUpBehindTheNextGoodFrame)
{
    LutRig rig;
    rig.host.signals = {0, 3};
    rig.host.fnum = 8;
    sim::AddFault(FrameFault(sim::Effect::Incomplete, 3));
    EXPECT_EQ(rig.Session(), 0);
    EXPECT_THAT(Rig::Of({"log", "gev"}), Not(IsEmpty()));
    std::vector<std::size_t> waits; // how many waits for a frame came before each line
    std::size_t count = 0;
    for (const std::string& text : Rig::Of({"log", "gev"})) {
        count += text.find("GevWaitForNextFrame") != std::string::npos ? 1 : 0;
        if (text.find("SIGUSR1") != std::string::npos ||
            text.find("ProcDynamLut") != std::string::npos) {
            waits.push_back(count);
        }
    }
    // The request comes with frame 2, the third round has no frame, 4 and 5 wait, 6 computes.
    EXPECT_THAT(waits, ElementsAre(2, 4, 5, 6, 6, 6, 6));
    EXPECT_EQ(LutRig::Entries().size(), 256U);
    EXPECT_EQ(rig.proc.dynLut, nullptr) << "freed with the session";
}

TEST(DynamicLut, ExcursionComputesInTwelveBitsAndComesBack)
{
    LutRig rig;
    rig.host.signals = {0, 4};
    int runs = 0;
    rig.host.onCall = [&](std::string_view service) {
        if (service == "KvGiMem__Init" && ++runs == 3) {
            rig.host.signals = {0, 0, 1};
        }
    };
    EXPECT_EQ(rig.Session(), 0);
    EXPECT_EQ(Story(LutRig::Told()), R"(
cam PixelFormat=Mono8
log3 kv_td_proc:ProcLoop: START GRABBING
gev GevStartTransfer(-1)=0
log3 kv_td_proc:ProcSignal: Grabbed 2 images, processing SIGUSR2...
gev GevAbortTransfer()=0
log3 kv_td_proc:ProcSignal: ...Switching to 12-bit mode for dynamic LUT calculation/applying...
cam PixelFormat=Mono12Packed
log3 kv_td_proc:ProcLoop: START GRABBING
gev GevStartTransfer(-1)=0
log3 kv_td_proc:ProcDynamLut: dynamic LUT is waiting for new clear picture 2 frames yet
log3 kv_td_proc:ProcDynamLut: dynamic LUT is waiting for new clear picture 1 frame yet
log3 kv_td_proc:ProcDynamLut: allocated CDF array for 12 bits pixel
log3 kv_td_proc:ProcDynamLut: allocated LUT array for 12 bits pixel
host KvGi__CalcLutDynam(64, 48, 64, 12)
gev GevAbortTransfer()=0
host KvGi__GetLutDynam(12, 12)
log3 kv_td_proc:ProcDynamLut: a new LUT was dynamically calculated...
log3 kv_td_proc:ProcSignal: Grabbed 4 images, processing SIGUSR2...
gev GevAbortTransfer()=0
log3 kv_td_proc:ProcSignal: ...Switching back to 8-bit mode...
cam PixelFormat=Mono8
log3 kv_td_proc:ProcLoop: START GRABBING
gev GevStartTransfer(-1)=0
gev GevAbortTransfer()=0
cam lutMode=Active
gev GevStartTransfer(-1)=0
log3 kv_td_proc:ProcDynamLut: continue operation with new LUT (dynamically calculated)...
gev GevAbortTransfer()=0
)");
    const Texts entries = LutRig::Entries();
    ASSERT_EQ(entries.size(), 256U);
    EXPECT_EQ(entries[1], "1"); // every 16th of 4096, rounded
    EXPECT_EQ(entries[255], "255");
    EXPECT_EQ(rig.proc.reconfigState, 0);
    EXPECT_EQ(rig.proc.usrSignalPending, 0U);
}

TEST(DynamicLut, TerminateThatStaysPendingEndsAnExcursionInAFewFrames)
{
    LutRig rig;
    rig.host.signals = {0, 4};
    int frames = 0;
    rig.host.onCall = [&](std::string_view service) {
        frames += service == "KvGi__HaltStop" ? 1 : 0;
        if (service == "KvUtl__CheckSignal" && rig.host.signals.empty()) {
            rig.host.signals = {1};
        }
    };
    EXPECT_EQ(rig.Session(), 0);
    EXPECT_EQ(frames, 7) << "2 in 8 bits, 4 in 12, 1 to write the table";
    EXPECT_EQ(rig.proc.loopRuns, 6U);
    EXPECT_EQ(LutRig::Entries().size(), 256U);
    EXPECT_EQ(rig.host.format, kFormatMono8);
}
