/** Evaluates the formulas of a description.
 *
 *  The network library gives 0 where a formula divides by zero, can't be read or uses a name that
 * is not there, and a division of the least integer by -1 ends the process. Here such a formula has
 * a fault, and a branch that isn't taken has none. Pure: nothing is read from the camera. */
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace net
{

/** A name that a formula may use: a number, or an expression, which is evaluated where it is used.
 */
struct FormulaName {
    std::string name;
    std::int64_t integer = 0; ///< the number in both forms
    double real = 0;
    std::string expression = {}; ///< empty: it is a number
};

/** In which numbers a formula is computed, its constants included: "7/2" is 3 or 3.5. */
enum class Arithmetic { Integer, Real };

struct FormulaResult {
    std::int64_t integer = 0; ///< the number in both forms
    double real = 0;
    const char* fault = nullptr; ///< why there is no number; null: there is one
};

/** Whole part of a number, within the limits of 64 bits. */
std::int64_t WholeOf(double number);

/** Why the formula can have no number whatever values the names have; null: it may have one. */
const char* FaultOf(std::string_view formula, std::span<const FormulaName> names);

FormulaResult Evaluate(std::string_view formula, std::span<const FormulaName> names,
                       Arithmetic arithmetic);

} // namespace net
