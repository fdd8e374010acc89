/** Features of a network camera: what reaches the camera and what is refused before. */
#include "feature_map.h"

#include "alloc_count.h"
#include "commands.h"
#include "memory_device.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <atomic>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <thread>
#include <vector>

namespace
{

using testing::AllOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;

/** Registers that the description below uses. */
enum : std::uint64_t {
    kWidth = 0x2000,
    kGain = 0x2010,
    kExposure = 0x2020, // float
    kTemperature = 0x2024,
    kSelector = 0x2030,
    kReverse = 0x2034,
    kFormat = 0x2038,
    kHas12 = 0x203c,
    kReady = 0x2040,
    kCommand = 0x2044,
    kStatus = 0x2048,
    kTrigger = 0x204c,
    kBank = 0x2050, // 4 cells
    kBankSelector = 0x2060,
    kLut = 0x2070, // 4 cells
    kLutSelector = 0x2080,
};

std::string Hex(std::uint64_t value)
{
    char text[32];
    g_snprintf(text, sizeof text, "0x%" G_GINT64_MODIFIER "x", value);
    return text;
}

/** A register's element; `more` is put inside. */
std::string Register(const std::string& name, std::uint64_t address, const std::string& mode = "RW",
                     const std::string& tag = "IntReg", const std::string& more = "")
{
    return "<" + tag + " Name=\"" + name + "\">" + more + "<Address>" + Hex(address) +
           "</Address><Length>4</Length><AccessMode>" + mode +
           "</AccessMode><pPort>Device</pPort>" + (tag == "IntReg" ? "<Sign>Unsigned</Sign>" : "") +
           "<Endianess>BigEndian</Endianess></" + tag + ">";
}

std::string Entry(const std::string& name, int value, const std::string& more = "")
{
    return "<EnumEntry Name=\"" + name + "\">" + more + "<Value>" + std::to_string(value) +
           "</Value></EnumEntry>";
}

std::string Describe(const std::string& features)
{
    return R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="M" VendorName="V" StandardNameSpace="None" SchemaMajorVersion="1"
    SchemaMinorVersion="1" SchemaSubMinorVersion="0" MajorVersion="1" MinorVersion="0"
    SubMinorVersion="0" xmlns="http://www.genicam.org/GenApi/Version_1_1">)" +
           features + "<Port Name=\"Device\"/></RegisterDescription>";
}

