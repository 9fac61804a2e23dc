#include "fuzz/ListMutator.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/PropertyList.h"

#include <gtest/gtest.h>

#include <set>
#include <string>

namespace tesker {
namespace {

constexpr std::string_view kList =
    R"({NSExecutable = Foo; "a b" = (1, <00ff>, {c = "\n";}); NSTypes = ({NSIcon = "x.tiff";});})";
constexpr unsigned kSeeds = 3000;

bool isList(const std::string &text) {
  try {
    (void)propertyList(text);
    return true;
  } catch (const NSException &) {
    return false;
  }
}

std::set<std::string> allMutated(std::string_view list) {
  std::set<std::string> lists;
  for (unsigned seed = 1; seed <= kSeeds; ++seed)
    lists.insert(ListMutator(seed).mutated(list));
  return lists;
}

TEST(ListMutator, makesTheSameOfAListWithTheSameSeed) {
  EXPECT_EQ(ListMutator(7).mutated(kList), ListMutator(7).mutated(kList));
}

TEST(ListMutator, makesManyDifferentLists) { EXPECT_GT(allMutated(kList).size(), 500U); }

TEST(ListMutator, leavesManyListsReadable) {
  std::size_t readable = 0;
  const std::set<std::string> lists = allMutated(kList);
  for (const std::string &list : lists)
    readable += isList(list) ? 1 : 0;
  EXPECT_GT(readable, lists.size() / 3);
  EXPECT_LT(readable, lists.size());
}

TEST(ListMutator, takesAwayAPairAndAnElementWhole) {
  EXPECT_TRUE(allMutated("{a = b; c = d;}").contains("{ c = d;}"));
  EXPECT_TRUE(allMutated("(a, b)").contains("( b)"));
}

TEST(ListMutator, swapsTwoElements) { EXPECT_TRUE(allMutated("(a, b)").contains("(b, a)")); }

TEST(ListMutator, nestsQuotesCommentsAndChangesKinds) {
  const auto lists = allMutated("(a)");
  for (const char *wanted : {"((a))", "{a=(a);}", "(\"a\\n\")", "(/*a*/a)", "{a;}", "(<00ff>)"})
    EXPECT_TRUE(lists.contains(wanted)) << wanted;
}

TEST(ListMutator, makesSomethingOfNothingAndOfWhatIsNotAList) {
  EXPECT_FALSE(ListMutator(1).mutated("").empty());
  for (const std::string_view text : {"\"", "<", "\"\\", "(", ")", "{(", ";", "\xFF", "a = <0"})
    EXPECT_GT(allMutated(text).size(), 5U) << text;
}

} // namespace
} // namespace tesker
