/** Automatic white balance, from the features to the pictures and back into the features. */
#include "tests/platform/sim/sim_session.h"

#include <array>

namespace
{

class SimWhiteBalance : public PatternSession
{
protected:
    /** Mean of each channel of the last mosaic. */
    std::array<double, 3> Colors() const
    {
        std::array<double, 3> sums{};
        for (std::size_t i = 0; i < std::size_t{256} * 128; ++i) {
            sums[i % 2 + i / 256 % 2] += memory[0][i];
        }
        return {sums[0] / (64 * 128), sums[1] / (128 * 128), sums[2] / (64 * 128)};
    }
    double Ratio(const char* channel)
    {
        return At("BalanceRatioSelector", channel, "BalanceRatio");
    }
    void SetRatio(const char* channel, double ratio)
    {
        Ratio(channel);
        Float("BalanceRatio")->SetValue(ratio);
    }
};

TEST_F(SimWhiteBalance, MakesThePictureGrey)
{
    setup.model = sim::Model::Color;
    setup.values = {{"PixelFormat", "BayerRG8"}, {"balanceWhitePeriod", "Every1s"}};
    OpenWide();
    Float("ExposureTime")->SetValue(2000); // nothing clips
    SetRatio("Blue", 0.5);
    StartFor(1);
    for (const auto& [reference, ratio] : {std::pair{"Green", 1.0}, {"Red", 1.5}}) {
        SetRatio(reference, ratio);
        GrabFrames(2);
        EXPECT_LT(Colors()[2], 0.8 * Colors()[0]) << reference;
        Choose({{"balanceRatioReference", reference}, {"BalanceWhiteAuto", "Periodic"}});
        GrabFrames(2); // one was on its way
        EXPECT_NEAR(Colors()[0], Colors()[1], 0.03 * Colors()[1]) << reference;
        EXPECT_NEAR(Colors()[2], Colors()[1], 0.03 * Colors()[1]) << reference;
        EXPECT_EQ(Ratio(reference), ratio);
    }
    const double blue = Ratio("Blue");
    SetRatio("Blue", 4); // stays until the second is over
    GrabFrames(15);
    EXPECT_EQ(Ratio("Blue"), 4);
    GrabFrames(10);
    EXPECT_NEAR(Ratio("Blue"), blue, 0.05 * blue);
    SetRatio("Red", 4); // what is out of reach is taken as far as it goes
    Choose({{"BalanceWhiteAuto", "Periodic"}});
    GrabFrames(2);
    EXPECT_LE(Ratio("Blue"), 4);
}

} // namespace
