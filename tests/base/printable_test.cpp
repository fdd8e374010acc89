#include "base/pixel_format.h"
#include "base/printable.h"

#include <gmock/gmock.h>

TEST(Printable, LeavesNothingThatATerminalActsOn)
{
    const struct {
        std::string text;
        const char* printable;
        const char* quoted; ///< the first three characters
    } kCases[] = {
        {"", "", R"("")"},
        {"a b", "a b", R"("a b")"},
        {"a b~", "a b~", R"("a b...")"},
        {std::string("\x1B[2J\0\x7F\n", 7), "?[2J???", R"("\x1b[2...")"},
        {"\u00A0\u20AC\U0001F600", "\u00A0\u20AC\U0001F600", "\"\u00A0\u20AC\U0001F600\""},
        {"\xC2\x9B\x32J", "??2J", R"("\xc2\x9b2...")"},       // a control character
        {"\xE0\x82\x9B", "???", R"("\xe0\x82\x9b")"},         // one in too many bytes
        {"\xF4\x90\x80\x80", "????", R"("\xf4\x90\x80...")"}, // beyond Unicode
        {"\xF8\x88\x80\x80", "????", R"("\xf8\x88\x80...")"},
        {"\xED\xA0\x80", "???", R"("\xed\xa0\x80")"},      // half of a pair of UTF-16
        {"a\u202E\u2069", "a??????", R"("a\xe2\x80...")"}, // text that runs backwards
        {"\u061C\u200F\u2028", "????????", R"("\xd8\x9c\xe2...")"},
        {"\u200B\u202F\u2070", "\u200B\u202F\u2070", "\"\u200B\u202F\u2070\""},
        {"\x80\xE2\x82", "???", R"("\x80\xe2\x82")"},
    };
    for (const auto& row : kCases) {
        EXPECT_EQ(base::Printable(row.text), row.printable);
        EXPECT_EQ(base::Quoted(row.text, 3), row.quoted);
    }
}

TEST(PixelFormat, CodesTellHowManyBytesAPictureTakes)
{
    EXPECT_EQ(base::PictureBytes(3, 3, base::kMono8), 9U);
    EXPECT_EQ(base::PictureBytes(3, 3, base::kBayerRg8), 9U);
    EXPECT_EQ(base::PictureBytes(3, 3, base::kMono12Packed), 14U);
    EXPECT_EQ(base::PictureBytes(3, 3, base::kMono12), 18U);
    EXPECT_EQ(base::PictureBytes(3, 3, base::kYuv422Packed), 18U);
    EXPECT_EQ(base::PictureBytes(65536, 65536, base::kMono12), std::size_t{1} << 33);
}
