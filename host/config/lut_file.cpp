#include "config/lut_file.h"

#include "base/printable.h"

#include <fmt/format.h>

#include <algorithm>
#include <cctype>
#include <charconv>
#include <string>
#include <system_error>

namespace kvgrab
{

namespace
{

constexpr std::string_view kByteOrderMark = "\xEF\xBB\xBF";

/** The text between two separators, and its place on the line, counted from 1. */
struct Word {
    std::string_view text;
    unsigned column;
};

bool IsBlank(char c)
{
    return c == ' ' || c == '\t' || c == '\r';
}

bool IsDigit(char c)
{
    return std::isdigit(static_cast<unsigned char>(c)) != 0;
}

/** A word as a message shows it. */
std::string Shown(std::string_view word)
{
    constexpr std::size_t kLongest = 20;
    return base::Quoted(word, kLongest);
}

class LutText
{
public:
    LutText(std::string_view name, unsigned bits)
        : name_(name), bits_(bits), largest_((1U << bits) - 1)
    {
    }

    void Line(std::string_view line)
    {
        ++line_;
        SplitIntoWords(line.substr(0, line.find('#')));
        if (words_.empty()) {
            return;
        }
        if (shape_ == Shape::Unknown && !IsDigit(words_.front().text.front())) {
            Header();
            return;
        }
        Numbers();
    }

    std::vector<std::uint16_t> Finish()
    {
        if (entries_.size() < kLutSmallest) {
            throw ConfigError{
                std::string(name_), 0, 0,
                fmt::format("holds {} entries; expected 256 to 65535", entries_.size())};
        }
        return std::move(entries_);
    }

private:
    enum class Shape { Unknown, List, Indexed };

    [[noreturn]] void Refuse(unsigned column, const std::string& text) const
    {
        throw ConfigError{std::string(name_), line_, column, text};
    }

    void SplitIntoWords(std::string_view line)
    {
        words_.clear();
        bool afterSeparator = false;
        for (std::size_t at = 0; at < line.size();) {
            const auto column = static_cast<unsigned>(at + 1);
            if (IsBlank(line[at])) {
                ++at;
            } else if (line[at] == ',' || line[at] == ';') {
                TakeSeparator(line[at], column, words_.empty() || afterSeparator);
                afterSeparator = true;
                ++at;
            } else {
                const std::size_t end = std::min(line.find_first_of(" \t\r,;", at), line.size());
                words_.push_back({line.substr(at, end - at), column});
                afterSeparator = false;
                at = end;
            }
        }
    }

    void TakeSeparator(char separator, unsigned column, bool nothingBefore)
    {
        if (nothingBefore) {
            Refuse(column, "there is nothing before this separator; expected a number");
        }
        if (separator_ != '\0' && separator_ != separator) {
            Refuse(column, "commas and semicolons are mixed; expected one of them to separate the "
                           "numbers, which are whole and have no decimal comma");
        }
        separator_ = separator;
    }

    /** The first line, when it begins with a word instead of a number. */
    void Header()
    {
        for (const Word& word : words_) {
            if (IsDigit(word.text.front())) {
                Refuse(word.column, "a number among the words of a header; expected words or "
                                    "numbers on this line");
            }
            const char first = word.text.front();
            if (first != '"' && first != '_' &&
                std::isalpha(static_cast<unsigned char>(first)) == 0) {
                Refuse(word.column,
                       fmt::format("this is {}; expected a whole number without a sign, "
                                   "or a header of words",
                                   Shown(word.text)));
            }
        }
        if (words_.size() > 2) {
            Refuse(words_[2].column,
                   fmt::format("the header has {} columns; expected one of values, "
                               "or an index and a value",
                               words_.size()));
        }
        shape_ = words_.size() == 2 ? Shape::Indexed : Shape::List;
        perLine_ = words_.size();
    }

    void Numbers()
    {
        if (shape_ == Shape::Unknown) {
            shape_ = words_.size() == 2 ? Shape::Indexed : Shape::List;
            perLine_ = words_.size();
        }
        if (shape_ == Shape::Indexed) {
            IndexAndValue();
            return;
        }
        if (shortLine_ != 0) {
            Refuse(
                words_.front().column,
                fmt::format("line {} above has fewer numbers than the first; expected as many on "
                            "every line but the last",
                            shortLine_));
        }
        if (words_.size() > perLine_) {
            Refuse(words_[perLine_].column,
                   fmt::format("numbers on this line: {}; expected {} as on the first line",
                               words_.size(), perLine_));
        }
        shortLine_ = words_.size() < perLine_ ? line_ : 0;
        for (const Word& word : words_) {
            Keep(word);
        }
    }

    void IndexAndValue()
    {
        if (words_.size() != 2) {
            Refuse(words_[std::min<std::size_t>(words_.size() - 1, 2)].column,
                   fmt::format("numbers on this line: {}; expected an index and a value, as the "
                               "first line has two columns",
                               words_.size()));
        }
        const std::uint32_t index = Number(words_[0], UINT32_MAX, "an index");
        if (index != entries_.size()) {
            Refuse(
                words_[0].column,
                fmt::format("index {}; expected {}: on lines of two numbers the first ones count "
                            "0, 1, 2, ... (a list has one entry a line, or more than two)",
                            index, entries_.size()));
        }
        Keep(words_[1]);
    }

    void Keep(const Word& word)
    {
        const std::uint32_t value = Number(
            word, largest_, fmt::format("an entry from 0 to {} (lut.bits is {})", largest_, bits_));
        if (entries_.size() == kLutLargest) {
            Refuse(word.column, "entry 65536; expected 256 to 65535 entries");
        }
        entries_.push_back(static_cast<std::uint16_t>(value));
    }

    std::uint32_t Number(const Word& word, std::uint32_t largest, const std::string& expected) const
    {
        const bool hexadecimal = word.text.starts_with("0x") || word.text.starts_with("0X");
        const std::string_view digits = word.text.substr(hexadecimal ? 2 : 0);
        std::uint32_t number = 0;
        const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(),
                                                  number, hexadecimal ? 16 : 10);
        if (error != std::errc() || end != digits.data() + digits.size() || number > largest) {
            Refuse(word.column, fmt::format("this is {}; expected {}", Shown(word.text), expected));
        }
        return number;
    }

    std::string_view name_;
    unsigned bits_;
    std::uint32_t largest_;
    unsigned line_ = 0;
    std::vector<Word> words_; ///< of the line
    char separator_ = '\0';   ///< the comma or semicolon of this text, once one was there
    Shape shape_ = Shape::Unknown;
    std::size_t perLine_ = 0;
    unsigned shortLine_ = 0; ///< a line with fewer numbers than the first; 0: none yet
    std::vector<std::uint16_t> entries_;
};

} // namespace

std::variant<std::vector<std::uint16_t>, ConfigError>
ParseLutFile(std::string_view text, std::string_view name, unsigned bits)
{
    if (text.starts_with(kByteOrderMark)) {
        text.remove_prefix(kByteOrderMark.size());
    }
    try {
        LutText lut(name, bits);
        while (!text.empty()) {
            const std::size_t end = std::min(text.find('\n'), text.size());
            lut.Line(text.substr(0, end));
            text.remove_prefix(std::min(end + 1, text.size()));
        }
        return lut.Finish();
    } catch (const ConfigError& error) {
        return error;
    }
}

} // namespace kvgrab
