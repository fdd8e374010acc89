#include "tests/support/story.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>

namespace rig
{

namespace
{

constexpr std::size_t kContext = 3;

/** Lines `from` to `to`, each behind its number and `mark`. */
std::string Lines(const std::vector<std::string>& texts, std::size_t from, std::size_t to,
                  const char* mark)
{
    std::string lines;
    for (std::size_t i = from; i < std::min(to, texts.size()); ++i) {
        lines += mark + std::to_string(i + 1) + " | " + texts[i] + "\n";
    }
    return lines.empty() ? std::string(mark) + "(nothing more)\n" : lines;
}

} // namespace

std::string DifferenceOf(const std::vector<std::string>& told,
                         const std::vector<std::string>& story)
{
    const auto [inTold, inStory] =
        std::mismatch(told.begin(), told.end(), story.begin(), story.end());
    if (inTold == told.end() && inStory == story.end()) {
        return {};
    }
    const auto at = static_cast<std::size_t>(inTold - told.begin());
    const std::size_t first = at < kContext ? 0 : at - kContext;
    std::string text = "line " + std::to_string(at + 1) + " differs\n";
    if (first < at) {
        text += Lines(told, first, at, "          ");
    }
    text += Lines(story, at, at + kContext, "expected  ");
    text += Lines(told, at, at + kContext, "told      ");
    return text;
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
