/** Long lists of log lines and journal entries, kept in text files beside the tests.
 *
 *  A story is `NAME.txt` in the folder KV_STORIES, which the test's CMakeLists.txt defines; it has
 *  one text per line. With KV_RENEW_STORIES=1 in the environment the files are written anew, and
 *  each test that compares one fails, so that no test passes just because its story was renewed:
 *  check the changes, and run the tests again without the variable. */
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace rig
{

/** The first line in which `told` differs from `story`, with a few lines of both from there on;
 *  empty when they are the same. */
std::string DifferenceOf(const std::vector<std::string>& told,
                         const std::vector<std::string>& story);

/** Puts "== heading" and the texts behind what `story` has: for stories of several cases. */
void Append(std::vector<std::string>& story, const std::string& heading,
            const std::vector<std::string>& texts);

/** The same texts, without what differs from run to run and from machine to machine: addresses, the
 *  numbers of process and processor, what a comparison of texts gave if not 0, all decimals but the
 *  first of what is read. */
std::vector<std::string> Masked(std::vector<std::string> texts);

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
