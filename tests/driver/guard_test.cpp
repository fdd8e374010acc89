/** The exceptions that a camera may throw, and how a guarded operation reports them. */
#include "tests/driver/words.h"
#include "tests/support/rig.h"
#include "tests/support/story.h"

#include <gtest/gtest.h>

using namespace KvTd;
using namespace rig;
using sim::ExceptionKind;

/** The exposure time is read while the camera is configured, and once more in the loop. */
TEST(Guard, StatusAndTextOfEachKind)
{
    Texts story;
    for (const ExceptionKind kind :
         {ExceptionKind::InvalidArgument, ExceptionKind::Property, ExceptionKind::LogicalError,
          ExceptionKind::OutOfRange, ExceptionKind::Runtime, ExceptionKind::Access,
          ExceptionKind::Timeout, ExceptionKind::DynamicCast, ExceptionKind::Standard,
          ExceptionKind::Unknown}) {
        for (const std::uint64_t nth : {1U, 2U}) {
            Rig rig;
            rig.host.fnum = 3;
            sim::AddFault(AccessThrows(sim::Trigger::Read, "ExposureTime", kind, nth));
            story.push_back(Words("exit code", Rig::Run()));
            for (const std::string& line : Rig::Logs("ProcLoop")) {
                if (line.starts_with("1 ") || line.find("libError") != line.npos) {
                    story.push_back(line);
                }
            }
        }
    }
    EXPECT_TRUE(IsStory("guard_kinds", story));
}
