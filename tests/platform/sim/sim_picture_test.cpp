/** From the camera's settings to the bytes in the caller's buffers. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>
#include <numeric>

namespace
{

class SimPicture : public SimSession
{
protected:
    static constexpr std::uint32_t kSensorWidth = 256; // so that a corner has something to show

    void SetUp() override
    {
        setup.picture = sim::Picture::Pattern;
        setup.noise = 0;
        setup.sensorWidth = kSensorWidth;
        setup.sensorHeight = 128;
        OpenCamera();
    }

    static double Mean(const std::vector<std::uint8_t>& bytes)
    {
        return std::accumulate(bytes.begin(), bytes.end(), 0.0) / static_cast<double>(bytes.size());
    }
};

TEST_F(SimPicture, BrightnessFollowsExposureAndGain)
{
    const double dark = Mean(Grab());
    Float("ExposureTime")->SetValue(2000);
    const double longer = Mean(Grab());
    Float("Gain")->SetValue(2);
    const double amplified = Mean(Grab());
    EXPECT_GT(longer, dark + 1);
    EXPECT_GT(amplified, longer + 1);
}

TEST_F(SimPicture, FollowsRegionAndReversal)
{
    Float("ExposureTime")->SetValue(10'000);
    const auto corner = Grab();
    Integer("OffsetX")->SetValue(kSensorWidth - 64);
    const auto other = Grab();
    EXPECT_NE(other, corner);
    Boolean("ReverseX")->SetValue(true);
    auto reversed = Grab(); // the first corner again, from its other side
    EXPECT_NE(reversed, corner);
    for (auto line = reversed.begin(); line != reversed.end(); line += 64) {
        std::reverse(line, line + 64);
    }
    EXPECT_EQ(reversed, corner);
    Boolean("ReverseY")->SetValue(true);
    EXPECT_NE(Grab(), reversed);
}

TEST_F(SimPicture, EachFrameIsAnotherAndFillsItsFormat)
{
    Float("ExposureTime")->SetValue(10'000);
    Integer("Width")->SetValue(kSensorWidth);
    Integer("Height")->SetValue(128);
    for (const auto& [format, bytes] :
         {std::pair{"Mono8", 32768U}, {"Mono12Packed", 49152U}, {"Mono12", 65536U}}) {
        Enumeration("PixelFormat")->FromString(format);
        StartFor(2);
        const auto* first = Next();
        const auto* second = Next();
        ASSERT_TRUE(first != nullptr && second != nullptr) << format;
        EXPECT_EQ(first->receivedBytes, bytes) << format;
        EXPECT_EQ(memory[0].size(), bytes) << format;
        EXPECT_FALSE(memory[0] == memory[1]) << format;
        EXPECT_LT(std::count(memory[0].begin(), memory[0].end(), 0xEE), bytes / 4) << format;
        GevFreeTransfer(handle);
    }
}

TEST_F(SimPicture, APictureOfTheUsersStandsInFrontOfTheCamera)
{
    Float("ExposureTime")->SetValue(10'000);
    const auto pattern = Grab();
    GevCloseCamera(&handle);
    setup.serial = "S2";
    setup.scene = SCENE_IMAGE;
    OpenCamera();
    Float("ExposureTime")->SetValue(10'000);
    StartFor(2);
    ASSERT_TRUE(Next() != nullptr && Next() != nullptr);
    EXPECT_NE(memory[0], pattern);
    EXPECT_EQ(memory[0], memory[1]); // it stands still
    const double darker = Mean(memory[0]) - 2;
    GevFreeTransfer(handle);
    Float("ExposureTime")->SetValue(5000);
    EXPECT_LT(Mean(Grab()), darker);
}

TEST_F(SimPicture, AnIncompleteFrameLeavesTheRestAsItWas)
{
    sim::AddFault({.trigger = sim::Trigger::Frame, .effect = sim::Effect::Incomplete});
    const auto bytes = Grab();
    EXPECT_EQ(received, bytes.size() / 2);
    const auto half = bytes.begin() + static_cast<std::ptrdiff_t>(received);
    EXPECT_NE(std::count(bytes.begin(), half, 0xEE), half - bytes.begin());
    EXPECT_EQ(std::count(half, bytes.end(), 0xEE), bytes.end() - half);
}

} // namespace
