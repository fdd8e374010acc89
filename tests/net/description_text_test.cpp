/** What is found wrong with a description before the network library reads it. */
#include "net/description/description_text.h"
#include "tests/base/text_cases.h"

#include <arv.h>

#include <fmt/format.h>
#include <gtest/gtest.h>
#include <string>

namespace
{

/** The text of a case, without its line feed. */
std::string Expanded(const std::string& text)
{
    static const std::regex piece("\\{(\\d+)\\*([^}]*)\\}|<(NUL)>");
    std::string expanded;
    std::sregex_iterator next(text.begin(), text.end(), piece);
    std::size_t done = 0;
    for (; next != std::sregex_iterator(); ++next) {
        expanded += text.substr(done, static_cast<std::size_t>(next->position()) - done);
        const bool nul = (*next)[3].matched;
        const std::string what = nul ? std::string(1, '\0') : (*next)[2].str();
        for (unsigned long n = nul ? 1 : std::stoul((*next)[1]); n > 0; --n) {
            expanded += what == "<NUL>" ? std::string(1, '\0') : what;
        }
        done = static_cast<std::size_t>(next->position() + next->length());
    }
    return expanded + text.substr(done, text.size() - done - 1);
}

TEST(DescriptionText, IsCheckedBeforeTheLibraryReadsIt)
{
    ExpectOutcomes(TEXTS "/description_texts.txt", [](const std::string& asked) {
        const std::string what = Expanded(asked);
        const std::string text =
            what.substr(std::min<std::size_t>(what.find(' ') + 1, what.size()));
        if (what.starts_with("text")) {
            const std::string fault = net::TextFault(what.size() > 5 ? text : "");
            return fault.empty() ? "sound" : fault;
        }
        net::TextPlace place;
        const std::string fault = net::FindText(what.size() > 4 ? text : "", &place);
        return fault.empty() ? fmt::format("{}+{}{}", place.address, place.size,
                                           place.packed ? " packed" : "")
                             : fault;
    });
}

/** Whatever passes is unpacked to the same text by the library, which checks nothing. */
TEST(DescriptionText, AnArchiveIsWholeOrRefused)
{
    const std::string sound = TextOf(FUZZ_SEEDS "/description.zip");
    int refused = 0;
    for (std::size_t at = 0; at < sound.size(); ++at) {
        for (const char change : {'\x01', '\x80', '\xFF'}) {
            std::string archive = sound;
            archive[at] = static_cast<char>(archive[at] ^ change);
            std::string text;
            if (!net::Unpack(archive, &text).empty()) {
                ++refused;
                continue;
            }
            ArvZip* const zip = arv_zip_new(archive.data(), archive.size());
            const GSList* const files = arv_zip_get_file_list(zip);
            ASSERT_NE(files, nullptr) << at;
            std::size_t size = 0;
            void* const read = arv_zip_get_file(
                zip, arv_zip_file_get_name(static_cast<ArvZipFile*>(files->data)), &size);
            EXPECT_EQ(std::string(static_cast<char*>(read), size), text) << at;
            g_free(read);
            arv_zip_free(zip);
        }
    }
    EXPECT_GT(refused, 100);
    std::string text;
    for (std::size_t size = 0; size < sound.size(); ++size) {
        EXPECT_NE(net::Unpack(sound.substr(0, size), &text), "") << size;
    }
}

} // namespace
