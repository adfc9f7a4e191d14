#include "sandbox/PendingChanges.h"

#include <gtest/gtest.h>

namespace sandbox {
namespace {

TEST(PendingChanges, JoinsByDirectoryAndKeepsBackWhatIsHeld) {
    PendingChanges changes;
    changes.noticed("/r/a", "one");
    changes.noticed("/r/a", "two");
    changes.asked("/r/a", false);
    changes.asked("/r/b", true, "x");
    changes.hold("/r/h");
    changes.hold("/r/h");
    changes.hold("/r/quiet");
    changes.noticed("/r", "h");
    changes.noticed("/r/h/deep", "f");
    changes.noticed("/r/hx", "f");
    changes.asked("/r/h", false);
    EXPECT_TRUE(changes.concern("/r/a/one") && changes.concern("/r") && !changes.concern("/ra"));
    PendingChanges::Directories taken = changes.take();
    ASSERT_EQ(taken.size(), 4U);
    EXPECT_EQ(taken["/r/a"].names, (std::set<std::string>{"one", "two"}));
    EXPECT_TRUE(taken["/r/a"].isAsked && !taken["/r/a"].recursive);
    EXPECT_TRUE(taken["/r/b"].recursive);
    EXPECT_TRUE(taken["/r/h"].isAsked && taken["/r/h"].names.empty()) << "what is asked for is not held";
    EXPECT_TRUE(taken.contains("/r/hx"));

    changes.release("/r/quiet");
    EXPECT_TRUE(changes.isEmpty()) << "nothing happened there";
    changes.release("/r/h");
    EXPECT_TRUE(changes.take()["/r/h"].recursive);
    changes.release("/r/h");
    changes.noticed("/r/h", "f");
    EXPECT_EQ(changes.paths(), std::vector<std::string>{"/r/h"});
}

} // namespace
} // namespace sandbox
