/** Long lists of log lines and journal entries, kept in text files beside the tests.
 *
 *  A story is `NAME.txt` in the folder KV_STORIES, which the test's CMakeLists.txt defines; it has
 * one text a line. With KV_RENEW_STORIES=1 in the environment the files are written anew, and each
 * test that compares one fails, so that nothing passes by being renewed: look at what changed, and
 * run the tests again without it. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace rig
{

/** The first line in which `told` differs from `story`, with the lines around it; empty when they
 *  are the same. */
std::string DifferenceOf(const std::vector<std::string>& told,
                         const std::vector<std::string>& story);

/** Whether `told` is what the file has, line by line. */
testing::AssertionResult IsStoryIn(const std::string& file, const std::vector<std::string>& told);

#ifdef KV_STORIES
/** Whether `told` is the story of this name. */
inline testing::AssertionResult IsStory(const std::string& name,
                                        const std::vector<std::string>& told)
{
    return IsStoryIn(KV_STORIES "/" + name + ".txt", told);
}
#endif

} // namespace rig
