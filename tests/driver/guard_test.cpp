#include "kv_td_guard.h"
#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdexcept>

using namespace KvTd;
using namespace rig;

static constexpr char kLogSource[] = "guard_test";

struct GuardCase {
    const char* name;
    void (*raise)();
    int status;
    const char* text;
};

class Guard : public testing::TestWithParam<GuardCase>
{
};

TEST_P(Guard, StatusAndTextOfEachKind)
{
    const GuardCase& c = GetParam();
    Rig rig;
    bool after = false;
    const LogSite site = KV_HERE;
    const GuardResult result = GuardGenApi(site, "set LUT mode", [&] {
        c.raise();
        after = true;
    });
    EXPECT_TRUE(result.caught);
    EXPECT_EQ(result.status, c.status);
    EXPECT_FALSE(after);
    EXPECT_EQ(Rig::Of({"log"}), Texts{std::string("log1 guard_test:TestBody: ") + c.text});
}

template <class Exception> static void Raise()
{
    throw Exception("why");
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, Guard,
    testing::Values(GuardCase{"InvalidArgument", Raise<GenICam::InvalidArgumentException>, -3,
                              " Origin set LUT mode - GenApi: Invalid Argument Exception why"},
                    // Counts as success.
                    GuardCase{"Property", Raise<GenICam::PropertyException>, 0,
                              " Origin set LUT mode - GenApi: Property Exception why"},
                    GuardCase{"LogicalError", Raise<GenICam::LogicalErrorException>, -14,
                              " Origin set LUT mode - GenApi: Logical Error Exception why"},
                    GuardCase{"OutOfRange", Raise<GenICam::OutOfRangeException>, -13,
                              " Origin set LUT mode - GenApi: OutOfRange Exception why"},
                    GuardCase{"Runtime", Raise<GenICam::RuntimeException>, -1,
                              " Origin set LUT mode - GenApi: Runtime Exception why"},
                    GuardCase{"Access", Raise<GenICam::AccessException>, -17,
                              " Origin set LUT mode - GenApi: Access Exception why"},
                    GuardCase{"Timeout", Raise<GenICam::TimeoutException>, -6,
                              " Origin set LUT mode - GenApi: Timeout Exception why"},
                    // Spelt so.
                    GuardCase{"DynamicCast", Raise<GenICam::DynamicCastException>, -2,
                              " Origin set LUT mode - GenApi: DynamiceCast Exception why"},
                    GuardCase{"Standard", Raise<std::runtime_error>, -14,
                              " Origin set LUT mode - StdLib: Exception why"},
                    GuardCase{"Unknown", [] { throw 7; }, -1,
                              " GenApi: Unknown Error Exception (catchall)"}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(GuardGenApi, WithoutAnExceptionNothingIsLogged)
{
    Rig rig;
    const LogSite site = KV_HERE;
    const GuardResult result = GuardGenApi(site, "x", [] {});
    EXPECT_FALSE(result.caught);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(Rig::Logs().empty());
}