std::string Camera()
{
    return Describe(
        R"(<Category Name="Root"><pFeature>Format</pFeature><pFeature>Analog</pFeature>
             <pFeature>Absent</pFeature></Category>
           <Category Name="Analog"><pFeature>GainSelector</pFeature><pFeature>Gain</pFeature>
             <pFeature>Root</pFeature><pFeature>AcquisitionStart</pFeature></Category>
           <Category Name="Format"><pFeature>Width</pFeature><pFeature>PixelFormat</pFeature>
             <pFeature>Gain</pFeature></Category>
           <Group Comment="format"><Integer Name="Width"><pIsLocked>TLParamsLocked</pIsLocked>
             <pValue>WidthReg</pValue><Min>16</Min><Max>1920</Max><Inc>4</Inc></Integer></Group>
           <Integer Name="WidthMax"><pValue>StatusReg</pValue></Integer>
           <Integer Name="TLParamsLocked"><Value>0</Value><Min>0</Min><Max>1</Max></Integer>
           <Float Name="Gain"><Unit>dB</Unit><pValue>GainConverter</pValue><Min>1</Min><Max>8.3</Max>
           </Float>
           <Converter Name="GainConverter"><FormulaTo>FROM*1000</FormulaTo>
             <FormulaFrom>TO/1000</FormulaFrom><pValue>GainReg</pValue></Converter>
           <Float Name="ExposureTime"><pValue>ExposureReg</pValue><Min>10</Min><Max>1e6</Max></Float>
           <Float Name="DeviceTemperature"><pValue>TemperatureReg</pValue></Float>
           <Boolean Name="ReverseX"><pValue>ReverseReg</pValue><OnValue>7</OnValue>
             <OffValue>3</OffValue></Boolean>
           <Enumeration Name="GainSelector">)" +
        Entry("SensorAll", 1) + Entry("Sensor1", 2) +
        R"(<pValue>SelectorReg</pValue><pSelected>Gain</pSelected></Enumeration>
           <Enumeration Name="PixelFormat">)" +
        Entry("Mono12", 12, "<pIsImplemented>Has12Reg</pIsImplemented>") +
        Entry("Mono10", 10, "<pIsAvailable>ReadyReg</pIsAvailable>") + Entry("Mono8", 8) +
        R"(<EnumEntry Name="Nothing"/><pValue>FormatReg</pValue></Enumeration>
           <Integer Name="StatusMirror"><pIsImplemented>Has12Reg</pIsImplemented>
             <pIsAvailable>ReadyReg</pIsAvailable><pValue>FormatReg</pValue></Integer>
           <Command Name="AcquisitionStart"><pValue>CommandReg</pValue>
             <CommandValue>5</CommandValue></Command>
           <Integer Name="Trigger"><pValue>TriggerReg</pValue></Integer>
           <Integer Name="BankSelector"><pValue>BankSelectorReg</pValue><Min>0</Min><Max>3</Max>
             <pSelected>Bank</pSelected></Integer>
           <Integer Name="Bank"><pValue>BankReg</pValue></Integer>
           <Integer Name="LutSelector"><pValue>LutSelectorReg</pValue><Min>0</Min><Max>3</Max>
             <pSelected>Lut</pSelected></Integer>
           <Integer Name="Lut"><pValue>LutReg</pValue></Integer>)" +
        Register("WidthReg", kWidth) + Register("StatusReg", kStatus, "RO") +
        Register("GainReg", kGain) + Register("ExposureReg", kExposure, "RW", "FloatReg") +
        Register("TemperatureReg", kTemperature, "RO", "FloatReg") +
        Register("SelectorReg", kSelector) + Register("ReverseReg", kReverse) +
        Register("FormatReg", kFormat) + Register("Has12Reg", kHas12, "RO") +
        Register("ReadyReg", kReady, "RO") + Register("CommandReg", kCommand, "WO") +
        Register("TriggerReg", kTrigger, "WO") + Register("BankSelectorReg", kBankSelector) +
        Register("BankReg", kBank, "RW", "IntReg", R"(<pIndex Offset="4">BankSelector</pIndex>)") +
        Register("LutSelectorReg", kLutSelector) +
        Register("LutReg", kLut, "RW", "IntReg", R"(<pIndex Offset="4">LutSelector</pIndex>)"));
}

/** A description, the camera that has it, and its nodes. */
struct Opened {
    explicit Opened(const std::string& description)
        : device(test::NewMemoryDevice(description), "S1"),
          registers(test::RegistersOf(device.Handle())), map(device)
    {
    }

    GenApi::CIntegerPtr Integer(const char* name) { return map.GetNode(name); }
    GenApi::CFloatPtr Float(const char* name) { return map.GetNode(name); }
    GenApi::CEnumerationPtr Enumeration(const char* name) { return map.GetNode(name); }
    GenApi::CBooleanPtr Boolean(const char* name) { return map.GetNode(name); }
    GenApi::EAccessMode Mode(const char* name) { return map.GetNode(name)->GetAccessMode(); }

    /** Register reads and writes since the last time, as "1r 0w". */
    std::string Traffic()
    {
        return std::to_string(registers.reads.exchange(0)) + "r " +
               std::to_string(registers.writes.exchange(0)) + "w";
    }

    net::Device device;
    test::Registers& registers;
    net::FeatureMap map;
};

