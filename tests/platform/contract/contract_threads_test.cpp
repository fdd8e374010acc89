/** Two threads on one camera, whatever its kind. */
#include "tests/platform/contract/camera_under_test.h"

#include <gtest/gtest.h>
#include <thread>

namespace
{

class Threads : public Contract
{
};

TEST_F(Threads, WorkOnDisjointFeatures)
{
    constexpr int kRounds = 2000;
    int wrong = 0;
    std::thread other([&] {
        for (int i = 0; i < kRounds; ++i) {
            Enumeration("LineSelector")->FromString(i % 2 == 0 ? "Line3" : "Line4");
            Integer("outputLinePulseDelay")->SetValue(i);
            wrong += Integer("outputLinePulseDelay")->GetValue() == i ? 0 : 1;
        }
    });
    for (int i = 0; i < kRounds; ++i) {
        Float("Gain")->SetValue(1 + i % 7);
        Float("ExposureTime")->SetValue(1000 + i);
        EXPECT_EQ(Float("Gain")->GetValue(), 1 + i % 7);
    }
    other.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace
