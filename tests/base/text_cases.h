/** Reads text files beside the tests, and the cases in them: the lines of an input, then "=> " and
 *  the expected output; "..." at its end matches anything. Blank lines and lines that begin with
 *  "## " separate cases. */
#pragma once

#include <gmock/gmock.h>

#include <algorithm>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <utility>

inline std::string TextOf(const std::string& path)
{
    std::ifstream file(path);
    EXPECT_TRUE(file.is_open()) << path;
    return {std::istreambuf_iterator<char>(file), {}};
}

/** A TOML text with the keys and headings that it has as comments. */
inline std::string Uncommented(const std::string& text)
{
    static const std::regex commentedKey("(^|\n)# (\\[+[a-z]+\\]+|[a-z_]+ = )");
    return std::regex_replace(text, commentedKey, "$1$2");
}

template <class Outcome> void ExpectOutcomes(const std::string& path, const Outcome& outcome)
{
    std::ifstream file(path);
    int cases = 0;
    int number = 0;
    std::string text;
    for (std::string line; std::getline(file, line);) {
        ++number;
        if (!line.starts_with("=> ")) {
            const bool separates = line.empty() || line.starts_with("## ");
            text += text.empty() && separates ? "" : line + "\n";
            continue;
        }
        std::string expected = line.substr(3);
        std::string actual = outcome(std::exchange(text, {}));
        if (expected.ends_with("...")) {
            expected.resize(expected.size() - 3);
            actual.resize(std::min(actual.size(), expected.size()));
        }
        EXPECT_EQ(actual, expected) << path << ":" << number;
        ++cases;
    }
    EXPECT_GT(cases, 0) << path;
}
