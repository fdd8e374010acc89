/** Formulas of descriptions: what they give, and that the network library agrees where it can. */
#include "net/description/formula.h"
#include "net/library_owners.h"
#include "tests/base/text_cases.h"
#include "tests/net/described_camera.h"

#include <gmock/gmock.h>

#include <fmt/format.h>
#include <limits>
#include <random>

namespace
{

using net::Arithmetic;
using net::FormulaResult;
using testing::HasSubstr;

std::string Outcome(const std::string& text)
{
    const net::FormulaName names[] = {
        {"A", 3, 3},
        {"X", 10, 10.5},
        {"N", -7, -7},
        {"Z", 0, 0},
        {"LEAST", std::numeric_limits<std::int64_t>::min(), -9223372036854775808.0},
        {"HALF", 0, 0, "A/2"},
        {"BAD", 0, 0, "1/Z"},
        {"LOOP", 0, 0, "LOOP+1"}};
    std::string formula;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        formula = line.empty() || line.starts_with("##") ? formula : line;
    }
    const FormulaResult whole = Evaluate(formula, names, Arithmetic::Integer);
    const FormulaResult real = Evaluate(formula, names, Arithmetic::Real);
    if (whole.fault != nullptr || real.fault != nullptr) {
        return fmt::format("{}, {}", whole.fault, real.fault);
    }
    return fmt::format("{} {}", whole.integer,
                       real.real < 1e15 ? fmt::format("{}", real.real)
                                        : fmt::format("{:.0f}", real.real));
}

TEST(Formula, GivesWhatItsCaseSays)
{
    ExpectOutcomes(TEXTS "/formulas.txt", Outcome);
}

/** Anything but what the library takes otherwise: conditions that are no whole number, and numbers
 *  beyond 64 bits. */
std::string AnyFormula(std::mt19937& random, int depth)
{
    const auto any = [&](auto&... texts) {
        const char* const all[] = {texts...};
        return std::string(all[random() % sizeof...(texts)]);
    };
    if (depth == 0 || random() % 5 == 0) {
        return any("A", "X", "N", "1", "2", "0.5", "7", "0x1F", "1e2", "PI", "3.25", "A**2",
                   "-2**2", "2**3**2", "(N>>1)", "(A<<2)", "2**-1");
    }
    const auto part = [&] { return AnyFormula(random, depth - 1); };
    switch (random() % 6) {
    case 0:
        return fmt::format("({})", part());
    case 1:
        return any("-", "+", "~", "- ") + part();
    case 2:
        return fmt::format("{}({})", any("ABS", "SGN", "NEG", "FLOOR", "CEIL", "TRUNC", "ATAN"),
                           part());
    case 3:
        return fmt::format("(({})<({})&&({})>1||0?({}):({}))", part(), part(), part(), part(),
                           part());
    default:
        return part() +
               any("+", "-", "*", "/", " + ", "&", "|", "^", "=", "<>", "<", ">", "<=", ">=") +
               part();
    }
}

TEST(Formula, TheLibraryAgreesWhereItHasANumber)
{
    const net::FormulaName names[] = {{"A", 3, 3}, {"X", 10, 10.5}, {"N", -7, -7}};
    std::mt19937 random(3);
    int agreed = 0;
    for (int i = 0; i < 20'000; ++i) {
        const std::string formula = AnyFormula(random, 4);
        const FormulaResult ours = Evaluate(formula, names, Arithmetic::Real);
        const net::Ref<ArvEvaluator> evaluator(arv_evaluator_new(formula.c_str()));
        for (const net::FormulaName& name : names) {
            arv_evaluator_set_double_variable(evaluator.get(), name.name.c_str(), name.real);
        }
        net::ErrorSlot error;
        const double theirs = arv_evaluator_evaluate_as_double(evaluator.get(), error.Out());
        if (error || ours.fault != nullptr) {
            ASSERT_TRUE(error || !std::isfinite(theirs) ||
                        std::string(ours.fault) == "its formula gives no number")
                << formula << ": " << ours.fault;
            continue;
        }
        ASSERT_DOUBLE_EQ(ours.real, theirs) << formula;
        ++agreed;
    }
    EXPECT_GT(agreed, 5000);
}

TEST(Formula, AValueThatItDoesNotGiveIsAnErrorWhereverItIsUsed)
{
    const std::string knife = "<IntSwissKnife Name=\"{}\"><pVariable Name=\"V\">Raw</pVariable>"
                              "<Formula>{}</Formula></IntSwissKnife>";
    test::Opened camera(test::Describe(
        test::Register("Raw", 0x2000) + fmt::format(fmt::runtime(knife), "Ratio", "100/V") +
        fmt::format(fmt::runtime(knife), "Guarded", "V=0?0:100/V") +
        "<Integer Name=\"Limited\"><pValue>Raw</pValue><pMax>Ratio</pMax></Integer>"
        "<Integer Name=\"Gated\"><pIsAvailable>Ratio</pIsAvailable><pValue>Raw</pValue></Integer>"
        "<Converter "
        "Name=\"Rate\"><FormulaTo>100/(FROM-5)</FormulaTo><FormulaFrom>100/TO</FormulaFrom>"
        "<pValue>Kept</pValue></Converter>"
        "<Integer Name=\"Kept\"><pValue>Raw</pValue><Min>1</Min><Max>100</Max></Integer>"));
    EXPECT_EQ(camera.Do("Raw=20"), "");
    EXPECT_EQ(camera.Do("Ratio"), "5");
    EXPECT_EQ(camera.Do("Guarded"), "5");
    EXPECT_EQ(camera.Do("Limited.Max"), "5");
    EXPECT_EQ(camera.Do("Rate"), "5");
    EXPECT_EQ(camera.Do("Rate=15"), "");
    EXPECT_EQ(camera.Do("Raw"), "10");
    EXPECT_EQ(camera.Do("Rate=5"), "Property Rate = 5 can't be written: [Rate] its formula divides "
                                   "by zero");
    EXPECT_EQ(camera.Do("Raw"), "10") << "nothing was written";
    EXPECT_EQ(camera.Do("Raw=0"), "");
    EXPECT_EQ(camera.Do("Guarded"), "0");
    for (const char* access : {"Ratio", "Limited.Max", "Gated?", "Rate"}) {
        EXPECT_THAT(camera.Do(access), HasSubstr("its formula divides by zero")) << access;
    }
}

} // namespace
