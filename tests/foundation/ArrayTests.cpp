#include "platform/foundation/NSArray.h"

#include "platform/foundation/NSException.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>

namespace tesker {
namespace {

using test::arrayOf;

TEST(ArrayTest, ElementsAreKeptInOrderAndRetained) {
  const auto array = NSArray::create();
  EXPECT_EQ(array->count(), 0U);
  const Ref<NSObject> a = "a"_ns.object().toRef();
  array->addObject(a);
  array->addObject("b"_ns.object());
  array->addObject(a);
  EXPECT_EQ(a->retainCount(), 3U);
  EXPECT_EQ(array->count(), 3U);
  EXPECT_EQ(&**(array->begin() + 2), &*a);
  EXPECT_EQ(array->description(), "(a, b, a)");
}

TEST(ArrayTest, AddingNilRaisesAndAddsNothing) {
  const auto array = arrayOf({"a"});
  try {
    array->addObject(nullptr);
    FAIL();
  } catch (const NSException &exception) {
    EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
  }
  EXPECT_THROW(array->addObject(NSString().object()), NSException);
  EXPECT_EQ(array->description(), "(a)");
}

TEST(ArrayTest, ArraysAreEqualWhenTheirElementsAreInOrder) {
  const auto array = arrayOf({"a", "b"});
  EXPECT_TRUE(array->isEqual(*arrayOf({"a", "b"})));
  EXPECT_EQ(array->hash(), arrayOf({"a", "b"})->hash());
  EXPECT_FALSE(array->isEqual(*arrayOf({"b", "a"})));
  EXPECT_FALSE(array->isEqual(*arrayOf({"a"})));
  EXPECT_FALSE(array->isEqual(*arrayOf({"a", "b", "c"})));
  EXPECT_FALSE(array->isEqual(*"(a, b)"_ns.object()));
}

TEST(ArrayTest, ArraysOfTheSameLengthHaveDifferentHashes) {
  // A table keyed by values out of a hostile file must not put all of them in one place.
  EXPECT_NE(arrayOf({"a"})->hash(), arrayOf({"b"})->hash());
  EXPECT_NE(arrayOf({"a", "b"})->hash(), arrayOf({"b", "a"})->hash());
}

TEST(ArrayTest, AnArrayLiesInItsZone) {
  NSZone &zone = NSCreateZone(256, 256);
  {
    const auto array = NSArray::create(zone);
    for (int i = 0; i < 100; ++i)
      array->addObject("a"_ns.object());
    EXPECT_EQ(&array->zone(), &zone);
    EXPECT_GT(zone.bytesInUse(), 100 * sizeof(void *));
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

} // namespace
} // namespace tesker
