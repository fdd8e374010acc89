#include "tests/driver/exception_cases.h"
#include "tests/support/rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using testing::ElementsAre;

class Guard : public testing::TestWithParam<ExceptionCase>
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
    const ExceptionCase& c = GetParam();
    const std::string status =
        "2 ProcLoop: An unhandled exception occured: libError = " + std::to_string(c.status);
    const auto line = [&](const char* origin) { return "1 ProcLoop: " + c.Line(origin); };
    EXPECT_THAT(Failing(1, kExitConfiguration), ElementsAre(line("init config"), status));
    EXPECT_THAT(Failing(2, kExitGrabbing), ElementsAre(line("grabbing loop"), status));
}

INSTANTIATE_TEST_SUITE_P(Kinds, Guard, testing::ValuesIn(kExceptionCases),
                         [](const auto& it) { return std::string(it.param.name); });