class Features : public testing::Test
{
protected:
    Features()
    {
        camera.registers.Put(kWidth, 640);
        camera.registers.Put(kGain, 2500);
        camera.registers.PutFloat(kExposure, 5000);
        camera.registers.PutFloat(kTemperature, 41.5F);
        camera.registers.Put(kSelector, 1);
        camera.registers.Put(kFormat, 8);
    }

    Opened camera{Camera()};
};

/** The kind and the description of the exception that an access raises; "" when it raises none. */
template <class Access> std::string Raised(const Access& access)
{
    using namespace GenICam;
    try {
        access();
    } catch (const InvalidArgumentException& e) {
        return std::string("InvalidArgument ") + e.GetDescription();
    } catch (const PropertyException& e) {
        return std::string("Property ") + e.GetDescription();
    } catch (const LogicalErrorException& e) {
        return std::string("LogicalError ") + e.GetDescription();
    } catch (const OutOfRangeException& e) {
        return std::string("OutOfRange ") + e.GetDescription();
    } catch (const RuntimeException& e) {
        return std::string("Runtime ") + e.GetDescription();
    } catch (const AccessException& e) {
        return std::string("Access ") + e.GetDescription();
    } catch (const TimeoutException& e) {
        return std::string("Timeout ") + e.GetDescription();
    }
    return {};
}

TEST_F(Features, APlainAccessIsOneRegisterAccess)
{
    EXPECT_EQ(camera.Traffic(), "0r 0w"); // opening asks the camera nothing
    EXPECT_EQ(camera.Float("Gain")->GetValue(), 2.5);
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Float("ExposureTime")->GetValue(), 5000);
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Float("DeviceTemperature")->GetValue(), 41.5);
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Integer("Width")->GetValue(), 640); // its lock is not the camera's to answer
    EXPECT_EQ(camera.Traffic(), "1r 0w");
    EXPECT_EQ(camera.Enumeration("GainSelector")->ToString(), "SensorAll");
    EXPECT_EQ(camera.Traffic(), "1r 0w");

    camera.Enumeration("GainSelector")->FromString("Sensor1");
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    EXPECT_EQ(camera.registers.At(kSelector), 2U);
    camera.Enumeration("PixelFormat")->FromString("Mono8"); // others of its entries are gated
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    camera.Float("Gain")->SetValue(4);
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    EXPECT_EQ(camera.registers.At(kGain), 4000U);
    camera.Integer("Width")->SetValue(800);
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    camera.Boolean("ReverseX")->SetValue(true);
    EXPECT_EQ(camera.registers.At(kReverse), 7U);
    EXPECT_TRUE(camera.Boolean("ReverseX")->GetValue());
    EXPECT_EQ(camera.Traffic(), "1r 1w");

    for (const char* name : {"Width", "WidthMax", "Gain", "GainSelector", "PixelFormat"}) {
        camera.Mode(name);
    }
    EXPECT_EQ(camera.Traffic(), "0r 0w");
}

