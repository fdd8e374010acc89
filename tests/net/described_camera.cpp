#include "tests/net/described_camera.h"

#include "genapi/access_rules.h"
#include "net/control/commands.h"

#include <algorithm>
#include <cctype>
#include <fmt/format.h>
#include <fstream>
#include <sstream>

namespace test
{

namespace
{

std::string Read(GenApi::INode* node, const std::string& limit)
{
    const auto number = [&](auto* of) {
        return fmt::format("{}", limit == "Min"   ? of->GetMin()
                                 : limit == "Max" ? of->GetMax()
                                                  : of->GetValue());
    };
    if (auto* const integer = node->AsInteger()) {
        return limit == "Inc" ? std::to_string(integer->GetInc()) : number(integer);
    }
    if (auto* const real = node->AsFloat()) {
        return number(real);
    }
    if (auto* const boolean = node->AsBoolean()) {
        return boolean->GetValue() ? "true" : "false";
    }
    return node->AsEnumeration()->ToString().c_str();
}

void Write(GenApi::INode* node, const std::string& value, bool verify)
{
    if (auto* const integer = node->AsInteger()) {
        integer->SetValue(std::stoll(value), verify);
    } else if (auto* const real = node->AsFloat()) {
        real->SetValue(std::stod(value), verify);
    } else if (auto* const boolean = node->AsBoolean()) {
        boolean->SetValue(value == "true", verify);
    } else if (std::isdigit(static_cast<unsigned char>(value[0])) != 0) {
        node->AsEnumeration()->SetIntValue(std::stoll(value), verify);
    } else {
        node->AsEnumeration()->FromString(value.c_str(), verify);
    }
}

} // namespace

std::string Opened::Do(const std::string& access)
{
    const std::size_t end = std::min(access.find_first_of(".=~?!"), access.size());
    GenApi::INode* const node = map.GetNode(access.substr(0, end).c_str());
    const std::string rest = access.substr(std::min(end + 1, access.size()));
    std::string result;
    const std::string raised = Raised([&] {
        if (end == access.size() || access[end] == '.') {
            result = Read(node, rest);
        } else if (access[end] == '!') {
            net::ExecuteCommand(device, access.substr(0, end).c_str());
        } else if (access[end] == '?') {
            result = genapi::ModeName(node->GetAccessMode());
        } else {
            Write(node, rest, access[end] == '=');
        }
    });
    return raised.empty() ? result : raised;
}

std::string Register(const std::string& name, std::uint64_t address)
{
    return fmt::format(R"(<IntReg Name="{}"><Address>{:#x}</Address><Length>4</Length>
        <AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign>
        <Endianess>BigEndian</Endianess></IntReg>)",
                       name, address);
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
    std::ostringstream text;
    text << std::ifstream(std::string(TEXTS) + "/camera.xml").rdbuf();
    return text.str();
}

} // namespace test
