#include "platform/foundation/NSArray.h"

#include "platform/foundation/NSException.h"
#include "platform/foundation/NSString.h"

#include <gmock/gmock.h>

#include <string>
#include <vector>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

Ref<NSMutableArray> arrayOf(std::initializer_list<std::string_view> texts) {
  auto array = NSMutableArray::create();
  for (const auto text : texts)
    array->addObject(NSString::create(text));
  return array;
}

std::vector<std::string> texts(const NSArray &array) {
  std::vector<std::string> result;
  for (const auto &element : array)
    result.emplace_back(element->description()->bytes());
  return result;
}

// The name of the exception that the action raises.
template <class Action> std::string raised(Action action) {
  try {
    action();
  } catch (const NSException &exception) {
    return exception.name();
  }
  return "nothing";
}

TEST(ArrayTest, ElementsAreKeptInOrderAndRetained) {
  const auto array = NSMutableArray::create(2);
  EXPECT_EQ(array->count(), 0U);
  const auto a = NSString::create("a");
  array->addObject(a);
  array->addObject(a);
  EXPECT_EQ(a->retainCount(), 3U);
  EXPECT_EQ(array->count(), 2U);
  EXPECT_EQ(&*array->objectAtIndex(1), &*a);
}

TEST(ArrayTest, AddingNilRaisesAndAddsNothing) {
  const auto array = arrayOf({"a"});
  EXPECT_EQ(raised([&] { array->addObject(nullptr); }), "NSInvalidArgumentException");
  EXPECT_THAT(texts(*array), ElementsAre("a"));
}

TEST(ArrayTest, AnIndexBeyondTheEndRaises) {
  const auto array = arrayOf({"a"});
  EXPECT_EQ(raised([&] { (void)array->objectAtIndex(1); }), "NSRangeException");
  EXPECT_EQ(raised([&] { array->removeObjectAtIndex(1); }), "NSRangeException");
  EXPECT_EQ(raised([&] { array->insertObject(NSString::create("b"), 2); }), "NSRangeException");
  EXPECT_EQ(raised([] { NSMutableArray::create()->removeLastObject(); }), "NSRangeException");
  EXPECT_THAT(texts(*array), ElementsAre("a"));
}

TEST(ArrayTest, ARangeExceptionNamesTheIndexAndTheCount) {
  const auto array = arrayOf({"a"});
  try {
    array->insertObject(NSString::create("b"), 5);
    FAIL();
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.reason(), "index 5 beyond count 1");
  }
}

TEST(ArrayTest, InsertingPutsTheObjectBeforeTheOneAtTheIndex) {
  const auto array = arrayOf({"a", "b"});
  array->insertObject(NSString::create("first"), 0);
  array->insertObject(NSString::create("last"), 3);
  EXPECT_THAT(texts(*array), ElementsAre("first", "a", "b", "last"));
}

TEST(ArrayTest, RemovingClosesTheGapAndReleases) {
  const auto kept = NSString::create("b");
  const auto array = arrayOf({"a"});
  array->addObject(kept);
  array->addObject(NSString::create("c"));
  array->removeObjectAtIndex(0);
  EXPECT_THAT(texts(*array), ElementsAre("b", "c"));
  array->removeLastObject();
  EXPECT_EQ(kept->retainCount(), 2U);
  array->removeLastObject();
  EXPECT_EQ(kept->retainCount(), 1U);
  EXPECT_THAT(texts(*array), IsEmpty());
}

TEST(ArrayTest, RemovingAnIdenticalObjectTakesTheVeryObjectAndOnlyTheFirst) {
  const auto equal = NSString::create("a");
  const auto wanted = NSString::create("a");
  const auto array = NSMutableArray::create();
  array->addObject(equal);
  array->addObject(wanted);
  array->addObject(wanted);
  array->removeObjectIdenticalTo(*wanted);
  ASSERT_EQ(array->count(), 2U);
  EXPECT_EQ(&*array->objectAtIndex(0), &*equal);
  array->removeObjectIdenticalTo(*NSString::create("a"));
  EXPECT_EQ(array->count(), 2U);
}

