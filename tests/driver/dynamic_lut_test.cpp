#include "kv_td_factory.h"
#include "tests/support/alloc_count.h"
#include "tests/support/rig.h"

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
    ~LutRig()
    {
        std::free(proc.dynLut);
        std::free(proc.dynCdf);
    }

    /** One call in this step and excursion. */
    void Step(std::uint32_t step, std::int32_t excursion)
    {
        proc.usrSignalPending = step;
        proc.reconfigState = excursion;
        proc.ProcDynamLut(&Cam());
    }

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
host KvGi__CalcLutDynam(null, 64, 48, 64, 8)
host KvGi__GetLutDynam(8, statistics, 12)
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
}

TEST(DynamicLut, StepsBesideTheCalculation)
{
    struct Case {
        std::uint32_t step;
        std::int32_t excursion;
        bool hasTable;
        std::uint32_t stepAfter;
        std::int32_t excursionAfter;
        bool keepsTable;
        bool writes;
    };
    for (const Case& c : {Case{0, 0, true, 0, 0, true, false}, Case{1, 0, true, 1, 0, true, false},
                          Case{1, 7, true, 1, 7, true, false}, Case{1, 6, true, 1, 6, false, false},
                          Case{5, 0, true, 0, 0, true, true}, Case{5, 0, false, 0, 0, false, false},
                          Case{5, 6, true, 0, 6, true, true}, Case{5, 7, true, 0, 0, false, true},
                          Case{5, 7, false, 0, 0, false, false},
                          Case{6, 7, true, 6, 7, true, false}, Case{7, 7, true, 7, 7, true, false},
                          Case{8, 0, true, 0, 0, true, false}, Case{8, 6, true, 0, 6, true, false},
                          Case{8, 7, true, 0, 0, false, false}, Case{9, 7, true, 9, 7, true, false},
                          Case{0xFFFFFFFF, 7, true, 0xFFFFFFFF, 7, true, false}}) {
        SCOPED_TRACE(testing::Message() << "step " << c.step << ", excursion " << c.excursion);
        LutRig rig;
        if (c.hasTable) {
            rig.proc.dynLut = static_cast<std::uint16_t*>(std::calloc(256, sizeof(std::uint16_t)));
            rig.proc.dynCdf = static_cast<std::uint32_t*>(std::calloc(256, sizeof(std::uint32_t)));
            rig.proc.dynLutCount = 256;
            rig.proc.dynCdfCount = 256;
        }
        rig.Step(c.step, c.excursion);
        EXPECT_EQ(rig.proc.usrSignalPending, c.stepAfter);
        EXPECT_EQ(rig.proc.reconfigState, c.excursionAfter);
        EXPECT_EQ(rig.proc.dynLut != nullptr, c.keepsTable);
        EXPECT_EQ(rig.proc.dynCdf != nullptr, c.keepsTable);
        EXPECT_EQ(LutRig::Entries().size(), c.writes ? 256U : 0U);
        EXPECT_EQ(Rig::Logs("ProcDynamLut").size(), c.writes ? 1U : 0U);
        if (!c.writes) {
            EXPECT_THAT(Rig::Of({"log", "host", "cam", "gev", "read"}), IsEmpty());
        }
    }
}

TEST(DynamicLut, ArraysGrowWithTheFormat)
{
    struct Case {
        std::uint8_t storage;
        std::uint8_t data;
        const char* told;
        const char* second = "1"; ///< entry of the table that the camera got
    };
    for (const Case& c : {Case{12, 12, R"(
host KvGi__CalcLutDynam(null, 64, 48, 64, 12)
host KvGi__GetLutDynam(12, statistics, 12)
)"},
                          Case{8, 8, R"(
host KvGi__CalcLutDynam(null, 64, 48, 64, 8)
host KvGi__GetLutDynam(8, statistics, 12)
)"},
                          Case{16, 16, R"(
log3 kv_td_proc:ProcDynamLut: allocated CDF array for 16 bits pixel
log3 kv_td_proc:ProcDynamLut: allocated LUT array for 16 bits pixel
host KvGi__CalcLutDynam(null, 64, 48, 64, 16)
host KvGi__GetLutDynam(16, statistics, 12)
)",
                               "32"}, // its knots, taken for a full table: the state says so
                          Case{16, 12, R"(
log3 kv_td_proc:ProcDynamLut: allocated CDF array for 16 bits pixel
host KvGi__CalcLutDynam(null, 64, 48, 64, 16)
host KvGi__GetLutDynam(12, statistics, 12)
)"}}) {
        LutRig rig;
        rig.proc.dataBits = 12;
        rig.proc.pixelBits = 12;
        rig.Step(4, 6);
        ASSERT_EQ(rig.proc.reconfigState, 7);
        // Another user signal takes the steps back, and a new format comes before the calculation.
        rig.proc.pixelBits = c.storage;
        rig.proc.dataBits = c.data;
        Rig::Clear();
        rig.Step(4, 7);
        Texts told = LutRig::Told();
        ASSERT_FALSE(told.empty());
        EXPECT_EQ(told.back(),
                  "log3 kv_td_proc:ProcDynamLut: a new LUT was dynamically calculated...");
        told.pop_back();
        EXPECT_EQ(Story(told), c.told);
        rig.proc.dataBits = 8;
        rig.proc.ProcDynamLut(&rig.Cam());
        ASSERT_EQ(LutRig::Entries().size(), 256U);
        EXPECT_EQ(LutRig::Entries()[1], c.second) << "never what the table before left behind";
    }
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
        EXPECT_EQ(Story(LutRig::Told()), R"(
log3 kv_td_proc:ProcDynamLut: allocated CDF array for 12 bits pixel
log3 kv_td_proc:ProcDynamLut: allocated LUT array for 12 bits pixel
)");
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
host KvGi__CalcLutDynam(buf3, 64, 48, 64, 12)
gev GevAbortTransfer()=0
host KvGi__GetLutDynam(12, statistics, 12)
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
