#include "kv_td_guard.h"
#include "rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;

struct GuardCase {
    const char* name;
    sim::ExceptionKind kind;
    const char* text; ///< after the origin
    int status;
};

class Guard : public testing::TestWithParam<GuardCase>
{
public:
    /** A session whose camera fails the n-th reading of the exposure time. */
    static Texts Failing(std::uint64_t nth, int exitCode)
    {
        Rig rig;
        rig.host.fnum = 3;
        sim::AddFault(AccessThrows(sim::Trigger::Read, "ExposureTime", GetParam().kind, nth));
        EXPECT_EQ(Rig::Run(), exitCode);
        Texts logs = Rig::Logs("ProcLoop");
        std::erase_if(logs, [](const std::string& line) {
            return !line.starts_with("1 ") && line.find("libError") == std::string::npos;
        });
        return logs;
    }
};

TEST_P(Guard, StatusAndTextOfEachKind)
{
    const GuardCase& c = GetParam();
    const std::string status =
        "2 ProcLoop: An unhandled exception occured: libError = " + std::to_string(c.status);
    const bool unknown = c.kind == sim::ExceptionKind::Unknown;
    const auto line = [&](const std::string& origin) {
        return unknown ? "1 ProcLoop:  " + std::string(c.text)
                       : "1 ProcLoop:  Origin " + origin + " - " + c.text + " scripted fault";
    };
    EXPECT_THAT(Failing(1, kExitConfiguration), ElementsAre(line("init config"), status));
    EXPECT_THAT(Failing(2, kExitGrabbing), ElementsAre(line("grabbing loop"), status));
}

using Kind = sim::ExceptionKind;
INSTANTIATE_TEST_SUITE_P(
    Kinds, Guard,
    testing::Values(
        GuardCase{"InvalidArgument", Kind::InvalidArgument, "GenApi: Invalid Argument Exception",
                  -3},
        GuardCase{"Property", Kind::Property, "GenApi: Property Exception", 0}, // counts as success
        GuardCase{"LogicalError", Kind::LogicalError, "GenApi: Logical Error Exception", -14},
        GuardCase{"OutOfRange", Kind::OutOfRange, "GenApi: OutOfRange Exception", -13},
        GuardCase{"Runtime", Kind::Runtime, "GenApi: Runtime Exception", -1},
        GuardCase{"Access", Kind::Access, "GenApi: Access Exception", -17},
        GuardCase{"Timeout", Kind::Timeout, "GenApi: Timeout Exception", -6},
        GuardCase{"DynamicCast", Kind::DynamicCast, "GenApi: DynamiceCast Exception",
                  -2}, // spelt so
        GuardCase{"Standard", Kind::Standard, "StdLib: Exception", -14},
        GuardCase{"Unknown", Kind::Unknown, "GenApi: Unknown Error Exception (catchall)", -1}),
    [](const auto& it) { return std::string(it.param.name); });

TEST(GuardGenApi, FirstExceptionEndsTheSteps)
{
    static constexpr char kLogSource[] = "guard_test";
    Rig rig;
    const LogSite site = KV_HERE;
    int steps = 0;
    EXPECT_FALSE(GuardGenApi(site, "steps", [&] { ++steps; }).caught);
    EXPECT_TRUE(Rig::Logs().empty());
    const GuardResult result = GuardGenApi(site, "steps", [&] {
        ++steps;
        throw GenICam::PropertyException("why");
        ++steps;
    });
    EXPECT_TRUE(result.caught) << "though its status is 0";
    EXPECT_EQ(steps, 2);
    EXPECT_THAT(Rig::Of("log1"),
                ElementsAre("guard_test:TestBody:  Origin steps - GenApi: Property Exception why"));
}