TEST_F(Features, WhatDoesNotFitIsRefusedBeforeTheCamera)
{
    const auto width = camera.Integer("Width");
    const auto gain = camera.Float("Gain");
    const auto selector = camera.Enumeration("GainSelector");
    const struct {
        const char* kind;
        std::vector<const char*> says;
        std::function<void(bool verify)> write;
    } kRows[] = {
        {"OutOfRange",
         {"Width = 8000", "minimum 16", "maximum 1920"},
         [&](bool verify) { width->SetValue(8000, verify); }},
        {"OutOfRange",
         {"Width = 66", "increment 4"},
         [&](bool verify) { width->SetValue(66, verify); }},
        {"OutOfRange",
         {"-9223372036854775808"},
         [&](bool verify) { width->SetValue(INT64_MIN, verify); }},
        {"OutOfRange",
         {"Gain = 8.5", "minimum 1", "maximum 8.3"},
         [&](bool verify) { gain->SetValue(8.5, verify); }},
        {"OutOfRange", {"Gain = nan"}, [&](bool verify) { gain->SetValue(NAN, verify); }},
        {"OutOfRange", {"Gain = inf"}, [&](bool verify) { gain->SetValue(INFINITY, verify); }},
        {"Access",
         {"WidthMax = 4", "not writable"},
         [&](bool verify) { camera.Integer("WidthMax")->SetValue(4, verify); }},
        {"InvalidArgument",
         {"GainSelector = Sensor9", "no such entry"},
         [&](bool verify) { selector->FromString("Sensor9", verify); }},
        {"InvalidArgument",
         {"GainSelector = 77"},
         [&](bool verify) { selector->SetIntValue(77, verify); }},
    };
    for (const auto& row : kRows) {
        const std::string verified = Raised([&] { row.write(true); });
        EXPECT_THAT(verified, testing::StartsWith(row.kind));
        for (const char* part : row.says) {
            EXPECT_THAT(verified, HasSubstr(part));
        }
        EXPECT_THAT(Raised([&] { row.write(false); }),
                    AllOf(testing::StartsWith("Runtime"), HasSubstr(row.says.front())));
    }
    EXPECT_EQ(camera.Traffic(), "0r 0w");
}

TEST_F(Features, ALimitSurvivesAConversionInSinglePrecision)
{
    const auto exposure = camera.Float("ExposureTime");
    exposure->SetValue(1e6 + 0.9);
    EXPECT_EQ(exposure->GetValue(), 1e6);
    exposure->SetValue(10 - 0.9e-5);
    EXPECT_EQ(exposure->GetValue(), 10);
    EXPECT_THAT(Raised([&] { exposure->SetValue(1e6 + 1.1); }), HasSubstr("OutOfRange"));
    EXPECT_THAT(Raised([&] { exposure->SetValue(10 - 0.9e-5, false); }), HasSubstr("Runtime"));
}

TEST_F(Features, TheAccessModeFollowsEverythingBehindAFeature)
{
    EXPECT_EQ(camera.Mode("Width"), GenApi::RW);
    EXPECT_EQ(camera.Mode("WidthMax"), GenApi::RO); // because of its register
    EXPECT_EQ(camera.Mode("Trigger"), GenApi::WO);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::NI);
    EXPECT_THAT(Raised([&] { camera.Integer("Trigger")->GetValue(); }), HasSubstr("Access"));
    EXPECT_THAT(Raised([&] { camera.Integer("Trigger")->GetMax(); }), HasSubstr("Access"));
    EXPECT_THAT(Raised([&] { camera.Integer("StatusMirror")->GetValue(); }),
                AllOf(HasSubstr("Access"), HasSubstr("NI")));
    camera.registers.Put(kHas12, 1);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::NA);
    camera.registers.Put(kReady, 1);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::RW);

    camera.map.LockTransferParameters(true);
    EXPECT_EQ(camera.Mode("Width"), GenApi::RO);
    EXPECT_THAT(Raised([&] { camera.Integer("Width")->SetValue(800); }), HasSubstr("Access"));
    EXPECT_EQ(camera.Integer("Width")->GetValue(), 640);
    camera.map.LockTransferParameters(false);
    camera.Integer("Width")->SetValue(800);
    EXPECT_EQ(camera.registers.At(kWidth), 800U);
}

