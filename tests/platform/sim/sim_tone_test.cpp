/** Table and gamma, from the features to the bytes of the picture. */
#include "tests/platform/sim/sim_session.h"

#include "tests/support/alloc_count.h"

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

    void Load(const Curve& curve, int count)
    {
        for (int i = 0; i < count; ++i) {
            Integer("LUTIndex")->SetValue(i);
            Integer("LUTValue")->SetValue(curve(i));
        }
    }
    void Switch(const char* mode, const char* type = "UserDefined")
    {
        Enumeration("lutType")->FromString(type);
        Enumeration("lutMode")->FromString(mode);
    }
    static Bytes Mapped(const Bytes& bytes, const Curve& curve)
    {
        Bytes out(bytes.size());
        std::transform(bytes.begin(), bytes.end(), out.begin(),
                       [&](int byte) { return static_cast<std::uint8_t>(curve(byte)); });
        return out;
    }
    /** 16 bits a pixel. */
    static std::vector<int> Samples(const Bytes& bytes)
    {
        std::vector<int> samples;
        for (std::size_t i = 0; i + 1 < bytes.size(); i += 2) {
            samples.push_back(bytes[i] | bytes[i + 1] << 8);
        }
        return samples;
    }
};

TEST_F(SimTone, ATableOfEightBitsMapsEveryByteOfThePicture)
{
    OpenWith(sim::Model::Mono, "Mono8");
    const Bytes plain = Grab();
    const auto [darkest, brightest] = std::minmax_element(plain.begin(), plain.end());
    ASSERT_GT(*brightest - *darkest, 100); // else a picture would tell nothing of a curve

    Integer("LUTIndex")->SetValue(77);
    EXPECT_EQ(Integer("LUTValue")->GetValue(), 77); // as it comes from the factory
    Switch("Active");
    EXPECT_EQ(Grab(), plain);

    const Curve inverse = [](int in) { return 255 - in; };
    Load(inverse, 256);
    EXPECT_EQ(Grab(), Mapped(plain, inverse));
    Integer("LUTIndex")->SetValue(200); // one entry of a table in use
    Integer("LUTValue")->SetValue(3);
    EXPECT_EQ(Grab(), Mapped(plain, [&](int in) { return in == 200 ? 3 : inverse(in); }));
    Switch("Off");
    EXPECT_EQ(Grab(), plain);
}

TEST_F(SimTone, AWiderTableMapsTheHighBitsOfASample)
{
    for (const auto& [size, bits] : {std::pair{"Bpp8", 8}, {"Bpp10", 10}, {"Bpp12", 12}}) {
        sim::Reset();
        OpenWith(sim::Model::Mono, "Mono12", size);
        const auto plain = Samples(Grab());
        const int last = (1 << bits) - 1;
        EXPECT_EQ(Integer("LUTIndex")->GetMax(), last);
        const Curve steep = [last](int in) { return std::min(2 * in, last); };
        Load(steep, last + 1);
        Switch("Active");
        const auto toned = Samples(Grab());
        Enumeration("PixelFormat")->FromString("Mono8");
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
    const std::vector<std::pair<const char*, Curve>> curves = {
        {"Red", [](int in) { return 255 - in; }},
        {"Green", [](int in) { return in / 2; }},
        {"Blue", [](int in) { return 255 - in / 4; }}};
    for (const auto& [channel, curve] : curves) {
        Enumeration("LUTSelector")->FromString(channel);
        Load(curve, 256);
    }
    Switch("Active");
    const Bytes toned = Grab();
    for (std::size_t i = 0; i < plain.size(); ++i) {
        const std::size_t channel = i % 2 + i / 256 % 2; // red first, blue last of a tile
        ASSERT_EQ(toned[i], curves[channel].second(plain[i])) << i;
    }

    // A colour that is turned grey: all tables alike and constant.
    Enumeration("PixelFormat")->FromString("YUV422Packed");
    for (const auto& [channel, curve] : curves) {
        Enumeration("LUTSelector")->FromString(channel);
        Load([](int) { return 90; }, 256);
    }
    const Bytes grey = Grab();
    for (std::size_t i = 0; i < grey.size(); ++i) {
        ASSERT_EQ(grey[i], i % 2 == 0 ? 128 : 90) << i;
    }
}

TEST_F(SimTone, GammaIsTheExponent)
{
    OpenWith(sim::Model::Mono, "Mono12");
    const auto plain = Samples(Grab());
    Load([](int) { return 0; }, 256); // another type's table: not looked at
    for (const double gamma : {0.45, 1.0, 2.2}) {
        Switch("Active", "GammaCorrection");
        Float("gammaCorrection")->SetValue(gamma);
        const auto toned = Samples(Grab());
        for (std::size_t i = 0; i < plain.size(); ++i) {
            ASSERT_NEAR(toned[i], 4095 * std::pow(plain[i] / 4095.0, gamma), 0.51) << gamma;
        }
    }
}

TEST_F(SimTone, ChangesWhileFramesFlowAndAllocatesOnlyThen)
{
    OpenWith(sim::Model::Mono, "Mono8");
    Switch("Active", "GammaCorrection");
    Float("gammaCorrection")->SetValue(0.5);
    StartFor(1);
    const auto grabOne = [&] {
        _tag_GEVBUF_ENTRY* frame = Next();
        ASSERT_NE(frame, nullptr);
        GevReleaseFrame(handle, frame);
    };
    grabOne();
    grabOne();
    const double bright = memory[0][1000];
    const std::uint64_t before = rig::Allocations();
    for (int i = 0; i < 20; ++i) {
        grabOne();
    }
    EXPECT_TRUE(!rig::CountsAllocations() || rig::Allocations() == before);
    EXPECT_THROW(Enumeration("lutMode")->FromString("Off"), GenICam::AccessException);
    Enumeration("lutType")->FromString("UserDefined");
    Load([](int) { return 7; }, 256);
    grabOne(); // one that was on its way
    grabOne();
    EXPECT_NE(bright, 7);
    EXPECT_EQ(memory[0], Bytes(memory[0].size(), 7));
}

} // namespace
