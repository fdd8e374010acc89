/** Stories in text files: "== title" begins one, and "STEP -> RESULT" says what a step comes to.
 *  "..." at the end of a result stands for any rest; a step without an arrow comes to nothing.
 *  Lines that begin with "#" are comments. */
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <fstream>
#include <string>

/** `begin` is called with each title, `act` with each step; it returns the step's result. */
template <class Begin, class Act>
void TellStories(const std::string& path, const Begin& begin, const Act& act)
{
    std::ifstream file(path);
    int steps = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with("== ")) {
            begin(line.substr(3));
            continue;
        }
        if (line.empty() || line.starts_with("#")) {
            continue;
        }
        const std::size_t arrow = std::min(line.find(" ->"), line.size());
        std::string expected = line.substr(std::min(arrow + 4, line.size()));
        std::string actual = act(line.substr(0, arrow));
        if (expected.ends_with("...")) {
            expected.resize(expected.size() - 3);
            actual.resize(std::min(actual.size(), expected.size()));
        }
        EXPECT_EQ(actual, expected) << path << ": " << line;
        ++steps;
    }
    EXPECT_GT(steps, 50) << path;
}
