/** From the camera's settings to the bytes in the caller's buffers. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>

namespace
{

class SimPicture : public SimSession
{
protected:
    void SetUp() override
    {
        setup.picture = sim::Picture::Pattern;
        setup.noise = 0;
        setup.sensorWidth = 256; // so that a corner has something to show
        setup.sensorHeight = 128;
        OpenCamera();
    }
};

TEST_F(SimPicture, FollowsExposureGainRegionAndReversal)
{
    const auto corner = Grab();
    Float("ExposureTime")->SetValue(10'000);
    const auto longer = Grab();
    EXPECT_GT(MeanOf(longer), MeanOf(corner) + 1);
    Float("Gain")->SetValue(2);
    EXPECT_GT(MeanOf(Grab()), MeanOf(longer) + 1);
    Float("Gain")->SetValue(1);
    Integer("OffsetX")->SetValue(256 - 64);
    EXPECT_NE(Grab(), longer);
    Boolean("ReverseX")->SetValue(true);
    auto reversed = Grab(); // the first corner again, from its other side
    EXPECT_NE(reversed, longer);
    for (auto line = reversed.begin(); line != reversed.end(); line += 64) {
        std::reverse(line, line + 64);
    }
    EXPECT_EQ(reversed, longer);
    Boolean("ReverseY")->SetValue(true);
    EXPECT_NE(Grab(), reversed);
}

TEST_F(SimPicture, EachFrameIsAnotherAndFillsItsFormat)
{
    Float("ExposureTime")->SetValue(10'000);
    for (const auto& [format, bytes] :
         {std::pair{"Mono8", 4096U}, {"Mono12Packed", 6144U}, {"Mono12", 8192U}}) {
        Choose({{"PixelFormat", format}});
        StartFor(2);
        ASSERT_TRUE(Next() != nullptr && Next() != nullptr) << format;
        EXPECT_EQ(memory[0].size(), bytes) << format;
        EXPECT_NE(memory[0], memory[1]) << format;
        EXPECT_LT(std::count(memory[0].begin(), memory[0].end(), 0xEE), bytes / 4) << format;
        GevFreeTransfer(handle);
    }
}

TEST_F(SimPicture, APictureOfTheUsersStandsInFrontOfTheCamera)
{
    const auto pattern = Grab();
    GevCloseCamera(&handle);
    setup.serial = "S2";
    setup.scene = SCENE_IMAGE;
    OpenCamera();
    EXPECT_NE(Grab(), pattern);
}

TEST_F(SimPicture, AnIncompleteFrameLeavesTheRestAsItWas)
{
    sim::AddFault({.trigger = sim::Trigger::Frame, .effect = sim::Effect::Incomplete});
    const auto bytes = Grab();
    EXPECT_EQ(received, bytes.size() / 2);
    EXPECT_NE(bytes[received - 1], 0xEE);
    EXPECT_TRUE(std::all_of(bytes.begin() + static_cast<std::ptrdiff_t>(received), bytes.end(),
                            [](std::uint8_t byte) { return byte == 0xEE; }));
}

} // namespace
