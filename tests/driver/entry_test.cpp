#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

/** A camera of one maker, model and serial. */
static sim::CameraSetup Named(const char* manufacturer, const char* model, const char* serial)
{
    sim::CameraSetup setup = SmallCamera();
    setup.manufacturer = manufacturer;
    setup.modelName = model;
    setup.serial = serial;
    return setup;
}

static const Texts kTeardown = {"GevApiUninitialize()=0", "_CloseSocketAPI()=0"};

/** The last camera calls of a session. */
static Texts Ending(std::size_t calls)
{
    const Texts all = Rig::Of("gev");
    return Texts(all.end() - static_cast<std::ptrdiff_t>(calls), all.end());
}

TEST(Entry, SessionWithoutAnyCamera)
{
    Rig rig(nullptr);
    EXPECT_EQ(Rig::Run(), kExitNoDevice);
    EXPECT_EQ(Story(Rig::Of({"log", "host", "gev"})), R"(
log4 kv_td_main:KvLibProc: init SDK staff
host KvGiMainCtx__GetModelStr()
host KvGiMainCtx__GetIdStr()
host KvGiMainCtx__GetActiveCamMask()
gev GevGetCameraList(8)=0
log3 kv_td_main:KvLibProc: Printing all the devices information found:
log3 kv_td_main:KvLibProc: TSus_1000000010000000: (0) no any devices found
gev GevApiUninitialize()=0
gev _CloseSocketAPI()=0
host KvUtl__CheckSignal()
log3 kv_td_main:KvLibProc: Loop completed (exitCode = 2)
)");
}

TEST(Entry, ListTellsOfEveryCameraAndDetailsOfTheMakers)
{
    Rig rig(nullptr);
    sim::AddCamera(Named("Acme", "Eye", "7"));
    sim::AddCamera(Named("Teledyne dALSA", "ABC-123", "S1"));
    rig.host.model = "XYZ";
    rig.host.id = "S1";
    EXPECT_EQ(Rig::Run(), kExitNotOurs);
    const Texts logs = Rig::Logs();
    EXPECT_EQ(Story(Between(logs, "0. Vendor", "DeviceVersion")), R"(
4 KvLibProc: 0. Vendor "Acme", Model "Eye", Serial "7"
4 KvLibProc: 1. Vendor "Teledyne dALSA", Model "ABC-123", Serial "S1"
3 KvLibProc: == 1. Camera Device Information ==
3 KvLibProc: ===================================
3 KvLibProc: 	DeviceModel        : ABC-123
3 KvLibProc: 	DeviceSerial       : S1
3 KvLibProc: 	DeviceVersion      : 1.00
)");
    EXPECT_EQ(Count(logs, "Check configured Model \"XYZ\" with \""), 2U);
    EXPECT_EQ(Story(Between(logs, "please attach", "never")), R"(
3 KvLibProc: TSus_1000000010000000 - (0) please attach configured device (Model:XYZ ID:S1)...
3 KvLibProc: Loop completed (exitCode = 3)
)");
    EXPECT_EQ(Ending(2), kTeardown);
}

TEST(Entry, CamerasOfOthersAreNoDevices)
{
    Rig rig(Named("Acme", "Eye", "7"));
    rig.host.activeCamMask = 1;
    EXPECT_EQ(Rig::Run(), kExitNoDevice);
    EXPECT_EQ(Ending(2), kTeardown);
}

// The list: 0 "Acme" Eye 7, 1 DALSA AB S0, 2 DALSA ABC-1 S1, 3 DALSA ABC-2 S2.
struct MatchCase {
    const char* name;
    const char* model;
    const char* id;
    std::uint32_t mask;
    const char* opened; ///< serial; null: none
};

class Match : public testing::TestWithParam<MatchCase>
{
};

