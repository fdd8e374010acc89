#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;

static void AddNamed(const char* manufacturer, const char* model, const char* serial)
{
    sim::CameraSetup setup = SmallCamera();
    setup.manufacturer = manufacturer;
    setup.modelName = model;
    setup.serial = serial;
    sim::AddCamera(setup);
}

/** Who is on the network. */
enum class Cameras { None, OfOthers, All };

struct ChoiceCase {
    const char* name;
    Cameras cameras;
    const char* model;
    const char* id;
    std::uint32_t mask;
    bool listed = false; ///< the list is compared too
};

// What is chosen can't be opened here, so the counter of unmatched sessions starts anew behind it.
static constexpr ChoiceCase kChoices[] = {
    {"no camera", Cameras::None, "", "", 0},
    {"no camera again", Cameras::None, "", "", 0},
    {"cameras of others are no devices", Cameras::OfOthers, "", "", 1},
    {"the model is a prefix", Cameras::All, "ABC", nullptr, 0, true},
    {"an empty model matches any vendor", Cameras::All, "", "", 0},
    {"the ID is exact", Cameras::All, "ABC", "S2", 0},
    {"the mask chooses any vendor, before a later match", Cameras::All, "AB", nullptr, 1},
    {"the mask behind a foreign serial", Cameras::All, "ABC", "S9", 8},
    {"the mask before a later match", Cameras::All, "ABC", "S2", 2},
    {"the mask alone", Cameras::All, nullptr, nullptr, 4},
    {"a longer model matches none", Cameras::All, "ABC-12", "S1", 0},
    {"the ID is no prefix", Cameras::All, "ABC", "S", 0},
    {"no camera leaves the counter", Cameras::None, "", "", 0},
    {"an ID alone matches none", Cameras::All, nullptr, "S1", 0},
    {"a mask beyond the list", Cameras::All, nullptr, nullptr, 0xFFFFFFF0},
    {"a chosen camera resets the counter", Cameras::All, "AB", "S0", 0},
    {"none is wanted", Cameras::All, "XYZ", "S1", 0},
};

TEST(Entry, OpensTheFirstWantedCamera)
{
    Texts story;
    for (const ChoiceCase& c : kChoices) {
        Rig rig(nullptr);
        if (c.cameras != Cameras::None) {
            AddNamed("Acme", "Eye", "7");
        }
        if (c.cameras == Cameras::All) {
            AddNamed("DALSA", "AB", "S0");
            AddNamed("Teledyne dALSA", "ABC-1", "S1");
            AddNamed("DALSA", "ABC-2", "S2");
        }
        sim::AddFault(CallFails("GevOpenCamera"));
        rig.host.model = c.model;
        rig.host.id = c.id;
        rig.host.activeCamMask = c.mask;
        const int result = Rig::Run();
        Texts lines = Masked(Rig::Of({"log", "host", "gev"}));
        const auto listed = std::find_if(lines.rbegin(), lines.rend(), [](const auto& text) {
            return text.find("DeviceVersion") != text.npos;
        });
        if (!c.listed) {
            lines.erase(lines.begin(), listed.base());
        }
        Append(story, std::string(c.name) + ": " + std::to_string(result), lines);
    }
    EXPECT_TRUE(IsStory("entry_choice", story));
}

TEST(Entry, OnlyEightCamerasAreSeen)
{
    Rig rig(nullptr);
    for (const char* serial : {"S0", "S1", "S2", "S3", "S4", "S5", "S6", "S7", "S8", "S9"}) {
        AddNamed("DALSA", "ABC", serial);
    }
    rig.host.id = "S8";
    EXPECT_EQ(Rig::Run(), kExitNotOurs);
    EXPECT_EQ(Count(Rig::Logs(), "Vendor \"DALSA\""), 8U);
    rig.host.id = "S7";
    rig.host.fnum = 1;
    EXPECT_EQ(Rig::Run(), kExitDone);
}

TEST(Entry, SessionsResultIsReturnedAfterClosing)
{
    Rig rig;
    rig.host.format = 7; // no such format
    EXPECT_EQ(Rig::Run(), kExitConfiguration);
    const Texts calls = Rig::Of("gev");
    EXPECT_THAT(Texts(calls.end() - 3, calls.end()),
                ElementsAre("GevCloseCamera()=0", "GevApiUninitialize()=0", "_CloseSocketAPI()=0"));
    EXPECT_EQ(Rig::Logs().back(), "3 KvLibProc: Loop completed (exitCode = -2)");
}

TEST(Entry, ReconfigurationIsLookedAtOnceAfterTeardown)
{
    Texts story;
    for (const auto& [signal, result] : {std::pair{2U, 0}, {2U, -1}, {2U, 3}, {1U, 0}, {0U, 0}}) {
        Rig rig(nullptr);
        rig.host.signals = {signal};
        rig.host.reconfigResult = result;
        rig.host.reconfigFlag = 1; // ignored here
        EXPECT_EQ(Rig::Run(), kExitNoDevice);
        Append(story, "signal " + std::to_string(signal) + ", result " + std::to_string(result),
               Between(Rig::Of({"log", "host", "gev"}), "_CloseSocketAPI", "never"));
    }
    EXPECT_TRUE(IsStory("entry_reconfiguration", story));
}

TEST(Entry, NoLogLineEndsWithALineFeed)
{
    Rig rig;
    rig.host.fnum = 2;
    EXPECT_EQ(Rig::Run(), kExitDone);
    EXPECT_GT(rig.host.formats.size(), 100U);
    for (const std::string& format : rig.host.formats) {
        EXPECT_FALSE(format.ends_with("\n")) << format;
    }
}
