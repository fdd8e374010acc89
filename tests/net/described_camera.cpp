#include "tests/net/described_camera.h"

namespace test
{

namespace
{

std::string Hex(std::uint64_t value)
{
    char text[32];
    g_snprintf(text, sizeof text, "0x%" G_GINT64_MODIFIER "x", value);
    return text;
}

} // namespace

std::string Register(const std::string& name, std::uint64_t address, const std::string& mode,
                     const std::string& tag, const std::string& more)
{
    return "<" + tag + " Name=\"" + name + "\">" + more + "<Address>" + Hex(address) +
           "</Address><Length>4</Length><AccessMode>" + mode +
           "</AccessMode><pPort>Device</pPort>" + (tag == "IntReg" ? "<Sign>Unsigned</Sign>" : "") +
           "<Endianess>BigEndian</Endianess></" + tag + ">";
}

std::string Entry(const std::string& name, int value, const std::string& more)
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
           <Float Name="ExposureTime"><pIsLocked>StatusReg</pIsLocked><pValue>ExposureReg</pValue><Min>10</Min><Max>1e6</Max></Float>
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

} // namespace test