TEST_P(Match, OpensTheFirstWanted)
{
    const MatchCase& c = GetParam();
    Rig rig(nullptr);
    sim::AddCamera(Named("Acme", "Eye", "7"));
    sim::AddCamera(Named("DALSA", "AB", "S0"));
    sim::AddCamera(Named("DALSA", "ABC-1", "S1"));
    sim::AddCamera(Named("DALSA", "ABC-2", "S2"));
    rig.host.model = c.model;
    rig.host.id = c.id;
    rig.host.activeCamMask = c.mask;
    rig.host.fnum = 1;
    EXPECT_EQ(Rig::Run(), c.opened == nullptr ? kExitNotOurs : kExitDone);
    if (c.opened == nullptr) {
        EXPECT_EQ(Count(Rig::Of("gev"), "GevOpenCamera"), 0U);
    } else {
        EXPECT_THAT(Rig::Of("gev"), Contains("GevOpenCamera(" + std::string(c.opened) + ",2)=0"));
    }
    EXPECT_EQ(Ending(2), kTeardown);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, Match,
    testing::Values(MatchCase{"ModelIsAPrefix", "ABC", nullptr, 0, "S1"},
                    MatchCase{"EmptyModelMatchesAnyVendor", "", "", 0, "7"},
                    MatchCase{"LongerModelMatchesNone", "ABC-12", nullptr, 0, nullptr},
                    MatchCase{"IdIsExact", "ABC", "S2", 0, "S2"},
                    MatchCase{"IdIsNoPrefix", "ABC", "S", 0, nullptr},
                    MatchCase{"MaskAfterAForeignSerial", "ABC", "S9", 8, "S2"},
                    MatchCase{"MaskBeforeALaterMatch", "ABC", "S2", 2, "S0"},
                    MatchCase{"MaskAlone", nullptr, nullptr, 4, "S1"},
                    MatchCase{"NothingChosen", nullptr, "S1", 0, nullptr},
                    MatchCase{"MaskBeyondTheList", nullptr, nullptr, 0xFFFFFFF0, nullptr}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(Entry, MaskChoosesAnyVendorOnceOneOfTheMakersIsThere)
{
    Rig rig(nullptr);
    sim::AddCamera(Named("Acme", "Eye", "7"));
    sim::AddCamera(Named("DALSA", "AB", "S0"));
    rig.host.model = "AB";
    rig.host.activeCamMask = 1;
    rig.host.fnum = 1;
    EXPECT_EQ(Rig::Run(), kExitDone);
    EXPECT_THAT(Rig::Of("gev"), Contains("GevOpenCamera(7,2)=0"));
    EXPECT_THAT(Rig::Logs(),
                Contains("3 KvLibProc: Loop 0. Choose Model \"Eye\" Serial \"7\" using "
                         "command line option"));
}

TEST(Entry, SerialIsCheckedOnlyAfterTheModel)
{
    Rig rig(Named("DALSA", "ABC-123", "S1"));
    rig.host.model = "ABC";
    rig.host.id = "S1";
    rig.host.fnum = 1;
    EXPECT_EQ(Rig::Run(), kExitDone);
    EXPECT_THAT(Between(Rig::Logs("KvLibProc"), "Loop 0", "Check configured Serial"),
                ElementsAre("3 KvLibProc: Loop 0. Check configured Model \"ABC\" with \"ABC-123\" "
                            "(result 0)",
                            "3 KvLibProc: Check configured Serial \"S1\" with \"S1\""));
    Rig::Clear();
    rig.host.model = "Z";
    EXPECT_EQ(Rig::Run(), kExitNotOurs);
    EXPECT_EQ(Count(Rig::Logs(), "Check configured Serial"), 0U);
}

TEST(Entry, NullModelAndIdArePrintedAsNull)
{
    Rig rig;
    rig.host.model = nullptr;
    rig.host.id = nullptr;
    EXPECT_EQ(Rig::Run(), kExitNotOurs);
    EXPECT_THAT(Rig::Logs(), Contains(testing::HasSubstr("(Model:(null) ID:(null))...")));
    rig.host.activeCamMask = 1;
    sim::AddFault(CallFails("GevOpenCamera"));
    EXPECT_EQ(Rig::Run(), kExitOpen);
    EXPECT_THAT(Rig::Logs(),
                Contains("2 KvLibProc: TSus_1000000010000000 - can't connect to device "
                         "(Model:(null) ID:(null))..."));
    EXPECT_EQ(Ending(2), kTeardown);
}

TEST(Entry, NoDeviceCounterAlwaysPrintsZero)
{
    Rig rig(nullptr);
    Rig::Run();
    Rig::Run();
    EXPECT_EQ(Count(Rig::Logs(), "(0) no any devices found"), 2U);
}

TEST(Entry, UnmatchedCounterRisesUntilACameraIsChosen)
{
    Rig rig;
    const auto counters = [] {
        Texts found;
        for (const std::string& line : Rig::Logs()) {
            const auto at = line.find(" - (");
            if (at != std::string::npos) {
                found.push_back(line.substr(at + 3, 3));
            }
        }
        return found;
    };
    rig.host.model = "other";
    Rig::Run();
    Rig::Run();
    sim::SetAttached("S0000001", false);
    EXPECT_EQ(Rig::Run(), kExitNoDevice) << "leaves the counter as it is";
    sim::SetAttached("S0000001", true);
    Rig::Run();
    rig.host.model = "";
    sim::AddFault(CallFails("GevOpenCamera"));
    EXPECT_EQ(Rig::Run(), kExitOpen) << "chosen, though it can't be opened";
    rig.host.model = "other";
    Rig::Run();
    EXPECT_THAT(counters(), ElementsAre("(0)", "(1)", "(2)", "(0)"));
}

TEST(Entry, OnlyEightCamerasAreSeen)
{
    Rig rig(nullptr);
    for (const char* serial : {"S0", "S1", "S2", "S3", "S4", "S5", "S6", "S7", "S8", "S9"}) {
        sim::AddCamera(Named("DALSA", "ABC", serial));
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
    EXPECT_THAT(Ending(3), ElementsAre("GevCloseCamera()=0", kTeardown[0], kTeardown[1]));
    EXPECT_EQ(Rig::Logs().back(), "3 KvLibProc: Loop completed (exitCode = -2)");
}

TEST(Entry, ReconfigurationIsLookedAtOnceAfterTeardown)
{
    struct Case {
        std::uint32_t signal;
        int result;
        Texts calls;
        const char* line;
    };
    for (const Case& c :
         {Case{2,
               0,
               {"KvUtl__CheckSignal()", "KvGi__DoReconfig(0)"},
               "3 _t_CheckSignal: continue operation with new configuration..."},
          Case{2,
               -1,
               {"KvUtl__CheckSignal()", "KvGi__DoReconfig(0)"},
               "3 _t_CheckSignal: incorrect cfg file, continue with the old one..."},
          Case{2,
               3,
               {"KvUtl__CheckSignal()", "KvGi__DoReconfig(0)"},
               "3 _t_CheckSignal: incorrect cfg file, continue with the old one..."},
          Case{1, 0, {"KvUtl__CheckSignal()"}, nullptr},
          Case{0, 0, {"KvUtl__CheckSignal()"}, nullptr}}) {
        Rig rig(nullptr);
        rig.host.signals = {c.signal};
        rig.host.reconfigResult = c.result;
        rig.host.reconfigFlag = 1; // ignored here
        EXPECT_EQ(Rig::Run(), kExitNoDevice);
        const Texts after = Between(Rig::Of({"host", "gev"}), "_CloseSocketAPI", "never");
        EXPECT_EQ(after.size(), c.calls.size() + 1);
        EXPECT_EQ("host " + c.calls.back(), after.back());
        if (c.line == nullptr) {
            EXPECT_THAT(Rig::Logs("_t_CheckSignal"), IsEmpty());
        } else {
            EXPECT_THAT(Rig::Logs("_t_CheckSignal"), ElementsAre(c.line));
        }
    }
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
