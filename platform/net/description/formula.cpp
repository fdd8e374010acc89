#include "net/description/formula.h"

#include "net/description/formula_words.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <numbers>
#include <system_error>
#include <type_traits>

namespace net
{

namespace
{

using namespace words;

constexpr unsigned kMostDepth = 200;
constexpr unsigned kMostSteps = 100'000; ///< operands, those of expressions included

/** What all texts of one evaluation share. */
struct Work {
    std::span<const FormulaName> names;
    const char* fault = nullptr;
    unsigned depth = 0;
    unsigned steps = 0;
    unsigned skipped = 0; ///< branches around this place that aren't taken
};

template <class Number> class Parser
{
public:
    Parser(std::string_view text, Work& work) : text_(text), work_(work) {}

    Number Whole()
    {
        const Number value = Choice();
        SkipBlanks();
        if (at_ != text_.size()) {
            Fail("its formula can't be understood");
        }
        return value;
    }

private:
    static constexpr bool kInteger = std::is_same_v<Number, std::int64_t>;

    class Level
    {
    public:
        explicit Level(Work& work) : work_(work)
        {
            if (++work.depth > kMostDepth && work.fault == nullptr) {
                work.fault = "its formula is too deep";
            }
        }
        ~Level() { --work_.depth; }
        Level(const Level&) = delete;
        Level& operator=(const Level&) = delete;

    private:
        Work& work_;
    };

    /** Only the first fault counts. */
    Number Fail(const char* fault)
    {
        work_.fault = work_.fault == nullptr ? fault : work_.fault;
        return 0;
    }
    /** Of a value: of one that isn't used it doesn't matter. */
    Number FailValue(const char* fault) { return work_.skipped > 0 ? Number{0} : Fail(fault); }

    static std::int64_t Integer(Number value)
    {
        if constexpr (kInteger) {
            return value;
        } else {
            return WholeOf(value);
        }
    }
    Number FromReal(double value)
    {
        if (!std::isfinite(value)) {
            return FailValue("its formula gives no number");
        }
        if constexpr (kInteger) {
            return WholeOf(value);
        } else {
            return value;
        }
    }

    void SkipBlanks() { at_ = std::min(text_.find_first_not_of(" \t\r\n", at_), text_.size()); }
    bool Take(std::string_view token)
    {
        SkipBlanks();
        const bool found = text_.substr(at_).starts_with(token);
        at_ += found ? token.size() : 0;
        return found;
    }

    /** A part that isn't computed unless `taken`. */
    template <class Part> Number If(bool taken, const Part& part)
    {
        work_.skipped += taken ? 0 : 1;
        const Number value = part();
        work_.skipped -= taken ? 0 : 1;
        return value;
    }

    Number Choice()
    {
        const Level level(work_);
        const Number condition = Binary(0);
        if (work_.fault != nullptr || !Take("?")) {
            return condition;
        }
        const bool yes = condition != 0;
        const Number first = If(yes, [this] { return Choice(); });
        if (!Take(":")) {
            return Fail("its formula can't be understood");
        }
        const Number second = If(!yes, [this] { return Choice(); });
        return yes ? first : second;
    }

    const Operator* Next()
    {
        SkipBlanks();
        const auto* const found =
            std::find_if(std::begin(kOperators), std::end(kOperators), [this](const Operator& one) {
                return text_.substr(at_).starts_with(one.text);
            });
        return found == std::end(kOperators) ? nullptr : found;
    }

    Number Binary(int least)
    {
        const Level level(work_);
        Number left = Unary();
        while (work_.fault == nullptr) {
            const Operator* const next = Next();
            if (next == nullptr || next->rank < least) {
                break;
            }
            at_ += next->text.size();
            const bool decided =
                (next->kind == Kind::And && left == 0) || (next->kind == Kind::Or && left != 0);
            const int within = next->kind == Kind::Power ? next->rank : next->rank + 1;
            const Number right = If(!decided, [&] { return Binary(within); });
            left = Apply(next->kind, left, right);
        }
        return left;
    }

    Number Unary()
    {
        const Level level(work_);
        if (work_.fault != nullptr) {
            return 0;
        }
        if (Take("+")) {
            return Unary();
        }
        if (Take("-")) {
            return Apply(Kind::Minus, 0, Unary());
        }
        if (Take("~")) {
            return static_cast<Number>(~Integer(Unary()));
        }
        return Operand();
    }

    Number Operand()
    {
        if (++work_.steps > kMostSteps) {
            return Fail("its formula is too long");
        }
        if (Take("(")) {
            const Number value = Choice();
            return Take(")") ? value : Fail("its formula lacks a parenthesis");
        }
        const char next = at_ < text_.size() ? text_[at_] : '\0';
        if (IsDigit(next) || next == '.') {
            return Constant();
        }
        return BeginsName(next) ? Named() : Fail("its formula can't be understood");
    }

    Number Constant()
    {
        const char* const begin = text_.data() + at_;
        const char* const end = text_.data() + text_.size();
        const std::string_view rest = text_.substr(at_);
        if (rest.starts_with("0x") || rest.starts_with("0X")) {
            std::uint64_t bits = 0;
            const auto read = std::from_chars(begin + 2, end, bits, 16);
            at_ += static_cast<std::size_t>(read.ptr - begin);
            return read.ec == std::errc() ? static_cast<Number>(bits)
                                          : Fail("its formula has an impossible number");
        }
        double real = 0;
        const auto read = std::from_chars(begin, end, real);
        if (read.ec != std::errc()) {
            return Fail("its formula has an impossible number");
        }
        at_ += static_cast<std::size_t>(read.ptr - begin);
        std::int64_t integer = 0;
        const auto whole = std::from_chars(begin, end, integer);
        const bool exact = whole.ec == std::errc() && whole.ptr == read.ptr;
        return exact ? static_cast<Number>(integer) : FromReal(real);
    }

    Number Named()
    {
        std::size_t end = at_;
        while (end < text_.size() &&
               (BeginsName(text_[end]) || IsDigit(text_[end]) || text_[end] == '.')) {
            ++end;
        }
        const std::string_view name = text_.substr(at_, end - at_);
        at_ = end;
        const auto known = std::find_if(work_.names.begin(), work_.names.end(),
                                        [&](const FormulaName& one) { return one.name == name; });
        if (known != work_.names.end()) {
            return ValueOf(*known);
        }
        if (IsEqual(name, "E") || IsEqual(name, "PI")) {
            if (Take("(") && !Take(")")) {
                return Fail("its formula lacks a parenthesis");
            }
            return FromReal(name.size() == 1 ? std::numbers::e : std::numbers::pi);
        }
        if (IsEqual(name, "ROUND")) {
            return Round();
        }
        const auto* const function =
            std::find_if(std::begin(kFunctions), std::end(kFunctions),
                         [&](const Function& one) { return IsEqual(name, one.name); });
        if (function == std::end(kFunctions)) {
            return Fail("its formula uses a name that is not there");
        }
        const Number argument = Argument();
        return Closed(FromReal(function->compute(static_cast<double>(argument))));
    }

    Number ValueOf(const FormulaName& name)
    {
        if (!name.expression.empty()) {
            const Level level(work_);
            return work_.fault != nullptr || work_.skipped > 0
                       ? Number{0}
                       : Parser(name.expression, work_).Whole();
        }
        if constexpr (kInteger) {
            return name.integer;
        } else {
            return FromReal(name.real);
        }
    }

    Number Argument() { return Take("(") ? Choice() : Fail("its formula lacks a parenthesis"); }
    Number Closed(Number value)
    {
        return Take(")") ? value : Fail("its formula lacks a parenthesis");
    }

    /** To so many decimal places. */
    Number Round()
    {
        const auto number = static_cast<double>(Argument());
        const double places = Take(",") ? static_cast<double>(Choice()) : 0;
        const double scale = std::pow(10.0, std::trunc(places));
        return Closed(FromReal(std::round(number * scale) / scale));
    }

    Number Apply(Kind kind, Number left, Number right)
    {
        const auto truth = [](bool is) { return static_cast<Number>(is ? 1 : 0); };
        switch (kind) {
        case Kind::Or:
            return truth(left != 0 || right != 0);
        case Kind::And:
            return truth(left != 0 && right != 0);
        case Kind::Equal:
            return truth(left == right);
        case Kind::NotEqual:
            return truth(left != right);
        case Kind::LessEqual:
            return truth(left <= right);
        case Kind::GreaterEqual:
            return truth(left >= right);
        case Kind::Less:
            return truth(left < right);
        case Kind::Greater:
            return truth(left > right);
        case Kind::BitOr:
            return static_cast<Number>(Integer(left) | Integer(right));
        case Kind::BitXor:
            return static_cast<Number>(Integer(left) ^ Integer(right));
        case Kind::BitAnd:
            return static_cast<Number>(Integer(left) & Integer(right));
        case Kind::ShiftLeft:
            return static_cast<Number>(static_cast<std::int64_t>(
                static_cast<std::uint64_t>(Integer(left)) << (Integer(right) & 63)));
        case Kind::ShiftRight:
            return static_cast<Number>(Integer(left) >> (Integer(right) & 63));
        case Kind::Power:
            return FromReal(std::pow(static_cast<double>(left), static_cast<double>(right)));
        case Kind::Divide:
        case Kind::Remainder:
            return right == 0 ? FailValue("its formula divides by zero")
                              : Divided(left, right, kind == Kind::Divide);
        case Kind::Plus:
        case Kind::Minus:
        case Kind::Times:
            break;
        }
        return Computed(kind, left, right);
    }

    Number Divided(Number left, Number right, bool quotient)
    {
        if constexpr (kInteger) {
            if (right == -1) { // the least number has no opposite
                return quotient ? Computed(Kind::Minus, 0, left) : 0;
            }
            return quotient ? left / right : left % right;
        } else {
            return FromReal(quotient ? left / right : std::fmod(left, right));
        }
    }

    /** Integers wrap. */
    Number Computed(Kind kind, Number left, Number right)
    {
        const auto compute = [kind](auto a, auto b) {
            return kind == Kind::Plus ? a + b : kind == Kind::Minus ? a - b : a * b;
        };
        if constexpr (kInteger) {
            return static_cast<std::int64_t>(
                compute(static_cast<std::uint64_t>(left), static_cast<std::uint64_t>(right)));
        } else {
            return FromReal(compute(left, right));
        }
    }

    std::string_view text_;
    std::size_t at_ = 0;
    Work& work_;
};

} // namespace

std::int64_t WholeOf(double number)
{
    constexpr double kBeyond = 9223372036854775808.0; // 2^63
    if (number >= kBeyond) {
        return std::numeric_limits<std::int64_t>::max();
    }
    return number > -kBeyond ? static_cast<std::int64_t>(number)
                             : std::numeric_limits<std::int64_t>::min();
}

const char* FaultOf(std::string_view formula, std::span<const FormulaName> names)
{
    Work work{.names = names, .skipped = 1};
    Parser<double>(formula, work).Whole();
    return work.fault;
}

FormulaResult Evaluate(std::string_view formula, std::span<const FormulaName> names,
                       Arithmetic arithmetic)
{
    Work work{.names = names};
    FormulaResult result;
    if (arithmetic == Arithmetic::Integer) {
        result.integer = Parser<std::int64_t>(formula, work).Whole();
        result.real = static_cast<double>(result.integer);
    } else {
        result.real = Parser<double>(formula, work).Whole();
        result.integer = WholeOf(result.real);
    }
    result.fault = work.fault;
    return result;
}

} // namespace net
