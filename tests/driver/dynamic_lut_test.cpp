#include "kv_td_factory.h"
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/alloc_count.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

using namespace KvTd;
using namespace rig;

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

    std::string State() const
    {
        return Words(proc.usrSignalPending, proc.reconfigState,
                     proc.dynLut != nullptr ? "table" : "no table",
                     proc.dynCdf != nullptr ? "CDF" : "no CDF");
    }
    /** One call in this step and excursion. */
    void Step(std::uint32_t step, std::int32_t excursion)
    {
        proc.usrSignalPending = step;
        proc.reconfigState = excursion;
        proc.ProcDynamLut(&Cam());
    }

    int Session() { return proc.ProcOnce(&Cam(), &kvBufFactory); }
    /** What came into the journal with one of these parts; without sizes and process ID. */
    static Texts Told(std::initializer_list<const char*> parts)
    {
        Texts story = FoldTables(Of({"log", "host", "cam", "gev"}));
        std::erase_if(story, [&](const std::string& text) {
            return std::none_of(parts.begin(), parts.end(),
                                [&](const char* part) { return text.find(part) != text.npos; });
        });
        for (std::string& text : story) {
            text.resize(std::min(text.size(), text.find(" (bufferFrameSize")));
        }
        return story;
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
    Transcript story("dynamic_lut_three_calls", {"log", "host", "cam", "gev"});
    LutRig rig;
    rig.proc.usrSignalPending = 2;
    story.state = [&] { return rig.State(); }; // the table is kept for the next request
    for (int i = 0; i < 3; ++i) {
        CALL(story, rig.proc.ProcDynamLut(&rig.Cam()));
    }
    const Texts entries = LutRig::Entries();
    EXPECT_EQ(entries[2] + " " + entries[3], "2 3"); // knot 1, and between 32 and 64
}

TEST(DynamicLut, StepsBesideTheCalculation)
{
    Transcript story("dynamic_lut_steps", {"log", "host", "cam", "gev", "read"});
    struct Case {
        std::uint32_t step;
        std::int32_t excursion;
        bool hasTable = true;
    };
    for (const Case& c :
         {Case{0, 0}, Case{1, 0}, Case{1, 7}, Case{1, 6}, Case{5, 0}, Case{5, 0, false}, Case{5, 6},
          Case{5, 7}, Case{5, 7, false}, Case{6, 7}, Case{7, 7}, Case{8, 0}, Case{8, 6}, Case{8, 7},
          Case{9, 7}, Case{0xFFFFFFFF, 7}}) {
        LutRig rig;
        if (c.hasTable) {
            rig.proc.dynLut = static_cast<std::uint16_t*>(std::calloc(256, sizeof(std::uint16_t)));
            rig.proc.dynCdf = static_cast<std::uint32_t*>(std::calloc(256, sizeof(std::uint32_t)));
            rig.proc.dynLutCount = 256;
            rig.proc.dynCdfCount = 256;
        }
        story.state = [&] { return rig.State(); };
        story.Call(Words("step", c.step, "excursion", c.excursion,
                         c.hasTable ? "with a table" : "without"),
                   [&] { rig.Step(c.step, c.excursion); });
    }
}

TEST(DynamicLut, ArraysGrowWithTheFormat)
{
    Transcript story("dynamic_lut_formats", {"log", "host"});
    for (const auto& [storage, data] : {std::pair(12, 12), {8, 8}, {16, 16}, {16, 12}}) {
        LutRig rig;
        rig.proc.dataBits = 12;
        rig.proc.pixelBits = 12;
        rig.Step(4, 6);
        ASSERT_EQ(rig.proc.reconfigState, 7);
        // Another user signal takes the steps back, and a new format comes before the calculation.
        rig.proc.pixelBits = static_cast<std::uint8_t>(storage);
        rig.proc.dataBits = static_cast<std::uint8_t>(data);
        story.Call(Words(storage, data), [&] { rig.Step(4, 7); });
        rig.proc.dataBits = 8;
        rig.proc.ProcDynamLut(&rig.Cam());
        ASSERT_EQ(LutRig::Entries().size(), 256U);
        // Never what the table before left behind. 16 bits' knots are taken for a full table.
        EXPECT_EQ(LutRig::Entries()[1], data == 16 ? "32" : "1");
    }
}

TEST(DynamicLut, WithoutMemoryTheRequestIsDropped)
{
    if (!CountsAllocations()) {
        GTEST_SKIP() << "allocations can't be refused under a sanitizer";
    }
    Transcript story("dynamic_lut_no_memory", {"log", "host", "cam", "gev"});
    for (const std::size_t refused : {std::size_t{4} << 12, std::size_t{2} << 12}) {
        LutRig rig;
        rig.proc.pixelBits = 12;
        rig.proc.dataBits = 12;
        story.state = [&] { return rig.State(); };
        story.Call(Words(refused, "bytes"), [&] {
            RefuseAllocationsOf(refused);
            rig.Step(4, 6);
            RefuseAllocationsOf(0);
        });
    }
}

TEST(DynamicLut, FailedTableWriteIsNotLookedAt)
{
    Transcript story("dynamic_lut_refused", {"log2", "log3", "cam"});
    LutRig rig;
    rig.proc.dataBits = 12; // refuses the table
    rig.proc.pixelBits = 16;
    story.state = [&] { return rig.State(); };
    CALL(story, rig.Step(4, 0));
}

TEST(DynamicLut, LoopTakesARequestUpBehindTheNextGoodFrame)
{
    LutRig rig;
    rig.host.signals = {0, 3};
    rig.host.fnum = 8;
    sim::AddFault(FrameFault(sim::Effect::Incomplete, 3));
    EXPECT_EQ(rig.Session(), 0);
    // The request comes with frame 2, the third round has no frame, 4 and 5 wait, 6 computes.
    EXPECT_TRUE(IsStory("dynamic_lut_request",
                        LutRig::Told({"GevWaitForNextFrame", "SIGUSR1", "ProcDynamLut"})));
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
    EXPECT_TRUE(IsStory(
        "dynamic_lut_excursion",
        LutRig::Told({"ProcDynamLut", "SIGUSR", "LutDynam", "lutMode", "LUT[", "GevAbort",
                      "GevStart", "PixelFormat=", "START GRABBING", "12-bit mode", "8-bit mode"})));
    EXPECT_EQ(LutRig::Entries()[1], "1"); // every 16th of 4096, rounded
    EXPECT_EQ(rig.State(), "0 0 no table no CDF");
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
    EXPECT_EQ(rig.host.format, kFormatMono8);
}
