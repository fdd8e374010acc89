/** Takes any text as a configuration; the part after a zero byte is the table file that it may
 *  name.
 */
#include "config/config.h"

#include <cstdlib>
#include <string>
#include <string_view>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    const std::string_view all(reinterpret_cast<const char*>(data), size);
    const std::size_t zero = all.find('\0');
    const std::string_view table = zero == std::string_view::npos ? "" : all.substr(zero + 1);
    const auto read = [table](const std::string&, std::string* text, std::string*) {
        *text = table;
        return true;
    };
    const auto result = kvgrab::ParseConfig(all.substr(0, zero), "fuzz.toml", read);
    if (const auto* error = std::get_if<kvgrab::ConfigError>(&result)) {
        if (error->text.empty() || error->name.empty()) {
            std::abort(); // whoever reads it has to learn what is wrong, and in which file
        }
        return 0;
    }
    const kvgrab::Config& config = std::get<kvgrab::ParsedConfig>(result).config;
    for (const std::uint16_t value : config.lut.values) {
        if (value >> config.lut.bits != 0) {
            std::abort();
        }
    }
    if (config.stream.buffers < 2 || config.exporting.writers == 0) {
        std::abort();
    }
    return 0;
}
