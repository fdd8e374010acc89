#include "tests/net/described_camera.h"

#include "net/control/commands.h"
#include "tests/base/text_cases.h"

#include <fmt/format.h>

namespace test
{

std::string Opened::Do(const std::string& access)
{
    if (!access.ends_with('!')) {
        return DoAccess(map, access);
    }
    return Raised(
        [&] { net::ExecuteCommand(device, access.substr(0, access.size() - 1).c_str()); });
}

std::string Register(const std::string& name, std::uint64_t address, const std::string& more)
{
    return fmt::format(R"(<IntReg Name="{}">{}<Address>{:#x}</Address><Length>4</Length>
        <AccessMode>RW</AccessMode><pPort>Device</pPort><Sign>Unsigned</Sign>
        <Endianess>BigEndian</Endianess></IntReg>)",
                       name, more, address);
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
    return TextOf(TEXTS "/camera.xml");
}

} // namespace test
