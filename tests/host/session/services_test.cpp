// The services as the driver calls them.

#include "cameras/camera_table.h"
#include "kv_host_services.h"
#include "session/host_session.h"

#include "cameras/waveform.h"

#include <algorithm>
#include <gmock/gmock.h>

#include <unistd.h>

namespace
{

using namespace kvgrab;

struct Services : testing::Test {
    Services() { config.Reload(); }
    void Configure(const std::string& changed)
    {
        text = changed;
        ASSERT_TRUE(config.Reload().usable);
    }

    std::string text;
    ConfigStore config{ConfigSource{"f",
                                    [](const std::string&) {
                                        return FileStamp{1, 1, 1};
                                    },
                                    [this](const std::string&, std::string* out, std::string*) {
                                        *out = text;
                                        return true;
                                    },
                                    [](Config*) {}}};
    SignalState signals;
    Log log{STDERR_FILENO, false, 1, [] { return timespec{}; }};
    FrameMemory memory;
    Exporter exporter{ExportOptions()};
    HostSession host{{config, signals, log, memory, exporter, [] { return std::int64_t{1}; },
                      [] { return TransferCounts(); }, [] { return std::int64_t{1}; }}};
};

TEST_F(Services, EmptyConfigurationGivesTheMarkersOfUnsetValues)
{
    EXPECT_STREQ(KvGiMainCtx__GetModelStr(), "") << "never null: that would match no camera";
    EXPECT_STREQ(KvGiMainCtx__GetIdStr(), "");
    EXPECT_EQ(KvGiMainCtx__GetActiveCamMask(), 0U);
    EXPECT_EQ(KvGiMainCtx__GetDatachunk(), 1500);
    EXPECT_EQ(KvGiMainCtx__GetFormat(), 1U);
    EXPECT_EQ(KvGiMainCtx__GetCformat(), 0);
    EXPECT_EQ(KvGiMainCtx__GetOffsetX(), -1);
    EXPECT_EQ(KvGiMainCtx__GetOffsetY(), -1);
    EXPECT_EQ(KvGiMainCtx__GetWidth(), -1);
    EXPECT_EQ(KvGiMainCtx__GetHeight(), -1);
    EXPECT_EQ(KvGiMainCtx__GetFps(), -1.0F);
    EXPECT_EQ(KvGiMainCtx__GetExptMan(), -1.0F);
    EXPECT_EQ(KvGiMainCtx__GetGainMan(), -100.0F);
    EXPECT_EQ(KvGiMainCtx__GetWbred(), -1);
    EXPECT_EQ(KvGiMainCtx__GetWbblu(), -1);
    EXPECT_EQ(KvGiMainCtx__GetRotate(), 0);
    EXPECT_EQ(KvGiMainCtx__GetGamma(), -1.0F);
    EXPECT_EQ(KvGiMainCtx__GetLutArrCount(), 0);
    EXPECT_EQ(KvGiMainCtx__GetLutBitSize(), 0);
    EXPECT_EQ(KvGiMainCtx__GetLutDataU16(), nullptr);
    EXPECT_EQ(KvGiMainCtx__GetAtbright(), -1.0F);
    EXPECT_EQ(KvGiMainCtx__GetGainlimsLow(), -100.0F);
    EXPECT_EQ(KvGiMainCtx__GetGainlimsHigh(), -100.0F);
    EXPECT_EQ(KvGiMainCtx__GetEtlimsLow(), -1.0F);
    EXPECT_EQ(KvGiMainCtx__GetEtlimsHigh(), -1.0F);
    EXPECT_EQ(KvGiMainCtx__GetSweepProf(), 0U);
    EXPECT_EQ(KvGiMainCtx__GetSweepGainMod(), 0U);
    EXPECT_EQ(KvGiMainCtx__GetSweepEtimeMod(), 0U);
    EXPECT_EQ(KvGiMainCtx__GetSweepLutMod(), 0U);
    EXPECT_EQ(KvGiMainCtx__GetTsadjns(), 0);
    EXPECT_EQ(KvGiMainCtx__GetFnum(), 0U);
    EXPECT_EQ(KvGiMainCtx__GetBnum(), 8U);
    EXPECT_EQ(KvGiMainCtx__GetIoboxNum(), 0);
    EXPECT_EQ(KvGiMainCtx__GetIoboxPar(0, 0), 0xFFFFFFFFU);
    EXPECT_EQ(KvGiMem__IsFactoryUsed(), 1);
}

TEST_F(Services, GettersDoNotMixUpTheirKeys)
{
    Configure("[camera]\nmodel = \"M\"\nserial = \"S\"\n"
              "[region]\noffset_x = 1\noffset_y = 2\nwidth = 3\nheight = 4\n"
              "[exposure]\nmode = \"manual\"\ntime_us = 5\nauto_min_us = 6\nauto_max_us = 7\n"
              "[gain]\nmode = \"automatic\"\ndb = 8\nauto_min_db = 9\nauto_max_db = 10\n"
              "[white_balance]\nred = 11\nblue = 12\n"
              "[timing]\nfps = 13\ndrift_ns_per_s = 14\n[gamma]\nvalue = 15\n"
              "[auto]\nbrightness_control = true\nbrightness = 0.5\n"
              "[[iobox]]\npin = \"Out2\"\nsource = \"strobe2\"\ninvert = true\ndelay_us = 16\n"
              "width_us = 17\n");
    EXPECT_STREQ(KvGiMainCtx__GetModelStr(), "M");
    EXPECT_STREQ(KvGiMainCtx__GetIdStr(), "S");
    EXPECT_EQ(KvGiMainCtx__GetOffsetX(), 1);
    EXPECT_EQ(KvGiMainCtx__GetOffsetY(), 2);
    EXPECT_EQ(KvGiMainCtx__GetWidth(), 3);
    EXPECT_EQ(KvGiMainCtx__GetHeight(), 4);
    EXPECT_EQ(KvGiMainCtx__GetSweepEtimeMod(), 1U);
    EXPECT_EQ(KvGiMainCtx__GetExptMan(), 5.0F);
    EXPECT_EQ(KvGiMainCtx__GetEtlimsLow(), 6.0F);
    EXPECT_EQ(KvGiMainCtx__GetEtlimsHigh(), 7.0F);
    EXPECT_EQ(KvGiMainCtx__GetSweepGainMod(), 2U);
    EXPECT_EQ(KvGiMainCtx__GetGainMan(), 8.0F);
    EXPECT_EQ(KvGiMainCtx__GetGainlimsLow(), 9.0F);
    EXPECT_EQ(KvGiMainCtx__GetGainlimsHigh(), 10.0F);
    EXPECT_EQ(KvGiMainCtx__GetWbred(), 11);
    EXPECT_EQ(KvGiMainCtx__GetWbblu(), 12);
    EXPECT_EQ(KvGiMainCtx__GetFps(), 13.0F);
    EXPECT_EQ(KvGiMainCtx__GetTsadjns(), 14);
    EXPECT_EQ(KvGiMainCtx__GetGamma(), 15.0F);
    EXPECT_EQ(KvGiMainCtx__GetSweepProf(), 1U);
    EXPECT_EQ(KvGiMainCtx__GetAtbright(), 0.5F);
    EXPECT_EQ(KvGiMainCtx__GetIoboxNum(), 1);
    EXPECT_EQ(KvGiMainCtx__GetIoboxPin(0), 6);
    EXPECT_EQ(KvGiMainCtx__GetIoboxMod(0), 1);
    EXPECT_EQ(KvGiMainCtx__GetIoboxSrc(0), 3);
    EXPECT_EQ(KvGiMainCtx__GetIoboxInv(0), 2);
    EXPECT_EQ(KvGiMainCtx__GetIoboxPar(0, 0), 16U);
    EXPECT_EQ(KvGiMainCtx__GetIoboxPar(0, 1), 17U);
    for (const auto& [set, index] :
         {std::pair(0, 2), std::pair(0, -1), std::pair(1, 0), std::pair(-1, 0)}) {
        EXPECT_EQ(KvGiMainCtx__GetIoboxPar(set, index), 0xFFFFFFFFU) << set << "," << index;
    }
}

TEST_F(Services, ForcedValuesAreHandedBack)
{
    KvGiMainCtx__SetFormat(2);
    KvGiMainCtx__SetBnum(3);
    EXPECT_EQ(KvGiMainCtx__GetFormat(), 2U);
    EXPECT_EQ(KvGiMainCtx__GetBnum(), 3U);
    host.SessionEnded();
    EXPECT_EQ(KvGiMainCtx__GetFormat(), 1U);
}

TEST_F(Services, ParametersAreCopiedByTheirTypes)
{
    std::uint64_t ticks = 0x123456789ABCDEF0;
    float gain = 2.5F;
    char codec[] = "MONO12PT";
    EXPECT_EQ(KvSc__SetParamVal(KvTd::kParamCameraTicks, &ticks), 0);
    EXPECT_EQ(KvSc__SetParamVal(KvTd::kParamGain, &gain), 0);
    EXPECT_EQ(KvSc__SetParamVal(KvTd::kParamCodec, codec), 0);
    ticks = 0;
    codec[0] = 'x';
    EXPECT_EQ(host.scenario.frame.cameraTicks, 0x123456789ABCDEF0U);
    EXPECT_EQ(host.scenario.frame.gainDb, 2.5F);
    EXPECT_EQ(host.scenario.codec, "MONO12PT");
    EXPECT_NE(KvSc__SetParamVal(3, &ticks), 0);
    EXPECT_NE(KvSc__SetParamVal(KvTd::kParamGain, nullptr), 0);
    EXPECT_NE(KvSc__InstSetParamVal(0, KvTd::kParamGain, "x"), 0);
}

TEST_F(Services, MissedRoundTellsUsrAgain)
{
    signals.Raise(KvTd::kSignalUsr1);
    EXPECT_EQ(KvUtl__CheckSignal(), 3U);
    KvGi__HaltUpdate(1, 1, 20);
    EXPECT_EQ(KvUtl__CheckSignal(), 3U);
    KvGi__HaltStop(1, 1, 20);
    EXPECT_EQ(KvUtl__CheckSignal(), 0U);
}

TEST_F(Services, TimeDifferenceIsNormalised)
{
    struct {
        timeval later, earlier, difference;
    } const cases[] = {
        {{5, 250'000}, {3, 750'000}, {1, 500'000}}, {{5, 750'000}, {3, 250'000}, {2, 500'000}},
        {{3, 0}, {3, 250'000}, {-1, 750'000}},      {{3, 250'000}, {5, 0}, {-2, 250'000}},
        {{1, 2'500'000}, {0, 0}, {3, 500'000}},
    };
    for (const auto& c : cases) {
        const timeval* difference = KvUtl__TimeValDiff(&c.later, &c.earlier);
        EXPECT_EQ(difference->tv_sec, c.difference.tv_sec);
        EXPECT_EQ(difference->tv_usec, c.difference.tv_usec);
    }
}

TEST(Waveform, ShowsThePulseBesideTheExposure)
{
    const auto count = [](const std::string& text, char c) {
        return std::count(text.begin(), text.end(), c);
    };
    // 10000 us and a tenth around it on 60 columns: 200 us each.
    LinePulse pulse{"S1", 3, false, 7, 10000, 1000, 3000};
    const std::string high = DrawPulse(pulse);
    EXPECT_THAT(high, testing::StartsWith("Line3 of S1, frame 7:\n  exposure  .....#"));
    EXPECT_EQ(count(high, '#'), 50);
    EXPECT_EQ(count(high, '^'), 10);
    EXPECT_THAT(high, testing::HasSubstr("_  high from 1000 to 3000 us\n"));
    pulse.inverted = true;
    const std::string low = DrawPulse(pulse);
    EXPECT_EQ(count(low, '_'), 10);
    EXPECT_THAT(low, testing::HasSubstr("frame 7, inverted:"));
    EXPECT_THAT(DrawPulse({}), testing::HasSubstr("0 to 0 us"));
}

TEST(CameraTable, SaysWhichCamerasTheDriverTakes)
{
    std::vector<CameraRow> cameras(9, {"DALSA (simulated)", "M", "1", "1.0", "sim", ""});
    cameras[1] = {"Other", "LongerModel", "", "1\n", "net", "10.0.0.7"};
    const std::string table = CameraTable(cameras);
    EXPECT_THAT(table, testing::StartsWith(
                           "position  model        serial  version  backend  address   driver\n"
                           "0         M            1       1.0      sim      -         takes it\n"
                           "1         LongerModel  -       1?       net      10.0.0.7  no (another "
                           "maker: Other)\n"));
    EXPECT_THAT(table, testing::EndsWith("no (beyond the first eight)\n"));
}

} // namespace
