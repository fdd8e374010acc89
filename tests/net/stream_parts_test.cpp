#include "net/stream/chunk_values.h"
#include "net/stream/resend_request.h"
#include "tests/net/memory_device.h"

#include <gmock/gmock.h>

namespace
{

using testing::ElementsAre;

using Bytes = std::vector<std::uint8_t>;

TEST(ResendCommand, IsWhatTheControlProtocolHas)
{
    EXPECT_THAT(
        net::ResendCommand({0x1234, false, 5, 0x010203}, 7).Bytes(),
        ElementsAre(0x42, 0, 0, 0x40, 0, 12, 0, 7, 0, 0, 0x12, 0x34, 0, 0, 0, 5, 0, 1, 2, 3));
    EXPECT_THAT(net::ResendCommand({0x0102030405060708, true, 1, 2}, 0xFFFF).Bytes(),
                ElementsAre(0x42, 0x10, 0, 0x40, 0, 20, 0xFF, 0xFF, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0,
                            2, 1, 2, 3, 4, 5, 6, 7, 8));
}

/** The value in units of a quarter, little endian, through a converter. */
constexpr const char* kDescription = R"(<?xml version="1.0" encoding="utf-8"?>
<RegisterDescription ModelName="M" VendorName="V" MajorVersion="1" MinorVersion="0"
  SubMinorVersion="0" SchemaMajorVersion="1" SchemaMinorVersion="0" SchemaSubMinorVersion="1"
  StandardNameSpace="GEV" ProductGuid="1" VersionGuid="2" xmlns="http://www.genicam.org/GenApi/Version_1_0">
  <Category Name="Root"><pFeature>ChunkGain</pFeature><pFeature>ChunkExposureTime</pFeature></Category>
  <Converter Name="ChunkGain"><FormulaTo>FROM * 4</FormulaTo><FormulaFrom>TO / 4</FormulaFrom>
    <pValue>GainReg</pValue></Converter>
  <IntReg Name="GainReg"><Address>2</Address><Length>2</Length><AccessMode>RO</AccessMode>
    <pPort>Chunk</pPort><Sign>Unsigned</Sign><Endianess>LittleEndian</Endianess></IntReg>
  <Converter Name="ChunkExposureTime"><FormulaTo>FROM</FormulaTo><FormulaFrom>TO * UNIT</FormulaFrom>
    <pVariable Name="UNIT">UnitReg</pVariable><pValue>GainReg</pValue></Converter>
  <IntReg Name="UnitReg"><Address>0</Address><Length>4</Length><AccessMode>RO</AccessMode>
    <pPort>Device</pPort><Sign>Unsigned</Sign><Endianess>BigEndian</Endianess></IntReg>
  <Port Name="Device"/>
  <Port Name="Chunk"><ChunkID>1F</ChunkID></Port>
</RegisterDescription>)";

TEST(ChunkValues, AreReadAsTheDescriptionSaysIfTheChunkHasAllOfThem)
{
    const net::Ref<ArvDevice> camera(test::NewMemoryDevice(kDescription));
    const std::unique_ptr<net::ChunkValues> chunks = net::ChunkValues::Make(camera.get());
    ASSERT_NE(chunks, nullptr);
    ASSERT_EQ(chunks->Values().size(), 1U) << "the exposure time needs a register of the camera";
    const net::ChunkValues::Value& gain = chunks->Values().front();
    EXPECT_STREQ(gain.feature, "Gain");
    const struct {
        Bytes chunks;
        std::optional<double> gain;
    } kRows[] = {
        {{9, 9, 10, 0, 0, 0, 0, 0x1F, 0, 0, 0, 4}, 2.5},
        {{0, 0, 6, 1, 0, 0, 0, 0x1F, 0, 0, 0, 4, 7, 0, 0, 0, 1, 0, 0, 0, 1}, 65.5}, // not the last
        {{10, 0, 0, 0, 0, 0x1F, 0, 0, 0, 2}, std::nullopt}, // shorter than its register's end
        {{9, 9, 10, 0, 0, 0, 0, 0x1F, 0, 0, 0, 5}, std::nullopt},
        {{9, 9, 10, 0, 0, 0, 0, 0x1F, 0xFF, 0xFF, 0xFF, 0xFF}, std::nullopt},
        {{9, 9, 10, 0, 0, 0, 0, 0x1E, 0, 0, 0, 4}, std::nullopt},
        {{0, 0, 0, 0x1F, 0, 0, 4}, std::nullopt},
        {{}, std::nullopt},
    };
    for (const auto& row : kRows) {
        SCOPED_TRACE(testing::PrintToString(row.chunks));
        EXPECT_EQ(chunks->Read(gain, row.chunks), row.gain);
    }
}

} // namespace
