/** How the host's look-up table, or the dynamic one, is written to the camera. */
#include "tests/driver/transcript.h"
#include "tests/driver/words.h"
#include "tests/support/rig.h"

#include <gtest/gtest.h>

#include <numeric>

using namespace KvTd;
using namespace rig;

namespace
{

class LutRig : public Rig
{
public:
    /** `entries` of the host's table: 0, 1, 2, ... */
    explicit LutRig(std::size_t entries, const sim::CameraSetup& setup = SmallCamera()) : Rig(setup)
    {
        Open();
        host.lutBitSize = 8;
        proc.dataBits = 8;
        host.lut.reserve(1); // an array, even when it is empty
        host.lut.resize(entries);
        std::iota(host.lut.begin(), host.lut.end(), std::uint16_t{0});
    }
};

class LutStory : public Transcript
{
public:
    explicit LutStory(const char* name) : Transcript(name, {"log", "cam", "read", "gev"}) {}
    void Apply(const std::string& what, LutRig& rig, bool fromDynLut = false,
               bool whileGrabbing = false)
    {
        state = [&] {
            const std::uint16_t* const last = rig.proc.lastLutData;
            const bool own = last == rig.host.lut.data();
            return Words("gamma", rig.proc.gammaValue, "table",
                         last == nullptr ? "none"
                         : own           ? "configured"
                                         : "another");
        };
        Call(what, [&] {
            return rig.proc.ProcParametrizeCamManLUT(&rig.Cam(), fromDynLut, whileGrabbing,
                                                     nullptr);
        });
    }
};

} // namespace

TEST(ManLut, ColourTakesThreeChannels)
{
    LutStory story("man_lut_channels");
    LutRig rig(256, SmallCamera(sim::Model::Color));
    rig.proc.isYuv = true;
    rig.proc.dataBits = 12; // counts for monochrome formats only
    story.Apply("colour", rig);
    LutRig mono(256);
    mono.proc.dataBits = 12;
    story.Apply("12 bits", mono);
}

TEST(ManLut, TheSameArrayIsNotLookedAt)
{
    LutStory story("man_lut_same_array");
    LutRig rig(256);
    story.Apply("new", rig);
    rig.host.lut[0] = 77;
    story.Apply("the same", rig);
    const std::vector<std::uint16_t> other(256, 5);
    rig.proc.lastLutData = other.data();
    story.Apply("another", rig);
    rig.proc.usrSignalPending = 1;
    rig.proc.lastLutData = nullptr;
    story.Apply("dynamic mode", rig);
}

TEST(ManLut, WithoutATableTheGammaHandlerIsToldToSwitchOff)
{
    LutStory story("man_lut_none");
    const std::vector<std::uint16_t> before(256);
    for (const char* mode : {"Active", "Off"}) {
        LutRig rig(0, Having({{"lutMode", mode}}));
        rig.host.lut = std::vector<std::uint16_t>(); // not even an array
        rig.proc.gammaValue = 2;
        story.Apply("none before", rig);
        rig.proc.lastLutData = before.data();
        story.Apply(std::string("one before, ") + mode, rig);
    }
    LutRig none(256, Lacking({"lutMode"}));
    story.Apply("no table in the camera", none);
}

TEST(ManLut, TableHasEightBitsWhateverTheCameraSays)
{
    LutStory story("man_lut_bits");
    LutRig rig(4096, Having({{"lutSize", "Bpp12"}}));
    rig.host.lutBitSize = 12;
    sim::Fault slow = AccessThrows(sim::Trigger::Write, "LUTValue");
    slow.effect = sim::Effect::Delay;
    slow.value = 1'234'000;
    sim::AddFault(slow);
    story.Apply("12 bits, slow", rig);
    // A width that stays unknown is logged and skipped.
    LutRig lacking(256, Lacking({"lutSize"}));
    story.Apply("no width", lacking);
}

TEST(ManLut, ShortTableWritesZeros)
{
    LutStory story("man_lut_short");
    for (const std::size_t entries : {255U, 10U, 0U}) {
        LutRig rig(entries);
        story.Apply(Words(entries, "entries"), rig); // not remembered: written again next time
    }
}

TEST(ManLut, DynamicTableLeavesTheConfiguredOneAlone)
{
    LutStory story("man_lut_dynamic");
    std::vector<std::uint16_t> dynamic(4096);
    std::iota(dynamic.begin(), dynamic.end(), std::uint16_t{0});
    for (const auto& [count, excursion] :
         {std::pair(4096U, 6), {4096U, 0}, {4095U, 7}, {128U, 0}, {127U, 0}, {0U, 6}}) {
        LutRig rig(300);
        rig.host.lutBitSize = 10;
        std::vector<std::uint16_t> exact(dynamic.begin(), dynamic.begin() + count);
        exact.reserve(1);
        rig.proc.dynLut = exact.data(); // nothing behind its end may be read
        rig.proc.dynLutCount = count;
        rig.proc.reconfigState = excursion;
        rig.proc.usrSignalPending = 1;
        rig.proc.lastLutData = rig.host.lut.data();
        story.Apply(Words(count, "entries, excursion", excursion), rig, true);
    }
}

TEST(ManLut, FirstRefusedWriteEndsIt)
{
    LutStory story("man_lut_refused");
    for (const char* feature : {"LUTValue", "LUTSelector"}) {
        LutRig rig(256, Lacking({feature}, sim::Model::Color));
        rig.proc.isYuv = true;
        rig.StartTransfer();
        story.Apply(feature, rig, false, true);
        story.Apply("it counts as written", rig);
    }
    LutRig rig(256);
    sim::AddFault(AccessThrows(sim::Trigger::Write, "LUTIndex"));
    rig.StartTransfer();
    story.Apply("an exception leaves the transfer to the loop", rig, false, true);
}
