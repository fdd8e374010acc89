#include "util/pixel_format.h"

#include <gtest/gtest.h>
#include <string>

namespace KvTd
{

TEST(PixelFormat, KnownCodes)
{
    struct Row {
        std::uint8_t code;
        const char* name;
        std::uint32_t gevCode;
        int pixelBits;
        int dataBits;
        const char* codec;
        bool isYuv;
        bool fallsBack;
    };
    for (const Row& row : {Row{1, "MONO8T", 0x01080001, 8, 8, "MONO8T", false, false},
                           {2, "MONO12PT", 0x010C0006, 12, 12, "MONO12PT", false, true},
                           {3, "MONO12T", 0x01100005, 16, 12, "MONO12T", false, true},
                           {5, "YUV422PT", 0x0210001F, 16, 16, "UYVY", true, true},
                           {9, "Bayer8T", 0x01080009, 8, 8, "BayerRG8T", false, false}}) {
        const PixelFormatRow* found = FindPixelFormat(row.code);
        ASSERT_NE(found, nullptr) << row.name;
        EXPECT_STREQ(found->name, row.name);
        EXPECT_EQ(found->gevCode, row.gevCode) << row.name;
        EXPECT_EQ(found->pixelBits, row.pixelBits) << row.name;
        EXPECT_EQ(found->dataBits, row.dataBits) << row.name;
        EXPECT_STREQ(found->codec, row.codec);
        EXPECT_EQ(found->isYuv, row.isYuv) << row.name;
        EXPECT_EQ(found->fallsBack, row.fallsBack) << row.name;
    }
    for (const int code : {0, 4, 6, 7, 8, 10, 255}) {
        EXPECT_EQ(FindPixelFormat(static_cast<std::uint8_t>(code)), nullptr) << code;
    }
}

} // namespace KvTd
