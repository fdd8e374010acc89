/** Takes any text for a formula, in both kinds of numbers. */
#include "net/description/formula.h"

#include <cmath>
#include <cstdlib>
#include <limits>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::int64_t kLeast = std::numeric_limits<std::int64_t>::min();
    const std::string_view text(reinterpret_cast<const char*>(data), size);
    const net::FormulaName names[] = {{"A", 3, 3},
                                      {"Z", 0, 0},
                                      {"L", kLeast, static_cast<double>(kLeast)},
                                      {"I", 0, std::numeric_limits<double>::infinity()},
                                      {"X", 0, 0, "A*X"},
                                      {"Y", 0, 0, std::string(text.substr(0, text.size() / 2))}};
    const char* const fault = FaultOf(text, names);
    for (const net::Arithmetic kind : {net::Arithmetic::Integer, net::Arithmetic::Real}) {
        const net::FormulaResult result = Evaluate(text, names, kind);
        if ((fault != nullptr && result.fault == nullptr) ||
            (result.fault == nullptr && !std::isfinite(result.real))) {
            std::abort();
        }
    }
    return 0;
}
