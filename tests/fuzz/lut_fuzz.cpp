/** Takes any text as a table file; the first byte chooses the bits of an entry. */
#include "config/lut_file.h"

#include <cstdlib>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size == 0) {
        return 0;
    }
    const unsigned bits = data[0] % 16 + 1;
    const std::string_view text(reinterpret_cast<const char*>(data) + 1, size - 1);
    const auto result = kvgrab::ParseLutFile(text, "fuzz.csv", bits);
    if (const auto* error = std::get_if<kvgrab::ConfigError>(&result)) {
        if (error->text.empty()) {
            std::abort();
        }
        return 0;
    }
    const auto& entries = std::get<std::vector<std::uint16_t>>(result);
    if (entries.size() < kvgrab::kLutSmallest || entries.size() > kvgrab::kLutLargest) {
        std::abort();
    }
    for (const std::uint16_t entry : entries) {
        if (entry >> bits != 0) {
            std::abort();
        }
    }
    return 0;
}
