#include "filesystem/TextFunctions.h"

#include <gtest/gtest.h>
#include <unordered_set>

namespace tesker::test {
namespace {

TEST(StringKeyCallbacks, CompareRecordsByTheirString) {
  struct Record {
    NSString key;
    int value;
  };
  Record first{"key"_ns, 1};
  Record equal{"key"_ns, 2};
  Record other{"other"_ns, 1};
  EXPECT_EQ(hashStringKey()(&first), first.key.hash());
  EXPECT_TRUE(isEqualStringKey()(&first, &equal));
  EXPECT_FALSE(isEqualStringKey()(&first, &other));
  const std::unordered_set<Record *, hashStringKey, isEqualStringKey> set{&first, &equal, &other};
  EXPECT_EQ(set.size(), 2u);
}

} // namespace
} // namespace tesker::test
