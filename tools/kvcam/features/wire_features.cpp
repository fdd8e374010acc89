#include "tools/kvcam/features/wire_features.h"

#include "sim/camera/chunks.h"
#include "tools/kvcam/features/acquisition_registers.h"
#include "tools/kvcam/stream/chunk_ids.h"

#include <fmt/format.h>
#include <string_view>

namespace kvcam
{

namespace
{

enum class Form { Integer, Boolean, Command, Float };

/** A feature on a register or on some bits of it. Nothing of it may be cached: clients write these
 *  registers by their addresses, too. */
struct WireFeature {
    const char* category;
    const char* name;
    Form form;
    std::uint32_t address;
    const char* mode;
    const char* unit = "";
    // Where it lies in the register: 31 is the lowest bit of one, as big endian ones are counted.
    unsigned lowestBit = 31;
    unsigned highestBit = 0;
};

constexpr const char* kTransport = "TransportLayerControl";
constexpr const char* kAcquisition = "AcquisitionControl";

constexpr WireFeature kFeatures[] = {
    {kAcquisition, "AcquisitionStart", Form::Command, kAcquisitionStart, "RW"},
    {kAcquisition, "AcquisitionStop", Form::Command, kAcquisitionStop, "RW"},
    {kTransport, "GevCurrentIPAddress", Form::Integer, 0x0024, "RO"},
    {kTransport, "GevCurrentSubnetMask", Form::Integer, 0x0034, "RO"},
    {kTransport, "GevCurrentDefaultGateway", Form::Integer, 0x0044, "RO"},
    {kTransport, "GevHeartbeatTimeout", Form::Integer, 0x0938, "RW", "ms"},
    {kTransport, "GevSCPHostPort", Form::Integer, 0x0D00, "RW", "", 31, 16},
    {kTransport, "GevSCPSFireTestPacket", Form::Command, 0x0D04, "RW", "", 0, 0},
    {kTransport, "GevSCPSDoNotFragment", Form::Boolean, 0x0D04, "RW", "", 1, 1},
    {kTransport, "GevSCPSPacketSize", Form::Integer, 0x0D04, "RW", "B", 31, 16},
    {kTransport, "GevSCPD", Form::Integer, 0x0D08, "RW"},
    {kTransport, "GevSCDA", Form::Integer, 0x0D18, "RW"},
};

struct ChunkFeature {
    sim::Chunk chunk;
    const char* name;
    Form form;
    const char* unit = "";
};

constexpr ChunkFeature kChunks[] = {
    {sim::kChunkGain, "ChunkGain", Form::Float},
    {sim::kChunkExposureTime, "ChunkExposureTime", Form::Float, "us"},
    {sim::kChunkTimestamp, "ChunkTimestamp", Form::Integer},
    {sim::kChunkCounter, "ChunkCounterValue", Form::Integer},
};

const char* TagOf(Form form)
{
    constexpr const char* kTags[] = {"Integer", "Boolean", "Command", "Float"};
    return kTags[static_cast<int>(form)];
}

std::string UnitElement(std::string_view unit)
{
    return unit.empty() ? "" : fmt::format("<Unit>{}</Unit>", unit);
}

std::string Describe(const WireFeature& feature)
{
    const bool isCommand = feature.form == Form::Command;
    const bool isWhole = feature.lowestBit == 31 && feature.highestBit == 0;
    const std::string bits =
        fmt::format("<LSB>{}</LSB><MSB>{}</MSB>", feature.lowestBit, feature.highestBit);
    return fmt::format(
        R"(<{0} Name="{1}">{2}<pValue>{1}_Reg</pValue>{3}{4}</{0}>
<{7} Name="{1}_Reg"><Address>{5:#x}</Address><Length>4</Length><AccessMode>{6}</AccessMode><pPort>Device</pPort><Cachable>NoCache</Cachable>{8}<Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></{7}>
)",
        TagOf(feature.form), feature.name,
        isCommand ? "<ImposedAccessMode>WO</ImposedAccessMode>" : "",
        isCommand ? "<CommandValue>1</CommandValue>" : "", UnitElement(feature.unit),
        feature.address, feature.mode, isWhole ? "IntReg" : "MaskedIntReg", isWhole ? "" : bits);
}

std::string Describe(const ChunkFeature& feature)
{
    return fmt::format(
        R"(<{0} Name="{1}"><pValue>{1}_Reg</pValue>{2}</{0}>
<{3} Name="{1}_Reg"><Address>0</Address><Length>{4}</Length><AccessMode>RO</AccessMode><pPort>{1}_Port</pPort><Cachable>NoCache</Cachable>{5}<Endianess>BigEndian</Endianess></{3}>
<Port Name="{1}_Port"><ChunkID>{6:08X}</ChunkID></Port>
)",
        TagOf(feature.form), feature.name, UnitElement(feature.unit),
        feature.form == Form::Float ? "FloatReg" : "IntReg", kChunkValueBytes,
        feature.form == Form::Float ? "" : "<Sign>Unsigned</Sign>", ChunkId(feature.chunk));
}

/** False when the set-up leaves no way to switch this chunk on. */
bool CanSend(sim::CameraFeatures& features, sim::Chunk chunk)
{
    for (const char* needed : {"ChunkModeActive", "ChunkSelector", "ChunkEnable"}) {
        if (features.Shown(needed) == nullptr) {
            return false;
        }
    }
    GenApi_3_0::IEnumeration* const selector =
        features.Shown("ChunkSelector")->Node()->AsEnumeration();
    for (std::size_t i = 0; selector != nullptr && i < selector->GetEntryCount(); ++i) {
        GenApi_3_0::IEnumEntry* const entry = selector->GetEntry(i);
        if (entry->GetNumericValue() == chunk) {
            return GenApi_3_0::IsImplemented(entry->GetAccessMode());
        }
    }
    return false;
}

} // namespace

