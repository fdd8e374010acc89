/** Descriptions that the network library would take at their word. */
#include "net/control/commands.h"
#include "tests/net/described_camera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <fmt/format.h>
#include <fstream>
#include <limits>
#include <string>

namespace
{

using test::Describe;
using test::Opened;
using test::Register;
using testing::AllOf;
using testing::HasSubstr;

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
        GenApi::INode* const node = camera.map.GetNode("X");
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->GetAccessMode(), GenApi::NI);
        const auto fits =
            AllOf(testing::StartsWith("Property X: "), HasSubstr(line.substr(0, bar)));
        const auto raises = [&](const auto& access) { EXPECT_THAT(Raised(access), fits); };
        if (auto* const integer = node->AsInteger()) {
            raises([&] { integer->GetValue(); });
            raises([&] { integer->SetValue(1); });
            raises([&] { integer->GetInc(); });
        } else if (auto* const number = node->AsFloat()) {
            raises([&] { number->GetValue(); });
            raises([&] { number->SetValue(1); });
            raises([&] { number->GetMax(); });
        } else if (auto* const boolean = node->AsBoolean()) {
            raises([&] { boolean->GetValue(); });
            raises([&] { boolean->SetValue(true); });
        } else {
            raises([&] { node->AsEnumeration()->ToString(); });
            raises([&] { node->AsEnumeration()->FromString("A"); });
            EXPECT_EQ(node->AsEnumeration()->GetEntryCount(), 0U);
        }
        EXPECT_EQ(camera.Traffic(), "0r 0w");
    }
    EXPECT_EQ(rows, 23);
}

TEST(FaultyDescriptions, LimitsThatAreFaultyLeaveTheValueReadable)
{
    Opened camera(Describe(
        R"(<Integer Name="NoMax"><pValue>Good</pValue><pMax>No</pMax></Integer>
           <Integer Name="Crossed"><pValue>Good</pValue><Min>9</Min><Max>3</Max></Integer>
           <Integer Name="NoStep"><pValue>Good</pValue><Min>0</Min><Max>9</Max><Inc>0</Inc></Integer>
           <Integer Name="Free"><Value>3</Value></Integer>
           <Float Name="NanMax"><pValue>Good</pValue><Min>0</Min><Max>nan</Max></Float>
           <Float Name="FreeFloat"><Value>3</Value></Float>
           <IntReg Name="Elsewhere"><Address>0x7fffffff</Address><Length>4</Length>
             <AccessMode>RW</AccessMode><pPort>Device</pPort></IntReg>)" +
        Register("Good", 0x2000)));
    camera.registers.Put(0x2000, 5);
    EXPECT_EQ(camera.Integer("NoMax")->GetValue(), 5);
    EXPECT_THAT(Raised([&] { camera.Integer("NoMax")->GetMax(); }), HasSubstr("Property NoMax"));
    EXPECT_THAT(Raised([&] { camera.Integer("NoMax")->SetValue(1); }), HasSubstr("Property"));
    EXPECT_THAT(Raised([&] { camera.Integer("Crossed")->SetValue(5); }), HasSubstr("OutOfRange"));
    EXPECT_THAT(Raised([&] { camera.Float("NanMax")->SetValue(5); }), HasSubstr("OutOfRange"));
    camera.Integer("NoStep")->SetValue(7);
    EXPECT_EQ(camera.registers.At(0x2000), 7U);
    EXPECT_EQ(camera.Integer("Free")->GetMin(), INT64_MIN);
    EXPECT_EQ(camera.Integer("Free")->GetInc(), 1);
    camera.Integer("Free")->SetValue(INT64_MAX);
    EXPECT_EQ(camera.Integer("Free")->GetValue(), INT64_MAX);
    EXPECT_EQ(camera.Float("FreeFloat")->GetMax(), std::numeric_limits<double>::max());
    EXPECT_THAT(Raised([&] { camera.Integer("Elsewhere")->GetValue(); }), HasSubstr("Runtime"));
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
    Opened camera(Describe(chain + "<Integer Name=\"C5000\"><Value>1</Value></Integer>" + doubling +
                           "<Integer Name=\"D60\"><Value>1</Value></Integer>"));
    EXPECT_THAT(Raised([&] { camera.Integer("C0")->GetValue(); }), HasSubstr("Property"));
    EXPECT_THAT(Raised([&] { camera.Integer("D0")->GetValue(); }), HasSubstr("too many"));
    EXPECT_EQ(camera.Integer("D57")->GetValue(), 8);

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
