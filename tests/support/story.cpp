#include "tests/support/story.h"

#include <fmt/ranges.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>

namespace rig
{

std::string DifferenceOf(const std::vector<std::string>& told,
                         const std::vector<std::string>& story)
{
    const auto [inTold, inStory] =
        std::mismatch(told.begin(), told.end(), story.begin(), story.end());
    if (inTold == told.end() && inStory == story.end()) {
        return {};
    }
    const auto some = [](auto from, auto end) {
        constexpr std::ptrdiff_t kLines = 5;
        return fmt::join(from, from + std::min(kLines, end - from), "\n    ");
    };
    return fmt::format("line {} differs\nexpected\n    {}\ntold\n    {}\n",
                       inTold - told.begin() + 1, some(inStory, story.end()),
                       some(inTold, told.end()));
}

void Append(std::vector<std::string>& story, const std::string& heading,
            const std::vector<std::string>& texts)
{
    story.push_back("== " + heading);
    story.insert(story.end(), texts.begin(), texts.end());
}

std::vector<std::string> Masked(std::vector<std::string> texts)
{
    static const std::pair<std::regex, const char*> masks[] = {
        {std::regex("0x[0-9a-f]{9,}"), "0x..."},
        {std::regex("(PID |cpu=)[0-9]+"), "$1..."},
        {std::regex("\\(result -?[1-9][0-9]*\\)"), "(result not 0)"},
        {std::regex("(read .*=.*\\.[0-9])[0-9]+"), "$1..."}};
    for (std::string& text : texts) {
        for (const auto& [pattern, mask] : masks) {
            text = std::regex_replace(text, pattern, mask);
        }
    }
    return texts;
}

testing::AssertionResult IsStoryIn(const std::string& file, const std::vector<std::string>& told)
{
    if (std::getenv("KV_RENEW_STORIES") != nullptr) {
        std::ofstream out(file);
        for (const std::string& line : told) {
            out << line << "\n";
        }
        out.close();
        return testing::AssertionFailure()
               << file << (out ? " is renewed" : " can't be written")
               << "; look at its changes and run the test without KV_RENEW_STORIES";
    }
    std::ifstream in(file);
    if (!in) {
        return testing::AssertionFailure()
               << file << " can't be read; KV_RENEW_STORIES=1 writes it";
    }
    std::vector<std::string> story;
    for (std::string line; std::getline(in, line);) {
        story.push_back(line);
    }
    const std::string difference = DifferenceOf(told, story);
    if (difference.empty()) {
        return testing::AssertionSuccess();
    }
    return testing::AssertionFailure() << file << ", " << difference;
}

} // namespace rig