TEST_F(Features, EntriesAreFoundAndGatedOneByOne)
{
    const auto format = camera.Enumeration("PixelFormat");
    std::vector<std::string> entries;
    for (std::size_t i = 0; i < format->GetEntryCount(); ++i) {
        entries.emplace_back(format->GetEntry(i)->GetSymbolic());
    }
    EXPECT_THAT(entries, ElementsAre("Mono12", "Mono10", "Mono8")); // "Nothing" has no value
    EXPECT_EQ(format->GetEntry(3), nullptr);
    EXPECT_EQ(format->GetEntryByName("Nothing"), nullptr);
    EXPECT_EQ(format->GetEntryByName("Mono10")->GetNumericValue(), 10);
    EXPECT_EQ(format->GetEntryByName("Mono12")->GetAccessMode(), GenApi::NI);
    EXPECT_EQ(format->GetEntryByName("Mono10")->GetAccessMode(), GenApi::NA);
    EXPECT_EQ(format->GetEntryByName("Mono8")->GetAccessMode(), GenApi::RW);
    EXPECT_THAT(Raised([&] { format->FromString("Mono12"); }),
                AllOf(HasSubstr("Access"), HasSubstr("not implemented")));
    EXPECT_THAT(Raised([&] { format->SetIntValue(10); }), HasSubstr("Access"));
    EXPECT_THAT(Raised([&] { format->FromString("Mono12", false); }), HasSubstr("Runtime"));
    EXPECT_EQ(format->GetIntValue(), 8);
    camera.registers.Put(kHas12, 1);
    format->FromString("Mono12");
    EXPECT_EQ(format->ToString(), "Mono12");
    camera.registers.Put(kFormat, 4711);
    EXPECT_EQ(format->GetIntValue(), 4711);
    EXPECT_THAT(Raised([&] { format->ToString(); }),
                AllOf(HasSubstr("Runtime"), HasSubstr("4711")));
}

TEST_F(Features, TheLibrarysErrorsKeepTheirMeaning)
{
    const struct {
        int code;
        const char* kind;
    } kRows[] = {
        {ARV_DEVICE_ERROR_TIMEOUT, "Timeout"},
        {ARV_DEVICE_ERROR_NOT_CONTROLLER, "Access"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_ACCESS_DENIED, "Access"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_WRITE_PROTECT, "Access"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_PARAMETER, "InvalidArgument"},
        {ARV_DEVICE_ERROR_INVALID_PARAMETER, "InvalidArgument"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_INVALID_ADDRESS, "Runtime"},
        {ARV_DEVICE_ERROR_PROTOCOL_ERROR_BUSY, "Runtime"},
        {ARV_DEVICE_ERROR_TRANSFER_ERROR, "Runtime"},
    };
    for (const auto& row : kRows) {
        camera.registers.fails = [&](std::uint64_t, bool) { return row.code; };
        const auto fits = [&](const char* feature) {
            return AllOf(testing::StartsWith(row.kind), HasSubstr(feature),
                         HasSubstr("told to fail with " + std::to_string(row.code)));
        };
        EXPECT_THAT(Raised([&] { camera.Integer("Width")->GetValue(); }), fits("Width"));
        EXPECT_THAT(Raised([&] { camera.Integer("Width")->SetValue(64); }), fits("Width = 64"));
        EXPECT_THAT(Raised([&] { camera.Float("Gain")->GetValue(); }), fits("Gain"));
        EXPECT_THAT(Raised([&] { camera.Float("Gain")->SetValue(2); }), fits("Gain = 2"));
        EXPECT_THAT(Raised([&] { camera.Boolean("ReverseX")->GetValue(); }), fits("ReverseX"));
        EXPECT_THAT(Raised([&] { camera.Boolean("ReverseX")->SetValue(true); }), fits("= true"));
        EXPECT_THAT(Raised([&] { camera.Enumeration("GainSelector")->ToString(); }),
                    fits("GainSelector"));
        EXPECT_THAT(Raised([&] { camera.Enumeration("GainSelector")->FromString("Sensor1"); }),
                    fits("GainSelector = Sensor1"));
        EXPECT_THAT(Raised([&] { camera.Mode("StatusMirror"); }), fits("StatusMirror"));
        EXPECT_THAT(
            Raised([&] { camera.Enumeration("PixelFormat")->GetEntry(0)->GetAccessMode(); }),
            fits("PixelFormat.Mono12"));
        EXPECT_THAT(Raised([&] { net::ExecuteCommand(camera.device, "AcquisitionStart"); }),
                    fits("AcquisitionStart"));
    }
}

