#include "tests/support/story.h"

using namespace rig;

TEST(Stories, DifferInTheFirstLineThatIsNotTheSame)
{
    EXPECT_EQ(DifferenceOf({"a", "b"}, {"a", "b"}), "");
    EXPECT_EQ(DifferenceOf({"a", "b", "x"}, {"a", "b", "c", "d"}),
              "line 3 differs\nexpected\n    c\n    d\ntold\n    x\n");
    EXPECT_EQ(DifferenceOf({}, {"a"}), "line 1 differs\nexpected\n    a\ntold\n    \n");
    EXPECT_FALSE(IsStoryIn(KV_STORIES "/none/none.txt", {}));
}
