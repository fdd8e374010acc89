/** Output lines: the pulses that an exposure causes with different settings. */
#include "tests/platform/sim/sim_session.h"

namespace
{

class SimLines : public SimSession
{
protected:
    void SetUp() override { OpenCamera(); }
    void Drive(const char* line, bool inverted, std::int64_t delayUs, std::int64_t durationUs)
    {
        Choose({{"LineSelector", line}, {"outputLineSource", "ExposureActive"}});
        Boolean("LineInverter")->SetValue(inverted);
        Integer("outputLinePulseDelay")->SetValue(delayUs);
        Integer("outputLinePulseDuration")->SetValue(durationUs);
    }
    sim::LineWaveform Waveform(int line) const
    {
        sim::LineWaveform waveform;
        EXPECT_TRUE(sim::GetLineWaveform("S1", line, &waveform));
        return waveform;
    }
};

TEST_F(SimLines, PulseWithEachExposure)
{
    Float("ExposureTime")->SetValue(4000);
    Drive("Line3", false, 100, 500);
    Drive("Line4", true, 0, 0);
    StartFor(2);
    GrabMany(3);
    const sim::LineWaveform third = Waveform(3);
    EXPECT_EQ(third.source, "ExposureActive");
    EXPECT_EQ(std::tuple(third.delayUs, third.durationUs), std::tuple(100, 500));
    ASSERT_GE(third.pulses.size(), 3U);
    for (std::size_t i = 0; i < 3; ++i) {
        const sim::StrobePulse& pulse = third.pulses[i];
        EXPECT_EQ(pulse.frame, i + 1);
        EXPECT_EQ(pulse.exposureEndNs - pulse.exposureStartNs, 4 * kMs);
        EXPECT_EQ(pulse.startNs - pulse.exposureStartNs, 100'000);
        EXPECT_EQ(pulse.endNs - pulse.startNs, 500'000);
    }
    EXPECT_TRUE(Waveform(4).inverted);
    EXPECT_EQ(Waveform(4).pulses[2].endNs, third.pulses[2].exposureEndNs) << "0: all of it";

    Choose({{"LineSelector", "Line3"}, {"outputLineSource", "Off"}});
    const std::size_t before = Waveform(3).pulses.size();
    GrabMany(100);
    EXPECT_EQ(Waveform(3).pulses.size(), before);
    EXPECT_EQ(Waveform(4).pulses.size(), 64U);
    EXPECT_GE(Waveform(4).pulses.back().frame, 100U);
}

TEST_F(SimLines, OnlyOutputsHaveOne)
{
    sim::LineWaveform waveform;
    for (const int line : {-1, 0, 1, 2, 5}) {
        EXPECT_FALSE(sim::GetLineWaveform("S1", line, &waveform)) << line;
    }
    EXPECT_FALSE(sim::GetLineWaveform("S9", 3, &waveform));
    EXPECT_TRUE(Waveform(3).pulses.empty());
}

} // namespace