WireFeatures DescribeWireFeatures(sim::CameraFeatures& features)
{
    WireFeatures described;
    const auto add = [&](const char* category, const char* name, const std::string& elements) {
        described.names.emplace_back(category, name);
        described.elements += elements;
    };
    add(kAcquisition, "AcquisitionMode",
        fmt::format(
            R"(<Enumeration Name="AcquisitionMode"><EnumEntry Name="Continuous"><Value>{}</Value></EnumEntry><EnumEntry Name="SingleFrame"><Value>{}</Value></EnumEntry><EnumEntry Name="MultiFrame"><Value>{}</Value></EnumEntry><pValue>AcquisitionMode_Reg</pValue></Enumeration>
<IntReg Name="AcquisitionMode_Reg"><Address>{:#x}</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Cachable>WriteThrough</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
)",
            std::uint32_t{kContinuous}, std::uint32_t{kSingleFrame}, std::uint32_t{kMultiFrame},
            kAcquisitionMode));
    add(kAcquisition, "AcquisitionFrameCount",
        fmt::format(
            R"(<Integer Name="AcquisitionFrameCount"><pValue>AcquisitionFrameCount_Reg</pValue><Min>1</Min><Max>{}</Max></Integer>
<IntReg Name="AcquisitionFrameCount_Reg"><Address>{:#x}</Address><Length>4</Length><AccessMode>RW</AccessMode><pPort>Device</pPort><Cachable>WriteThrough</Cachable><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
)",
            kMostFrames, kAcquisitionFrameCount));
    for (const WireFeature& feature : kFeatures) {
        add(feature.category, feature.name, Describe(feature));
    }
    // Set by the client that starts a transfer; the camera itself knows whether it sends.
    add(kTransport, "TLParamsLocked",
        R"(<Integer Name="TLParamsLocked"><Value>0</Value><Min>0</Min><Max>1</Max></Integer>
)");
    for (const ChunkFeature& feature : kChunks) {
        if (CanSend(features, feature.chunk)) {
            add("ChunkDataControl", feature.name, Describe(feature));
        }
    }
    return described;
}

} // namespace kvcam