TEST_F(Features, ACameraThatIsGoneIsNotAsked)
{
    camera.registers.Put(kHas12, 1);
    camera.registers.Put(kReady, 1);
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::RW);
    camera.map.SetFrameValue("ExposureTime", 77);
    camera.Traffic();
    camera.device.SetPresent(false);
    EXPECT_THAT(Raised([&] { camera.Integer("Width")->GetValue(); }), HasSubstr("Timeout Width"));
    EXPECT_THAT(Raised([&] { camera.Float("Gain")->SetValue(2); }), HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { camera.Float("Gain")->GetMax(); }), HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { camera.Float("ExposureTime")->GetValue(); }), HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { camera.Enumeration("GainSelector")->ToString(); }),
                HasSubstr("Timeout"));
    EXPECT_THAT(Raised([&] { net::ExecuteCommand(camera.device, "AcquisitionStart"); }),
                HasSubstr("Timeout"));
    EXPECT_EQ(camera.Mode("StatusMirror"), GenApi::RW); // as it was last
    camera.map.LockTransferParameters(true);
    EXPECT_EQ(camera.Traffic(), "0r 0w");
}

TEST_F(Features, CommandsAreNoNodesAndRun)
{
    EXPECT_EQ(camera.map.GetNode("AcquisitionStart"), nullptr);
    net::ExecuteCommand(camera.device, "AcquisitionStart");
    EXPECT_EQ(camera.registers.At(kCommand), 5U);
    EXPECT_EQ(camera.Traffic(), "0r 1w");
    for (const char* name : {"AcquisitionStop", "Width"}) {
        EXPECT_THAT(Raised([&] { net::ExecuteCommand(camera.device, name); }),
                    AllOf(HasSubstr("LogicalError"), HasSubstr(name)));
    }
}

TEST_F(Features, NodesStandInTheOrderOfTheCategoriesOnceEach)
{
    std::vector<std::string> names;
    for (std::size_t i = 0; i < camera.map.GetNodeCount(); ++i) {
        names.emplace_back(camera.map.GetNodeAt(i)->GetName());
        EXPECT_EQ(camera.map.GetNode(names.back().c_str()), camera.map.GetNodeAt(i));
    }
    EXPECT_THAT(names, ElementsAre("Width", "PixelFormat", "Gain", "GainSelector"));
    EXPECT_EQ(camera.map.GetNodeAt(4), nullptr);
    EXPECT_TRUE(camera.Integer("StatusReg").IsValid()); // in no category
    EXPECT_EQ(camera.map.GetNode("Analog"), nullptr);
    EXPECT_FALSE(camera.Integer("PixelFormat").IsValid()); // whatever it is to the library
    EXPECT_STREQ(camera.map.GetNode("Gain")->GetUnit(), "dB");
    EXPECT_STREQ(camera.map.GetNode("Width")->GetUnit(), "");
    const GenApi::gcstring there = "Gain";
    const GenApi::gcstring notThere = "NoSuchFeature";
    const std::size_t before = rig::AllocationsOfThisThread();
    EXPECT_NE(camera.map.GetNode(there), nullptr);
    EXPECT_EQ(camera.map.GetNode(notThere), nullptr);
    EXPECT_EQ(rig::AllocationsOfThisThread(), before);
}

