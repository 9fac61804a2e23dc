#include "making/AmbiguousNames.h"

#include <gtest/gtest.h>

namespace tesker {
namespace {

TEST(AmbiguousNames, AnOrdinaryNameIsNotOdd) {
  for (const char *name : {"Edit.app", "Edit.tool", "Edit 2.5.app", "M\xc3\xa4rz.app", "x.y.debug"})
    EXPECT_EQ(oddityOfWrapperName(name), "") << name;
}

TEST(AmbiguousNames, ANameThatTheRulesReadOtherwiseIsOdd) {
  for (const char *name :
       {".app", ".Edit.app", "a/b.app", "a\tb.app", "a\nb.app", "MyTesker.app", "Edit.app.app",
        "Edit.debug.app", "Edit.profile.app", "Edit.tool.app", "Edit.bundle.app", "Resources.app",
        "services.app", "registry.table.app", "Info-quorvale.plist.app"})
    EXPECT_NE(oddityOfWrapperName(name), "") << name;
}

} // namespace
} // namespace tesker
