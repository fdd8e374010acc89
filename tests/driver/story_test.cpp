#include "tests/support/story.h"

using namespace rig;

TEST(Stories, DifferInTheFirstLineThatIsNotTheSame)
{
    EXPECT_EQ(DifferenceOf({"a", "b"}, {"a", "b"}), "");
    EXPECT_EQ(DifferenceOf({"a", "b", "x"}, {"a", "b", "c"}), R"(line 3 differs
          1 | a
          2 | b
expected  3 | c
told      3 | x
)");
    EXPECT_EQ(DifferenceOf({}, {"a"}),
              "line 1 differs\nexpected  1 | a\ntold      (nothing more)\n");
    EXPECT_FALSE(IsStoryIn(KV_STORIES "/none/none.txt", {}));
}
