/** The texts of kvgrab about networks, sessions and features; all of it pure units. */
#include "cameras/feature_table.h"
#include "cameras/network_checks.h"
#include "session/session_timing.h"

#include "cameras/camera_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace kvgrab;
using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::Not;

TEST(NetworkAdvice, TellsWhatIsWrongAndWhatToDo)
{
    const NetworkFacts good{.receiveBufferLimit = 32U << 20,
                            .mayUsePacketSocket = true,
                            .interfaces = {{"eth0", 1500, false}, {"eth1", 9000, false}}};
    EXPECT_THAT(NetworkAdvice(good, 1500), IsEmpty());
    EXPECT_THAT(NetworkAdvice(good, 9000),
                ElementsAre(AllOf(HasSubstr("interface eth0"), HasSubstr("packet_size to 1500"),
                                  HasSubstr("ip link set eth0 mtu 9000"))));
    NetworkFacts narrow = good;
    narrow.interfaces[1].mtu = 1400;
    EXPECT_THAT(NetworkAdvice(narrow, 1500),
                ElementsAre(AllOf(HasSubstr("packet_size to 1400"), Not(HasSubstr("raise")))));

    NetworkFacts bare = good;
    bare.mayUsePacketSocket = false;
    EXPECT_THAT(NetworkAdvice(bare, 1500), ElementsAre(HasSubstr("cap_net_raw")));
    bare.receiveBufferLimit = 212'992;
    EXPECT_THAT(NetworkAdvice(bare, 1500),
                ElementsAre(HasSubstr("cap_net_raw"),
                            AllOf(HasSubstr("212992"), HasSubstr("net.core.rmem_max"))));
    bare.mayUsePacketSocket = true;
    EXPECT_THAT(NetworkAdvice(bare, 1500), IsEmpty()) << "packet sockets don't use that memory";

    NetworkFacts filtered = good;
    filtered.interfaces[1].strictFilter = true;
    EXPECT_THAT(NetworkAdvice(filtered, 1500), ElementsAre(HasSubstr("conf.eth1.rp_filter=2")));
    filtered.interfaces.erase(filtered.interfaces.begin());
    EXPECT_THAT(NetworkAdvice(filtered, 1500), IsEmpty()) << "there is no other way to answer";
}

TEST(SessionTiming, TellsTheStepsOnceASessionAndHowLongACameraWasAway)
{
    constexpr std::int64_t kMs = 1'000'000;
    SessionTiming timing;
    timing.Begins(1000 * kMs);
    timing.Opened(1800 * kMs);
    timing.Configured(2000 * kMs);
    timing.Configured(9000 * kMs); // another loop of the same session
    EXPECT_EQ(timing.Frame(2050 * kMs),
              "the camera was found and opened after 800 ms, configured after 1000 ms; the first "
              "frame came after 1050 ms");
    EXPECT_EQ(timing.Frame(3000 * kMs), "");

    timing.Begins(4000 * kMs); // asked for: nothing was wrong
    timing.Opened(4100 * kMs);
    timing.Configured(4200 * kMs);
    EXPECT_THAT(timing.Frame(4300 * kMs), testing::EndsWith("came after 300 ms"));

    timing.Failed();
    timing.Begins(9000 * kMs); // and no camera
    timing.Failed();
    timing.Begins(11'000 * kMs);
    timing.Opened(11'100 * kMs);
    timing.Configured(11'200 * kMs);
    EXPECT_THAT(timing.Frame(11'300 * kMs), HasSubstr("there was none for 7.0 s"));
    timing.Begins(12'000 * kMs);
    EXPECT_THAT(timing.Frame(12'100 * kMs), Not(HasSubstr("there was none")));
}

TEST(Tables, ShowWhatACameraSaysWithoutLettingItMoveTheCursor)
{
    EXPECT_EQ(FeatureTable({{"Width", "integer", "640", "16 .. 1920 step 4", "RW", "px"},
                            {"Ev\x1Bil", "boolean", "", "", "WO", ""}}),
              "feature  type     access  value  unit  range or entries\n"
              "Width    integer  RW      640    px    16 .. 1920 step 4\n"
              "Ev?il    boolean  WO      -      -     -\n");
    EXPECT_EQ(AddressText(0xC0A80114), "192.168.1.20");
    EXPECT_EQ(AddressText(0), "");
}