TEST_F(Features, AFramesValueHoldsUntilItsFeatureOrSelectorMoves)
{
    const auto gain = camera.Float("Gain");
    const auto selector = camera.Enumeration("GainSelector");
    const auto frameBrings = [&] {
        camera.map.SetFrameValue("Gain", 6);
        camera.Traffic();
    };
    selector->FromString("SensorAll");
    frameBrings();
    EXPECT_EQ(gain->GetValue(), 6);
    EXPECT_EQ(camera.Traffic(), "0r 0w");
    EXPECT_EQ(gain->GetValue(false, true), 2.5);
    EXPECT_EQ(gain->GetValue(), 6);

    selector->FromString("SensorAll"); // moves nothing, and reaches the camera all the same
    EXPECT_EQ(gain->GetValue(), 6);
    EXPECT_EQ(camera.Traffic(), "1r 1w");
    selector->FromString("Sensor1");
    EXPECT_EQ(gain->GetValue(), 2.5);

    frameBrings();
    gain->SetValue(3);
    EXPECT_EQ(gain->GetValue(), 3);
    frameBrings();
    camera.map.ForgetFrameValues();
    EXPECT_EQ(gain->GetValue(), 3);

    frameBrings(); // a refused write ends nothing, one that failed on its way does
    EXPECT_NE(Raised([&] { gain->SetValue(99); }), "");
    EXPECT_EQ(gain->GetValue(), 6);
    camera.registers.fails = [](std::uint64_t, bool write) {
        return write ? ARV_DEVICE_ERROR_TIMEOUT : 0;
    };
    EXPECT_NE(Raised([&] { selector->FromString("SensorAll"); }), "");
    EXPECT_EQ(gain->GetValue(), 3);

    camera.map.SetFrameValue("NoSuchFeature", 1);
    camera.map.SetFrameValue("Width", 1);
    EXPECT_EQ(camera.Integer("Width")->GetValue(), 640);
}

TEST(FrameValues, EndWithASelectorOfTheirSelectorAndWithOneThatIsNotDescribed)
{
    Opened camera(Describe(
        R"(<Integer Name="Outer"><pValue>R1</pValue><pSelected>Inner</pSelected></Integer>
           <Integer Name="Inner"><pValue>R2</pValue><pSelected>Outer</pSelected>
             <pSelected>Brightness</pSelected></Integer>
           <Float Name="Brightness"><pValue>R3</pValue></Float>
           <Integer Name="GainSelector"><pValue>R4</pValue></Integer>
           <Float Name="Gain"><pValue>R5</pValue></Float>)" +
        Register("R1", 0x2000) + Register("R2", 0x2004) + Register("R3", 0x2008) +
        Register("R4", 0x200c) + Register("R5", 0x2010)));
    camera.map.SetFrameValue("Brightness", 5);
    camera.map.SetFrameValue("Gain", 6);
    camera.Integer("Outer")->SetValue(1);
    EXPECT_EQ(camera.Float("Brightness")->GetValue(), 0);
    EXPECT_EQ(camera.Float("Gain")->GetValue(), 6);
    camera.Integer("GainSelector")->SetValue(1);
    EXPECT_EQ(camera.Float("Gain")->GetValue(), 0);
}

TEST_F(Features, ThreadsOnDisjointSelectorsDoNotDisturbEachOther)
{
    std::atomic<int> inside{0};
    std::atomic<int> overlaps{0};
    camera.registers.fails = [&](std::uint64_t, bool) {
        overlaps += inside.fetch_add(1) != 0 ? 1 : 0;
        std::this_thread::yield();
        --inside;
        return 0;
    };
    const auto work = [&](const char* selectorName, const char* selectedName, int sign) {
        int wrong = 0;
        const auto selector = camera.Integer(selectorName);
        const auto selected = camera.Integer(selectedName);
        for (int i = 0; i < 2000; ++i) {
            const int cell = (i * sign) & 3;
            selector->SetValue(cell);
            selected->SetValue(1000 * (cell + 1) + i);
            selector->SetValue((cell + 1) & 3);
            selector->SetValue(cell);
            wrong += selected->GetValue() != 1000 * (cell + 1) + i ? 1 : 0;
        }
        return wrong;
    };
    int wrongElsewhere = -1;
    std::thread other([&] { wrongElsewhere = work("LutSelector", "Lut", -1); });
    EXPECT_EQ(work("BankSelector", "Bank", 1), 0);
    other.join();
    EXPECT_EQ(wrongElsewhere, 0);
    EXPECT_EQ(overlaps, 0);
}

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
