// The services as the driver calls them.

#include "kv_host_services.h"
#include "tests/host/memory/consumer.h"
#include "tests/host/session/host_under_test.h"

#include <cstring>
#include <fmt/format.h>
#include <gmock/gmock.h>
#include <unistd.h>

namespace
{

using namespace kvgrab;
using testing::HasSubstr;

TEST(Services, GettersDoNotMixUpTheirKeys)
{
    HostUnderTest tested;
    ASSERT_TRUE(tested.Configure(
        "[camera]\nmodel = \"M\"\nserial = \"S\"\n"
        "[region]\noffset_x = 1\noffset_y = 2\nwidth = 3\nheight = 4\n"
        "[exposure]\nmode = \"manual\"\ntime_us = 5\nauto_min_us = 6\nauto_max_us = 7\n"
        "[gain]\nmode = \"automatic\"\ndb = 8\nauto_min_db = 9\nauto_max_db = 10\n"
        "[white_balance]\nred = 11\nblue = 12\n[timing]\nfps = 13\ndrift_ns_per_s = 14\n"
        "[gamma]\nvalue = 15\n[auto]\nbrightness_control = true\nbrightness = 0.5\n"
        "[session]\nframes = 18\n[[iobox]]\npin = \"Out2\"\nsource = \"strobe2\"\n"
        "invert = true\ndelay_us = 16\nwidth_us = 17\n"));
    tested.host.SessionBegins();
    const auto shown = [](auto... values) { return (fmt::format("{} ", values) + ...); };
    EXPECT_EQ(shown(KvGiMainCtx__GetModelStr(), KvGiMainCtx__GetIdStr(), KvGiMainCtx__GetOffsetX(),
                    KvGiMainCtx__GetOffsetY(), KvGiMainCtx__GetWidth(), KvGiMainCtx__GetHeight(),
                    KvGiMainCtx__GetExptMan(), KvGiMainCtx__GetEtlimsLow(),
                    KvGiMainCtx__GetEtlimsHigh(), KvGiMainCtx__GetGainMan(),
                    KvGiMainCtx__GetGainlimsLow(), KvGiMainCtx__GetGainlimsHigh(),
                    KvGiMainCtx__GetWbred(), KvGiMainCtx__GetWbblu(), KvGiMainCtx__GetFps(),
                    KvGiMainCtx__GetTsadjns(), KvGiMainCtx__GetGamma(),
                    KvGiMainCtx__GetIoboxPar(0, 0), KvGiMainCtx__GetIoboxPar(0, 1),
                    KvGiMainCtx__GetFnum()),
              "M S 1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18 ");
    EXPECT_EQ(shown(KvGiMainCtx__GetAtbright(), KvGiMainCtx__GetSweepEtimeMod(),
                    KvGiMainCtx__GetSweepGainMod(), KvGiMainCtx__GetSweepProf(),
                    KvGiMainCtx__GetIoboxNum(), KvGiMainCtx__GetIoboxPin(0),
                    KvGiMainCtx__GetIoboxMod(0), KvGiMainCtx__GetIoboxSrc(0),
                    KvGiMainCtx__GetIoboxInv(0)),
              "0.5 1 2 1 1 6 1 3 2 ");
    for (const auto& [set, index] :
         {std::pair(0, 2), std::pair(0, -1), std::pair(1, 0), std::pair(-1, 0)}) {
        EXPECT_EQ(KvGiMainCtx__GetIoboxPar(set, index), 0xFFFFFFFFU) << set << "," << index;
    }
}

TEST(Services, StatisticsEndWithTheHeldBuffer)
{
    HostUnderTest tested;
    ASSERT_TRUE(tested.memory.Open(fmt::format("/kvgrab-statistics-{}", getpid())));
    KvGiMem__Init(100, 0);
    const auto page = static_cast<std::uint32_t>(sysconf(_SC_PAGESIZE)); // of each buffer
    std::vector<std::uint32_t> cdf(256);
    std::uint8_t* const image = static_cast<std::uint8_t*>(KvGiMem__GetBufPtr(0));
    KvSc__SetParamVal(KvTd::kParamCodec, "MONO8T");
    const std::pair<std::uint8_t*, std::uint32_t> kImages[] = {
        {image, page}, {image + 64, page - 64}, {image - 64, 0}};
    for (const auto& [begin, counted] : kImages) {
        KvGi__CalcLutDynam(begin, 64, 1'000'000, 64, 8, cdf.data());
        EXPECT_EQ(cdf.back(), counted);
    }
}

TEST(Services, PositionsAloneMatchNoModel)
{
    HostUnderTest tested;
    ASSERT_TRUE(tested.Configure("[camera]\npositions = [1]\n"));
    EXPECT_EQ(KvGiMainCtx__GetModelStr(), nullptr);
    EXPECT_EQ(KvGiMainCtx__GetActiveCamMask(), 2U);
    ASSERT_TRUE(tested.Configure("[camera]\npositions = [1]\nserial = \"S\"\n"));
    EXPECT_STREQ(KvGiMainCtx__GetModelStr(), "");
}

TEST(Services, ForcedValuesAreHandedBack)
{
    HostUnderTest tested;
    KvGiMainCtx__SetFormat(2);
    KvGiMainCtx__SetBnum(3);
    EXPECT_EQ(KvGiMainCtx__GetFormat(), 2U);
    EXPECT_EQ(KvGiMainCtx__GetBnum(), 3U);
    tested.host.SessionEnded();
    EXPECT_EQ(KvGiMainCtx__GetFormat(), 1U);
    EXPECT_EQ(KvGiMainCtx__GetBnum(), 8U);
}

/** Publishes a value, which is the driver's again afterwards. */
template <class Value> int Publish(KvTd::ScenarioParam id, Value value)
{
    const int result = KvSc__SetParamVal(id, &value);
    std::memset(&value, 0xEE, sizeof value);
    return result;
}

TEST(Services, AFrameReachesMemoryAndFilesAsTheDriverPublishedIt)
{
    const TempFolder folder;
    ExportOptions options;
    options.folder = folder / "out";
    options.format = ExportFormat::kRaw;
    HostUnderTest tested(options);
    ASSERT_TRUE(tested.memory.Open(OwnMemoryName()));
    ASSERT_TRUE(tested.exporter.Start());
    char codec[] = "MONO8T";
    EXPECT_EQ(KvSc__SetParamVal(KvTd::kParamCodec, codec), 0);
    std::memset(codec, 'x', sizeof codec - 1);
    EXPECT_EQ(Publish<std::uint32_t>(KvTd::kParamWidth, 4), 0);
    EXPECT_EQ(Publish<std::uint32_t>(KvTd::kParamHeight, 1), 0);
    KvGiMem__Init(16, 0);
    KvGiMem__SetActFsize(4);
    const Consumer consumer;
    const auto frame = [&](std::uint32_t index) {
        KvGi__HaltStop(4, 1, 20);
        Publish(KvTd::kParamGain, 3.5F);
        Publish(KvTd::kParamExposure, 10000.25F);
        Publish<std::uint32_t>(KvTd::kParamTickNs, 8);
        Publish<std::uint64_t>(KvTd::kParamCameraTicks, 0x123456789ABCDEF0);
        tested.newest = {77, 0x123456789ABCDEF0, 1'700'000'000'123'456'789};
        Publish<std::uint32_t>(KvTd::kParamFrameCounter, 0xFEDCBA98);
        EXPECT_EQ(KvGiMemInst__Trigger(0, 0, 1'700'000'000'000'001, KvGiMem__GetBufPtr(index), 0),
                  0);
        EXPECT_EQ(consumer.State(index), KvFrames::kFrameHeld);
        const int result = KvSc__ProcExport(1'700'000'000'000'001);
        EXPECT_EQ(consumer.State(index), KvFrames::kFrameReleased);
        return result;
    };
    EXPECT_EQ(frame(0), 0);
    EXPECT_EQ(consumer.Info(0).frameCounter, 0xFEDCBA98);
    EXPECT_EQ(consumer.Info(0).cameraTicks, 0x123456789ABCDEF0U);
    EXPECT_EQ(consumer.Info(0).cameraFrameNumber, 77U);
    EXPECT_EQ(consumer.Info(0).captureTimeNs, 1'700'000'000'123'456'789U);
    EXPECT_EQ(consumer.Info(0).gainDb, 3.5F);
    EXPECT_EQ(consumer.Info(0).exposureUs, 10000.25F);
    EXPECT_STREQ(consumer.Header().codec, "MONO8T");
    tested.exporter.Close();
    EXPECT_THAT(ReadFile(folder / "out/index.csv"),
                HasSubstr("\n1,frame_000001.raw,1700000000000001,1311768467463790320,4275878552,"
                          "3.5,10000.25,4,1,MONO8T,77,1700000000123456789\n"));
    EXPECT_EQ(frame(1), -1) << "the exporter is closed; the buffer is the camera's all the same";
    EXPECT_EQ(KvSc__ProcExport(1), -1) << "there is no frame";

    EXPECT_NE(Publish(static_cast<KvTd::ScenarioParam>(3), 1.0F), 0) << "there is none";
    EXPECT_NE(KvSc__SetParamVal(KvTd::kParamGain, nullptr), 0);
    EXPECT_NE(KvSc__InstSetParamVal(0, KvTd::kParamGain, "x"), 0);
}

TEST(Services, CaptureTimesFollowTheCameraAndClocksThatAreSetAreReported)
{
    HostUnderTest tested;
    Publish<std::uint32_t>(KvTd::kParamTickNs, 10);
    const auto frame = [&](std::uint64_t number, std::uint64_t ticks, std::int64_t lateNs) {
        const auto atNs = static_cast<std::int64_t>(number) * 10'000'000;
        tested.nowNs = atNs + lateNs;
        tested.newest = {number, ticks, number % 2 == 0 ? tested.nowNs + tested.wallNs : 0};
        KvGi__HaltStop(4, 1, 20);
        Publish(KvTd::kParamCameraTicks, ticks);
        Publish(KvTd::kParamFrameCounter, 0U);
        return tested.host.scenario.frame;
    };
    for (std::uint64_t i = 1; i < 1000; ++i) {
        // Some seconds of a host that is too busy are no clock that is set.
        const std::int64_t busyNs = i >= 300 && i < 700 ? 300'000'000 : 0;
        const auto lateNs = static_cast<std::int64_t>(i % 3) * 20'000 + busyNs;
        tested.wallNs = i >= 800 ? 2'500'000'000 : 0;
        const FrameValues values = frame(i, i * 1'000'000, lateNs);
        EXPECT_EQ(values.cameraFrameNumber, i);
        if (i > 20) {
            EXPECT_NEAR(static_cast<double>(values.captureTimeNs),
                        static_cast<double>(i) * 1e7 + static_cast<double>(tested.wallNs), 1e4);
        }
    }
    EXPECT_EQ(frame(1000, 0, 0).captureTimeNs, 0U) << "no time stamp";
    tested.newest.cameraTicks = 5;
    Publish<std::uint64_t>(KvTd::kParamCameraTicks, 6);
    Publish(KvTd::kParamFrameCounter, 0U);
    EXPECT_EQ(tested.host.scenario.frame.cameraFrameNumber, 0U) << "another frame's number";
    const std::string log = tested.logged.Content();
    EXPECT_THAT(
        log, HasSubstr("the host's clock was set forward by 2.500000 s; capture times follow it"));
    EXPECT_EQ(log.find("was set"), log.rfind("was set"));
}

TEST(CaptureTimes, AreNotBlamedOnAClockForWhatADelayExplains)
{
    const std::pair<std::int64_t, const char*> kShifts[] = {
        {-2'000'000, "frames come earlier by 0.002000 s than before, by the camera's clock; "
                     "capture times follow"},
        {2'000'000, ""},
        {200'000'000, ""}};
    for (const auto& [shiftNs, expected] : kShifts) {
        CaptureTimes times;
        FrameValues values;
        std::string notices;
        for (std::uint64_t i = 1; i < 1200; ++i) {
            values.cameraTicks = i * 10'000'000;
            const auto atNs = static_cast<std::int64_t>(values.cameraTicks);
            times.Complete(&values, {}, 1, atNs + (i < 600 ? 0 : shiftNs), {});
            notices += times.Notice(atNs);
        }
        EXPECT_EQ(notices, expected);
    }
}

TEST(Services, MissedRoundTellsUsrAgain)
{
    HostUnderTest tested;
    tested.signals.Raise(KvTd::kSignalUsr1);
    EXPECT_EQ(KvUtl__CheckSignal(), 3U);
    KvGi__HaltUpdate(1, 1, 20);
    EXPECT_EQ(KvUtl__CheckSignal(), 3U);
    KvGi__HaltStop(1, 1, 20);
    EXPECT_EQ(KvUtl__CheckSignal(), 0U);
}

TEST(Services, TimeDifferenceIsNormalised)
{
    const timeval cases[][3] = {
        {{5, 250'000}, {3, 750'000}, {1, 500'000}}, {{5, 750'000}, {3, 250'000}, {2, 500'000}},
        {{3, 0}, {3, 250'000}, {-1, 750'000}},      {{3, 250'000}, {5, 0}, {-2, 250'000}},
        {{1, 2'500'000}, {0, 0}, {3, 500'000}},
    };
    for (const auto& [later, earlier, expected] : cases) {
        const timeval* difference = KvUtl__TimeValDiff(&later, &earlier);
        EXPECT_EQ(difference->tv_sec, expected.tv_sec);
        EXPECT_EQ(difference->tv_usec, expected.tv_usec);
    }
}

} // namespace
