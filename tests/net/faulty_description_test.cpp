/** Faulty descriptions, which the network library would accept without checks. */
#include "net/control/commands.h"
#include "tests/net/described_camera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fmt/format.h>
#include <fstream>
#include <string>

namespace
{

using test::Describe;
using test::Opened;
using test::Register;
using testing::AllOf;
using testing::HasSubstr;
using testing::StartsWith;

TEST(FaultyDescriptions, RaiseAndNeverReachTheCamera)
{
    std::ifstream lines(std::string(TEXTS) + "/faulty_features.txt");
    int rows = 0;
    for (std::string line; std::getline(lines, line);) {
        const std::size_t bar = line.find(" | ");
        if (bar == std::string::npos) {
            continue; // a comment
        }
        ++rows;
        SCOPED_TRACE(line);
        Opened camera(Describe(line.substr(bar + 3) + Register("Good", 0x2000)));
        EXPECT_EQ(camera.Do("X?"), "NI");
        const bool isEnumeration = camera.Enumeration("X").IsValid();
        for (const char* access :
             {"X", isEnumeration ? "X~A" : "X.Max", isEnumeration ? "X=A" : "X=1"}) {
            EXPECT_THAT(camera.Do(access), AllOf(StartsWith("Property X: faulty description, "),
                                                 HasSubstr(line.substr(0, bar))));
        }
        EXPECT_TRUE(!isEnumeration || camera.Enumeration("X")->GetEntryCount() == 0);
        EXPECT_EQ(camera.Traffic(), "0r 0w");
    }
    EXPECT_EQ(rows, 33);
}

TEST(FaultyDescriptions, AnEndlessOrMissingOneOpens)
{
    std::string chain;
    std::string doubling;
    for (int i = 0; i < 5000; ++i) {
        chain += fmt::format(R"(<Integer Name="C{}"><pValue>C{}</pValue></Integer>)", i, i + 1);
    }
    for (int i = 0; i < 60; ++i) {
        doubling += fmt::format(R"(<IntSwissKnife Name="D{0}"><pVariable Name="A">D{1}</pVariable>
            <pVariable Name="B">D{1}</pVariable><Formula>A+B</Formula></IntSwissKnife>)",
                                i, i + 1);
    }
    std::string selecting; // 10,000 selectors would select each other in 50 million ways
    for (int i = 0; i < 10'000; ++i) {
        selecting += fmt::format("<Integer Name=\"S{}\"><Value>0</Value><pSelected>S{}</pSelected>"
                                 "</Integer>",
                                 i, i + 1);
    }
    std::string gated = "<Integer Name=\"G\"><Value>1</Value>";
    for (int i = 0; i < 300; ++i) {
        gated += "<pIsAvailable>D60</pIsAvailable>";
    }
    gated += "</Integer>";
    Opened camera(Describe(chain + "<Integer Name=\"C5000\"><Value>1</Value></Integer>" + doubling +
                           "<Integer Name=\"D60\"><Value>1</Value></Integer>" + selecting + gated));
    EXPECT_THAT(camera.Do("G"), HasSubstr("too many"));
    EXPECT_THAT(camera.Do("C0"), StartsWith("Property "));
    EXPECT_THAT(camera.Do("D0"), HasSubstr("too many"));
    EXPECT_EQ(camera.Do("D57"), "8");

    for (const char* text : {"", "<", "<RegisterDescription/>", "<NoSuchThing/>", "plain text"}) {
        Opened none(text);
        EXPECT_EQ(none.map.GetNodeCount(), 0U) << text;
        EXPECT_EQ(none.map.GetNode("Width"), nullptr) << text;
        none.map.LockTransferParameters(true);
        EXPECT_THAT(Raised([&] { net::ExecuteCommand(none.device, "AcquisitionStart"); }),
                    HasSubstr("LogicalError"));
    }
}

} // namespace
