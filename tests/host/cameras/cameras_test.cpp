/** The texts of kvgrab about networks, cameras, their features and their pulses. */

#include "cameras/camera_table.h"
#include "cameras/feature_table.h"
#include "cameras/network_checks.h"
#include "cameras/waveform.h"

#include <algorithm>
#include <gmock/gmock.h>

using namespace kvgrab;
using testing::AllOf;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;
using testing::StartsWith;

TEST(NetworkAdvice, TellsWhatIsWrongAndWhatToDo)
{
    const NetworkFacts good{.receiveBufferLimit = 32U << 20,
                            .mayUsePacketSocket = true,
                            .interfaces = {{"eth0", 1500, false}, {"eth1", 9000, false}}};
    EXPECT_THAT(NetworkAdvice(good, 1500, false), IsEmpty());
    EXPECT_THAT(NetworkAdvice(good, 9000, false),
                ElementsAre(AllOf(HasSubstr("interface eth0"), HasSubstr("packet_size to 1500"),
                                  HasSubstr("ip link set eth0 mtu 9000"))));
    NetworkFacts narrow = good;
    narrow.interfaces[1].mtu = 1400;
    EXPECT_THAT(NetworkAdvice(narrow, 1500, false),
                ElementsAre(AllOf(HasSubstr("packet_size to 1400"), Not(HasSubstr("raise")))));

    NetworkFacts bare = good;
    bare.mayUsePacketSocket = false;
    EXPECT_THAT(NetworkAdvice(bare, 1500, false), ElementsAre(HasSubstr("cap_net_raw")));
    bare.receiveBufferLimit = 212'992;
    EXPECT_THAT(NetworkAdvice(bare, 1500, false),
                ElementsAre(HasSubstr("cap_net_raw"),
                            AllOf(HasSubstr("212992"), HasSubstr("net.core.rmem_max"))));
    bare.mayUsePacketSocket = true;
    EXPECT_THAT(NetworkAdvice(bare, 1500, false), IsEmpty())
        << "packet sockets don't use that memory";
    EXPECT_THAT(NetworkAdvice(bare, 1500, true), ElementsAre(HasSubstr("net.core.rmem_max")));
    bare.receiveBufferLimit = good.receiveBufferLimit;
    bare.mayUsePacketSocket = false;
    EXPECT_THAT(NetworkAdvice(bare, 1500, true), IsEmpty()) << "no right is needed";

    NetworkFacts filtered = good;
    filtered.interfaces[1].strictFilter = true;
    EXPECT_THAT(NetworkAdvice(filtered, 1500, false),
                ElementsAre(HasSubstr("conf.eth1.rp_filter=2")));
    filtered.interfaces.erase(filtered.interfaces.begin());
    EXPECT_THAT(NetworkAdvice(filtered, 1500, false), IsEmpty())
        << "there is no other way to answer";
}

TEST(FeatureTable, ShowsWhatACameraSaysWithoutLettingItMoveTheCursor)
{
    EXPECT_EQ(FeatureTable({{"Width", "integer", "640", "16 .. 1920 step 4", "RW", "px"},
                            {"Ev\x1Bil", "boolean", "", "", "WO", ""}}),
              "feature  type     access  value  unit  range or entries\n"
              "Width    integer  RW      640    px    16 .. 1920 step 4\n"
              "Ev?il    boolean  WO      -      -     -\n");
    EXPECT_EQ(AddressText(0xC0A80114), "192.168.1.20");
    EXPECT_EQ(AddressText(0), "");
}

TEST(Waveform, ShowsThePulseBesideTheExposure)
{
    const auto count = [](const std::string& text, char c) {
        return std::count(text.begin(), text.end(), c);
    };
    // 10000 us and a tenth around it on 60 columns: 200 us each.
    LinePulse pulse{"S1", 3, false, 7, 10000, 1000, 3000};
    const std::string high = DrawPulse(pulse);
    EXPECT_THAT(high, StartsWith("Line3 of S1, frame 7:\n  exposure  .....#"));
    EXPECT_EQ(count(high, '#'), 50);
    EXPECT_EQ(count(high, '^'), 10);
    EXPECT_THAT(high, HasSubstr("_  high from 1000 to 3000 us\n"));
    pulse.inverted = true;
    const std::string low = DrawPulse(pulse);
    EXPECT_EQ(count(low, '_'), 10);
    EXPECT_THAT(low, HasSubstr("frame 7, inverted:"));
    EXPECT_THAT(DrawPulse({}), HasSubstr("0 to 0 us"));
}

TEST(CameraTable, SaysWhichCameraTheDriverTakes)
{
    std::vector<CameraRow> cameras(9, {"DALSA (simulated)", "M", "1", "1.0", "sim", ""});
    cameras[0].held = true;
    cameras[1] = {"Other", "LongerModel", "", "1\n", "net", "10.0.0.7"};
    cameras[1].held = std::nullopt;
    cameras[3].serial = "3";
    const std::string table = CameraTable(cameras, {"", "1", 0});
    EXPECT_THAT(table,
                StartsWith("position  model        serial  version  backend  address   "
                           "access     driver\n"
                           "0         M            1       1.0      sim      -         held  "
                           "     takes it\n"
                           "1         LongerModel  -       1?       net      10.0.0.7  no answer"
                           "  no (another maker: Other)\n"
                           "2         M            1       1.0      sim      -         free  "
                           "     no (position 0 comes first)\n"));
    EXPECT_THAT(table, HasSubstr("no (position 0 comes first)\n3 "));
    EXPECT_THAT(table, HasSubstr("no (not the configured one)\n4 "));
    EXPECT_THAT(table, EndsWith("no (beyond the first eight)\n"));
}

TEST(CameraTable, ChoosesAsTheDriverDoes)
{
    const std::vector<CameraRow> cameras = {{"Other", "M9", "9", "", "", ""},
                                            {"DALSA", "M1", "1", "", "", ""},
                                            {"DALSA", "M2", "2", "", "", ""}};
    const auto chosen = [&](const CameraConfig& wanted, std::ptrdiff_t count = 3) {
        const CameraChoice choice = Choose({cameras.begin(), cameras.begin() + count}, wanted);
        return choice.status == ExitStatus::Done ? static_cast<int>(choice.position)
                                                 : -static_cast<int>(choice.status);
    };
    EXPECT_EQ(chosen({}), 0) << "the maker of the first one that fits isn't asked for";
    EXPECT_EQ(chosen({}, 1), -10);
    EXPECT_EQ(chosen({}, 0), -10);
    EXPECT_EQ(chosen({"M2", "", 0}), 2);
    EXPECT_EQ(chosen({"M", "1", 0}), 1);
    EXPECT_EQ(chosen({"X", "", 0}), -11);
    EXPECT_EQ(chosen({"", "", 4}), 2) << "and nothing else";
    EXPECT_EQ(chosen({"", "", 16}), -11);
    EXPECT_EQ(chosen({"", "2", 2}), 1) << "either way";
}
