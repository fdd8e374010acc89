/** Faults as they are given on the command line: a kind and its settings, "lose packet=7 every=10".
 */
#pragma once

#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <string_view>

namespace kvcam
{

/** Each setting is taken once; what nobody took is an error (CheckAllTaken). Errors are raised as
 *  std::runtime_error whose text is a sentence that names the fault. */
class FaultText
{
public:
    explicit FaultText(std::string_view text);

    const std::string& Kind() const { return kind_; }
    bool Has(const std::string& key) const { return settings_.contains(key); }
    /** Decimal, or hexadecimal with 0x. `missing` when the setting isn't there. */
    std::uint64_t Number(const std::string& key, std::uint64_t missing);
    double Real(const std::string& key, double missing);
    std::string Text(const std::string& key, std::string_view missing);
    void CheckAllTaken() const;
    [[noreturn]] void Refuse(std::string_view why) const;

private:
    std::string whole_;
    std::string kind_;
    std::map<std::string, std::string> settings_;
};

/** When a fault occurs, of everything that it could happen to: settings "from", "every", "count"
 *  and "ratio" with "seed". Without any of them it always does. */
class Occurrence
{
public:
    explicit Occurrence(FaultText& text);
    /** Called once for each candidate, in order. `number` is that of the frame, or how many
     *  candidates there have been, from 1 on. */
    bool Occurs(std::uint64_t number);

private:
    std::uint64_t from_;
    std::uint64_t every_;
    std::uint64_t left_;
    double ratio_;
    std::minstd_rand random_;
};

} // namespace kvcam
