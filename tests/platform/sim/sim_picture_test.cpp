/** From the camera's settings to the bytes in the caller's buffers. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{

using Curve = std::function<int(int)>;

class SimPicture : public PatternSession
{
protected:
    void OpenWith(sim::Model model, const char* format, const char* lutSize = "Bpp8")
    {
        setup.model = model;
        setup.values = {{"PixelFormat", format}, {"lutSize", lutSize}};
        OpenWide();
    }
    void Load(const Curve& curve, int count = 256)
    {
        for (int i = 0; i < count; ++i) {
            Integer("LUTIndex")->SetValue(i);
            Integer("LUTValue")->SetValue(curve(i));
        }
    }
    /** Of 16 bits a pixel. */
    std::vector<int> GrabSamples()
    {
        const Bytes bytes = Grab();
        std::vector<int> samples;
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            samples.push_back(bytes[i] | bytes[i + 1] << 8);
        }
        return samples;
    }
};

TEST_F(SimPicture, FollowsExposureGainRegionReversalAndScene)
{
    OpenCamera();
    const Bytes dark = Grab();
    Float("ExposureTime")->SetValue(10'000);
    const Bytes corner = Grab();
    EXPECT_GT(MeanOf(corner), MeanOf(dark) + 1);
    Float("Gain")->SetValue(2);
    EXPECT_GT(MeanOf(Grab()), MeanOf(corner) + 1);
    Float("Gain")->SetValue(1);
    Integer("OffsetX")->SetValue(256 - 64);
    EXPECT_NE(Grab(), corner);
    Boolean("ReverseX")->SetValue(true);
    Bytes reversed = Grab(); // the first corner again, from its other side
    EXPECT_NE(reversed, corner);
    for (auto line = reversed.begin(); line != reversed.end(); line += 64) {
        std::reverse(line, line + 64);
    }
    EXPECT_EQ(reversed, corner);
    Boolean("ReverseY")->SetValue(true);
    EXPECT_NE(Grab(), reversed);
    GevCloseCamera(&handle);

    setup.serial = "S2";
    setup.scene = SCENE_IMAGE;
    OpenCamera();
    EXPECT_NE(Grab(), dark);
}

TEST_F(SimPicture, EachFrameIsAnotherAndFillsItsFormat)
{
    OpenWide();
    for (const auto& [format, bytes] :
         {std::pair{"Mono8", 32768U}, {"Mono12Packed", 49152U}, {"Mono12", 65536U}}) {
        Choose({{"PixelFormat", format}});
        StartFor(2);
        ASSERT_TRUE(Next() != nullptr && Next() != nullptr) << format;
        EXPECT_EQ(memory[0].size(), bytes) << format;
        EXPECT_NE(memory[0], memory[1]) << format;
        EXPECT_LT(std::count(memory[0].begin(), memory[0].end(), 0xEE), bytes / 4) << format;
        GevFreeTransfer(handle);
    }
}

TEST_F(SimPicture, AnIncompleteFrameLeavesTheRestAsItWas)
{
    OpenCamera();
    sim::AddFault({.trigger = sim::Trigger::Frame, .effect = sim::Effect::Incomplete});
    const Bytes bytes = Grab();
    EXPECT_EQ(received, bytes.size() / 2);
    EXPECT_NE(bytes[received - 1], 0xEE);
    EXPECT_EQ(Bytes(bytes.begin() + 2048, bytes.end()), Bytes(2048, 0xEE));
}

TEST_F(SimPicture, ATableMapsTheHighBitsOfASample)
{
    for (const auto& [size, bits] : {std::pair{"Bpp8", 8}, {"Bpp10", 10}, {"Bpp12", 12}}) {
        sim::Reset();
        OpenWith(sim::Model::Mono, "Mono12", size);
        const auto plain = GrabSamples();
        const int last = (1 << bits) - 1;
        EXPECT_EQ(Integer("LUTIndex")->GetMax(), last);
        Choose({{"lutMode", "Active"}});
        EXPECT_EQ(GrabSamples(), plain); // as it comes from the factory
        const Curve steep = [last](int in) { return std::min(2 * in, last); };
        Load(steep, last + 1);
        const auto toned = GrabSamples();
        Choose({{"PixelFormat", "Mono8"}});
        const Bytes bytes = Grab();
        Choose({{"PixelFormat", "Mono12"}, {"lutMode", "Off"}});
        EXPECT_EQ(GrabSamples(), plain);
        for (std::size_t i = 0; i < plain.size(); ++i) {
            const int expected = steep(plain[i] >> (12 - bits)) << (12 - bits);
            ASSERT_EQ(bytes[i], expected >> 4) << size << " at " << i;
            ASSERT_EQ(toned[i], bits == 12 ? expected : plain[i]) << "narrow ones pass 12 bits by";
        }
        GevCloseCamera(&handle);
    }
}

TEST_F(SimPicture, EachColourHasItsTable)
{
    OpenWith(sim::Model::Color, "BayerRG8");
    const Bytes plain = Grab();
    const std::pair<const char*, Curve> curves[] = {{"Red", [](int in) { return 255 - in; }},
                                                    {"Green", [](int in) { return in / 2; }},
                                                    {"Blue", [](int in) { return 255 - in / 4; }}};
    for (const auto& [channel, curve] : curves) {
        Choose({{"LUTSelector", channel}});
        Load(curve);
    }
    Choose({{"lutMode", "Active"}});
    const Bytes toned = Grab();
    for (std::size_t i = 0; i < plain.size(); ++i) {
        const std::size_t channel = i % 2 + i / 256 % 2; // red first, blue last of a tile
        ASSERT_EQ(toned[i], curves[channel].second(plain[i])) << i;
    }
}

TEST_F(SimPicture, GammaIsTheExponentAndChangesWhileFramesFlow)
{
    OpenWith(sim::Model::Mono, "Mono12");
    const auto plain = GrabSamples();
    Load([](int) { return 7; }); // another type's table: not looked at
    Choose({{"lutType", "GammaCorrection"}, {"lutMode", "Active"}});
    for (const double gamma : {0.45, 1.0, 2.2}) {
        Float("gammaCorrection")->SetValue(gamma);
        const auto toned = GrabSamples();
        for (std::size_t i = 0; i < plain.size(); ++i) {
            ASSERT_NEAR(toned[i], 4095 * std::pow(plain[i] / 4095.0, gamma), 0.51) << gamma;
        }
    }
    Choose({{"PixelFormat", "Mono8"}});
    StartFor(1);
    GrabFrames(2);
    EXPECT_NE(memory[0], Bytes(32768, 7));
    EXPECT_THROW(Choose({{"lutMode", "Off"}}), GenICam::AccessException);
    Choose({{"lutType", "UserDefined"}});
    GrabFrames(2); // one was on its way
    EXPECT_EQ(memory[0], Bytes(32768, 7));
}

} // namespace