TEST(ArrayTest, AddingAnotherArrayAppendsItsElements) {
  const auto array = arrayOf({"a"});
  array->addObjectsFromArray(&*arrayOf({"b", "c"}));
  array->addObjectsFromArray(nullptr);
  EXPECT_THAT(texts(*array), ElementsAre("a", "b", "c"));
}

TEST(ArrayTest, AnArrayCanBeAddedToItself) {
  const auto array = arrayOf({"a", "b", "c"});
  array->addObjectsFromArray(&*array);
  EXPECT_THAT(texts(*array), ElementsAre("a", "b", "c", "a", "b", "c"));
}

TEST(ArrayTest, AddingSmallArraysAgainAndAgainTakesMemoryForWhatIsAddedOnly) {
  NSZone &zone = NSCreateZone(256, 256);
  const auto one = arrayOf({"a"});
  const auto none = NSMutableArray::create();
  const auto array = NSMutableArray::create(1, zone);
  for (int i = 0; i < 20; ++i) {
    array->addObjectsFromArray(&*one);
    array->addObjectsFromArray(&*none);
  }
  EXPECT_EQ(array->count(), 20U);
  EXPECT_LT(zone.bytesInUse(), 1024U);
}

TEST(ArrayTest, JoiningPutsTheSeparatorBetweenNeighbours) {
  EXPECT_EQ(arrayOf({"a", "b", "c"})->componentsJoinedByString("--")->bytes(), "a--b--c");
  EXPECT_EQ(arrayOf({"a"})->componentsJoinedByString("--")->bytes(), "a");
  EXPECT_EQ(NSMutableArray::create()->componentsJoinedByString("--")->bytes(), "");
}

TEST(ArrayTest, JoiningTakesTheDescriptionsOfWhatIsNoString) {
  const auto array = arrayOf({"a b"});
  array->addObject(arrayOf({"c", "d e"}));
  EXPECT_EQ(array->componentsJoinedByString("|")->bytes(), "a b|(c, \"d e\")");
}

TEST(ArrayTest, AnElementThatOccursTwiceIsSeparatedFromItself) {
  const auto a = NSString::create("a");
  const auto array = NSMutableArray::create();
  array->addObject(a);
  array->addObject(a);
  EXPECT_EQ(array->componentsJoinedByString(",")->bytes(), "a,a");
}

TEST(ArrayTest, ArraysAreEqualWhenTheirElementsAreInOrder) {
  const auto array = arrayOf({"a", "b"});
  EXPECT_TRUE(array->isEqual(&*arrayOf({"a", "b"})));
  EXPECT_EQ(array->hash(), arrayOf({"a", "b"})->hash());
  EXPECT_FALSE(array->isEqual(&*arrayOf({"b", "a"})));
  EXPECT_FALSE(array->isEqual(&*arrayOf({"a"})));
  EXPECT_FALSE(array->isEqual(&*NSString::create("(a, b)")));
  EXPECT_FALSE(array->isEqual(nullptr));
}

TEST(ArrayTest, ArraysOfTheSameLengthHaveDifferentHashes) {
  // A table keyed by values out of a hostile file must not put all of them in one place.
  EXPECT_NE(arrayOf({"a"})->hash(), arrayOf({"b"})->hash());
  EXPECT_NE(arrayOf({"a", "b"})->hash(), arrayOf({"b", "a"})->hash());
}

TEST(ArrayTest, AMutableCopyIsEqualAndIndependent) {
  const auto array = arrayOf({"a"});
  const auto copied = array->mutableCopy();
  EXPECT_TRUE(copied->isEqual(&*array));
  copied->addObject(NSString::create("b"));
  EXPECT_EQ(array->count(), 1U);
}

} // namespace
} // namespace tesker
