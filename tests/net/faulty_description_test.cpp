/** Descriptions that the network library would take at their word. */
#include "net/control/commands.h"
#include "tests/net/described_camera.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace
{

using test::Describe;
using test::Entry;
using test::Opened;
using test::Raised;
using test::Register;
using testing::AllOf;
using testing::HasSubstr;

TEST(FaultyDescriptions, RaiseAndNeverReachTheCamera)
{
    const std::string good = Register("Good", 0x2000);
    const struct {
        const char* what;
        std::string features;
        const char* says;
    } kRows[] = {
        {"no value", "<Integer Name=\"X\"/>", "value is missing"},
        {"no value", "<Float Name=\"X\"><Min>1</Min></Float>", "value is missing"},
        {"no value", "<Boolean Name=\"X\"/>", "value is missing"},
        {"no value", "<Enumeration Name=\"X\">" + Entry("A", 1) + "</Enumeration>", "is missing"},
        {"no entries", "<Enumeration Name=\"X\"><pValue>Good</pValue></Enumeration>", "no entries"},
        {"only entries without value",
         "<Enumeration Name=\"X\"><EnumEntry Name=\"A\"/><pValue>Good</pValue></Enumeration>",
         "no entries"},
        {"dangling", "<Integer Name=\"X\"><pValue>No</pValue></Integer>", "not there"},
        {"dangling", "<Float Name=\"X\"><pValue>No</pValue></Float>", "not there"},
        {"dangling", "<Boolean Name=\"X\"><pValue>No</pValue></Boolean>", "not there"},
        {"dangling behind",
         "<Integer Name=\"X\"><pValue>Y</pValue></Integer>"
         "<Integer Name=\"Y\"><pValue>No</pValue></Integer>",
         "not there"},
        {"dangling lock",
         "<Integer Name=\"X\"><pIsLocked>No</pIsLocked><pValue>Good</pValue></Integer>",
         "pIsLocked refers"},
        {"mistyped", "<Integer Name=\"X\"><pValue>Device</pValue></Integer>", "no number"},
        {"mistyped",
         "<Boolean Name=\"B\"><Value>1</Value></Boolean><Float "
         "Name=\"X\"><pValue>B</pValue></Float>",
         "no number"},
        {"itself", "<Integer Name=\"X\"><pValue>X</pValue></Integer>", "back to itself"},
        {"circle",
         "<Float Name=\"X\"><pValue>Y</pValue></Float><SwissKnife Name=\"Y\">"
         "<pVariable Name=\"V\">X</pVariable><Formula>V+1</Formula></SwissKnife>",
         "back to itself"},
        {"no formula", "<IntSwissKnife Name=\"X\"/>", "formula"},
        {"no formula", "<Converter Name=\"X\"><pValue>Good</pValue></Converter>", "formula"},
        {"no address", "<IntReg Name=\"X\"><Length>4</Length><pPort>Device</pPort></IntReg>",
         "no address"},
        {"no port", "<IntReg Name=\"X\"><Address>0</Address><Length>4</Length></IntReg>",
         "no port"},
        {"length",
         "<IntReg Name=\"X\"><Address>0</Address><Length>-4</Length><pPort>Device</pPort></IntReg>",
         "length"},
        {"length",
         "<IntReg Name=\"X\"><Address>0</Address><Length>0</Length><pPort>Device</pPort></IntReg>",
         "length"},
        {"length",
         "<FloatReg Name=\"X\"><Address>0</Address><Length>99999999999</Length>"
         "<pPort>Device</pPort></FloatReg>",
         "length"},
        {"length",
         "<IntReg Name=\"X\"><Address>0</Address><pLength>Good</pLength>"
         "<pPort>Device</pPort></IntReg>",
         "length"},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(row.what + (": " + row.features));
        Opened camera(Describe(row.features + good));
        GenApi::INode* const node = camera.map.GetNode("X");
        ASSERT_NE(node, nullptr);
        EXPECT_EQ(node->GetAccessMode(), GenApi::NI);
        const auto fits = AllOf(testing::StartsWith("Property X: "), HasSubstr(row.says));
        if (node->AsInteger() != nullptr) {
            EXPECT_THAT(Raised([&] { node->AsInteger()->GetValue(); }), fits);
            EXPECT_THAT(Raised([&] { node->AsInteger()->SetValue(1); }), fits);
            EXPECT_THAT(Raised([&] { node->AsInteger()->GetInc(); }), fits);
        } else if (node->AsFloat() != nullptr) {
            EXPECT_THAT(Raised([&] { node->AsFloat()->GetValue(); }), fits);
            EXPECT_THAT(Raised([&] { node->AsFloat()->SetValue(1); }), fits);
            EXPECT_THAT(Raised([&] { node->AsFloat()->GetMax(); }), fits);
        } else if (node->AsBoolean() != nullptr) {
            EXPECT_THAT(Raised([&] { node->AsBoolean()->GetValue(); }), fits);
            EXPECT_THAT(Raised([&] { node->AsBoolean()->SetValue(true); }), fits);
        } else {
            EXPECT_THAT(Raised([&] { node->AsEnumeration()->ToString(); }), fits);
            EXPECT_THAT(Raised([&] { node->AsEnumeration()->FromString("A"); }), fits);
            EXPECT_EQ(node->AsEnumeration()->GetEntryCount(), 0U);
        }
        EXPECT_EQ(camera.Traffic(), "0r 0w");
    }
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
        chain += "<Integer Name=\"C" + std::to_string(i) + "\"><pValue>C" + std::to_string(i + 1) +
                 "</pValue></Integer>";
    }
    for (int i = 0; i < 60; ++i) {
        const std::string next = "D" + std::to_string(i + 1);
        doubling += "<IntSwissKnife Name=\"D" + std::to_string(i) + "\"><pVariable Name=\"A\">" +
                    next + "</pVariable><pVariable Name=\"B\">" + next +
                    "</pVariable><Formula>A+B</Formula></IntSwissKnife>";
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
