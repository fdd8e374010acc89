#include "net/description/description_text.h"

#include "base/printable.h"

#include <algorithm>
#include <charconv>
#include <fmt/format.h>
#include <regex>

namespace net
{

namespace
{

bool IsLetter(char c)
{
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

char Lower(char c)
{
    return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

bool BeginsWith(std::string_view text, std::string_view lowerCase)
{
    return text.size() >= lowerCase.size() &&
           std::equal(lowerCase.begin(), lowerCase.end(), text.begin(),
                      [](char expected, char c) { return expected == Lower(c); });
}

/** Takes a hexadecimal number of at most 32 bits, and ';' behind it, from the front. */
bool TakeNumber(std::string_view* text, std::uint32_t* number)
{
    constexpr int kHexadecimal = 16;
    if (BeginsWith(*text, "0x")) {
        text->remove_prefix(2);
    }
    const char* const end = text->data() + text->size();
    const auto [behind, error] = std::from_chars(text->data(), end, *number, kHexadecimal);
    if (error != std::errc()) {
        return false;
    }
    text->remove_prefix(static_cast<std::size_t>(behind - text->data()));
    const bool ends = text->empty() || text->front() == ';' || text->front() == '?';
    if (!text->empty() && text->front() == ';') {
        text->remove_prefix(1);
    }
    return ends;
}

// What the descriptions of real cameras stay far below. The library needs some hundred bytes for
// each element and for each attribute, and time that grows with the square of some numbers.
constexpr std::size_t kMostElements = 250'000;
constexpr std::size_t kMostSelected = 2000;
constexpr std::size_t kGreatestDepth = 100;
constexpr std::size_t kLongestTag = 4096;
constexpr std::size_t kLongestText = 64U << 10;

/** After a faulty declaration the library frees what it never made. In another encoding the same
 *  bytes could mean something else. */
bool IsDeclaration(std::string_view text)
{
    constexpr std::size_t kLongest = 200;
    static const std::regex declaration(
        R"(<\?xml[ \t\r\n]+version[ \t\r\n]*=[ \t\r\n]*(["'])1\.\d\1)"
        R"(([ \t\r\n]+encoding[ \t\r\n]*=[ \t\r\n]*(["'])([Uu][Tt][Ff]-8|[Uu][Ss]-[Aa][Ss][Cc][Ii][Ii])"
        R"(|[Ii][Ss][Oo]-8859-15?|[Ww]indows-1252)\3)?)"
        R"(([ \t\r\n]+standalone[ \t\r\n]*=[ \t\r\n]*(["'])(yes|no)\6)?[ \t\r\n]*\?>)");
    const std::string_view begin =
        text.substr(0, std::min(text.find("?>") + 2, std::min(text.size(), kLongest)));
    return std::regex_match(begin.begin(), begin.end(), declaration);
}

/** Goes through a text once. It need not be well-formed: the library stops where it isn't. */
class Scan
{
public:
    explicit Scan(std::string_view text) : text_(text) {}

    std::string Fault()
    {
        for (;;) {
            const std::size_t next = std::min(text_.find('<', at_), text_.size());
            if (next - at_ > kLongestText) {
                return fmt::format("has more than {} characters in one place", kLongestText);
            }
            at_ = next;
            if (at_ == text_.size()) {
                return elements_ == 0 ? "is no XML" : "";
            }
            std::string fault = Markup();
            if (!fault.empty()) {
                return fault;
            }
        }
    }

private:
    /** Moves behind `end`, or to the end of the text. */
    std::string_view Until(std::string_view end)
    {
        const std::size_t found = text_.find(end, at_);
        const std::size_t behind =
            found == std::string_view::npos ? text_.size() : found + end.size();
        const std::string_view passed = text_.substr(at_, behind - at_);
        at_ = behind;
        return passed;
    }

    std::string Markup()
    {
        const std::string_view rest = text_.substr(at_);
        if (rest.starts_with("<!--")) {
            at_ += 4;
            Until("-->");
            return "";
        }
        if (rest.starts_with("<?")) {
            Until("?>");
            return "";
        }
        if (rest.starts_with("<![CDATA[")) {
            return Until("]]>").size() > kLongestText ? "has a CDATA section that is too long" : "";
        }
        if (rest.starts_with("<!")) {
            return "has a document type of its own";
        }
        return Tag();
    }

    std::string Tag()
    {
        const std::size_t begin = at_;
        char quote = '\0';
        while (at_ < text_.size() && (quote != '\0' || text_[at_] != '>')) {
            const char c = text_[at_++];
            if (quote == c) {
                quote = '\0';
            } else if (quote == '\0' && (c == '"' || c == '\'')) {
                quote = c;
            }
        }
        const std::string_view tag = text_.substr(begin, at_ - begin);
        at_ = std::min(at_ + 1, text_.size());
        if (tag.size() > kLongestTag) {
            return fmt::format("has a tag of more than {} characters", kLongestTag);
        }
        if (tag.starts_with("</")) {
            depth_ -= depth_ == 0 ? 0 : 1;
            return "";
        }
        return Begin(tag);
    }

    std::string Begin(std::string_view tag)
    {
        constexpr std::string_view kFirst = "<RegisterDescription";
        if (elements_ == 0 && tag.substr(0, tag.find_first_of(" \t\r\n/", 1)) != kFirst) {
            return fmt::format("begins with {} in place of {}>", base::Quoted(tag, kFirst.size()),
                               kFirst);
        }
        if (++elements_ > kMostElements) {
            return fmt::format("has more than {} elements", kMostElements);
        }
        selected_ += tag.starts_with("<pSelected") ? 1 : 0;
        if (selected_ > kMostSelected) {
            return fmt::format("has more than {} features that others select", kMostSelected);
        }
        depth_ += tag.ends_with('/') ? 0 : 1;
        if (depth_ > kGreatestDepth) {
            return fmt::format("has elements in each other, more than {} deep", kGreatestDepth);
        }
        return "";
    }

    std::string_view text_;
    std::size_t at_ = 0;
    std::size_t elements_ = 0;
    std::size_t selected_ = 0;
    std::size_t depth_ = 0;
};

} // namespace

std::string FindText(std::string_view url, TextPlace* place)
{
    url = url.substr(0, url.find('\0'));
    const std::string named = base::Quoted(url);
    if (url.empty()) {
        return "is nowhere: the register of its place is empty";
    }
    std::string_view rest = url;
    if (!BeginsWith(rest, "local:")) {
        // A file of this machine or a server of the network that the camera chooses.
        return fmt::format("is at {}, and not in the camera", named);
    }
    rest.remove_prefix(std::string_view("local:").size());
    while (rest.starts_with('/')) {
        rest.remove_prefix(1);
    }
    const std::size_t nameEnd = rest.find(';');
    const std::string_view name = rest.substr(0, nameEnd);
    rest.remove_prefix(nameEnd == std::string_view::npos ? rest.size() : nameEnd + 1);
    TextPlace found;
    if (!std::any_of(name.begin(), name.end(), IsLetter) || !TakeNumber(&rest, &found.address) ||
        !TakeNumber(&rest, &found.size)) {
        return fmt::format("is at {}, which says no address and size", named);
    }
    if (found.size == 0 || found.size > kLargestDescription) {
        return fmt::format("has {} bytes, where 1 to {} are possible", found.size,
                           kLargestDescription);
    }
    if (found.size - 1 > ~found.address) {
        return fmt::format("is at {}, which ends behind the last address", named);
    }
    constexpr std::string_view kSuffix = ".zip";
    found.packed = name.size() > kSuffix.size() &&
                   BeginsWith(name.substr(name.size() - kSuffix.size()), kSuffix);
    *place = found;
    return "";
}

std::string TextFault(std::string_view text)
{
    text = text.substr(0, text.find_last_not_of('\0') + 1); // what fills up the last register
    if (text.size() > kLargestDescription) {
        return fmt::format("has more than {} bytes", kLargestDescription);
    }
    if (text.find('\0') != std::string_view::npos) {
        return "has bytes that belong to no text";
    }
    constexpr std::string_view kByteOrderMark("\xEF\xBB\xBF");
    text.remove_prefix(text.starts_with(kByteOrderMark) ? kByteOrderMark.size() : 0);
    if (!text.starts_with('<')) {
        return "is no XML";
    }
    if (text.starts_with("<?xml") && !IsDeclaration(text)) {
        return "has a faulty XML declaration or an unknown encoding";
    }
    return Scan(text).Fault();
}

} // namespace net
