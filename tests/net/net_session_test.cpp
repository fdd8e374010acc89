#include <gtest/gtest.h>
TEST(Dummy, Runs) {}
