/** Table and gamma, from the features to the bytes of the picture. */
#include "tests/platform/sim/sim_session.h"

#include <algorithm>
#include <cmath>
#include <functional>

namespace
{

using Bytes = std::vector<std::uint8_t>;
using Curve = std::function<int(int)>;

class SimTone : public SimSession
{
protected:
    void OpenWith(sim::Model model, const char* format, const char* lutSize = "Bpp8")
    {
        setup.model = model;
        setup.picture = sim::Picture::Pattern;
        setup.noise = 0;
        setup.sensorWidth = 256;
        setup.sensorHeight = 128;
        setup.values = {{"PixelFormat", format}, {"lutSize", lutSize}};
        OpenCamera();
        Integer("Width")->SetValue(256);
        Float("ExposureTime")->SetValue(8000);
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

TEST_F(SimTone, ATableMapsTheHighBitsOfASample)
{
    for (const auto& [size, bits] : {std::pair{"Bpp8", 8}, {"Bpp10", 10}, {"Bpp12", 12}}) {
        sim::Reset();
        OpenWith(sim::Model::Mono, "Mono12", size);
        const auto plain = GrabSamples();
        const int last = (1 << bits) - 1;
        EXPECT_EQ(Integer("LUTIndex")->GetMax(), last);
        Choose({{"lutMode", "Active"}});
        EXPECT_EQ(GrabSamples(), plain); // as it comes from the factory
        Choose({{"lutMode", "Off"}});
        const Curve steep = [last](int in) { return std::min(2 * in, last); };
        Load(steep, last + 1);
        EXPECT_EQ(GrabSamples(), plain);
        Choose({{"lutMode", "Active"}});
        const auto toned = GrabSamples();
        Choose({{"PixelFormat", "Mono8"}});
        const Bytes bytes = Grab();
        const int shift = 12 - bits;
        for (std::size_t i = 0; i < plain.size(); ++i) {
            const int expected = steep(plain[i] >> shift) << shift;
            ASSERT_EQ(bytes[i], expected >> 4) << size << " at " << i;
            ASSERT_EQ(toned[i], bits == 12 ? expected : plain[i]) << "narrow ones pass 12 bits by";
        }
        GevCloseCamera(&handle);
    }
}

TEST_F(SimTone, EachColourHasItsTable)
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

TEST_F(SimTone, GammaIsTheExponentAndChangesWhileFramesFlow)
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
    GrabMany(2);
    EXPECT_NE(memory[0], Bytes(memory[0].size(), 7));
    EXPECT_THROW(Choose({{"lutMode", "Off"}}), GenICam::AccessException);
    Choose({{"lutType", "UserDefined"}});
    GrabMany(2); // one was on its way
    EXPECT_EQ(memory[0], Bytes(memory[0].size(), 7));
}

} // namespace
