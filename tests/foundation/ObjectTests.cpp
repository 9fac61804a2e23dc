#include "platform/foundation/NSObject.h"

#include "platform/foundation/NSArray.h"
#include "platform/foundation/NSException.h"
#include "platform/foundation/NSString.h"

#include <gtest/gtest.h>

#include <stdexcept>

namespace tesker {

// An object with nothing of its own but a flag that tells when it goes.
class PlainObject final : public NSObject {
public:
  static Ref<PlainObject> create(bool &gone, NSZone &zone = NSDefaultMallocZone()) {
    return allocate<PlainObject>(zone, gone);
  }

private:
  friend NSObject;
  explicit PlainObject(bool &gone) : gone_(gone) {}
  ~PlainObject() override { gone_ = true; }
  bool &gone_;
};

class ObjectThatCannotBeMade final : public NSObject {
public:
  static Ref<ObjectThatCannotBeMade> create(NSZone &zone) {
    return allocate<ObjectThatCannotBeMade>(zone);
  }

private:
  friend NSObject;
  ObjectThatCannotBeMade() { throw std::runtime_error("no"); }
};

namespace {

TEST(ObjectTest, AnObjectIsBornWithOneReference) {
  bool gone = false;
  const auto object = PlainObject::create(gone);
  EXPECT_EQ(object->retainCount(), 1U);
  const auto second = object; // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_EQ(object->retainCount(), 2U);
}

TEST(ObjectTest, TheLastReleaseDestroysTheObject) {
  bool gone = false;
  auto first = PlainObject::create(gone);
  {
    const auto second = std::move(first);
    EXPECT_FALSE(gone);
  }
  EXPECT_TRUE(gone);
}

TEST(ObjectTest, AnObjectThatCannotBeMadeTakesNoMemory) {
  NSZone &zone = NSCreateZone(64, 64);
  EXPECT_THROW((void)ObjectThatCannotBeMade::create(zone), std::runtime_error);
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST(ObjectTest, AnObjectEqualsOnlyItself) {
  bool gone = false;
  const auto a = PlainObject::create(gone);
  const auto b = PlainObject::create(gone);
  EXPECT_TRUE(a->isEqual(&*a));
  EXPECT_FALSE(a->isEqual(&*b));
  EXPECT_FALSE(a->isEqual(nullptr));
  EXPECT_EQ(a->hash(), a->hash());
}

TEST(ObjectTest, EqualityOfTwoThatMayBeNil) {
  const auto a = NSString::create("a");
  const auto same = NSString::create("a");
  const auto b = NSString::create("b");
  const NSObject *nil = nullptr;
  EXPECT_TRUE(isEqual(nil, nil));
  EXPECT_FALSE(isEqual(&*a, nil));
  EXPECT_FALSE(isEqual(nil, &*a));
  EXPECT_TRUE(isEqual(&*a, &*same));
  EXPECT_FALSE(isEqual(&*a, &*b));
}

TEST(ObjectTest, TheDescriptionOfAPlainObjectIsTheNameOfItsClass) {
  bool gone = false;
  EXPECT_EQ(PlainObject::create(gone)->description()->bytes(), "<tesker::PlainObject>");
}

TEST(ObjectTest, AskingForAClassAnswersNilForNilAndForAnotherClass) {
  const Ref<NSObject> string = NSString::create("a");
  EXPECT_TRUE(as<NSString>(string));
  EXPECT_FALSE(as<NSArray>(string));
  EXPECT_EQ(as<NSString>(static_cast<const NSObject *>(nullptr)), nullptr);
  EXPECT_FALSE(as<NSString>(RefPtr<NSObject>()));
  const RefPtr<NSObject> mutableString = NSMutableString::create("a");
  EXPECT_TRUE(as<NSString>(mutableString)); // a subclass is of the class
}

TEST(ObjectTest, AnExceptionSaysItsNameAndReason) {
  const NSException exception(NSGenericException, "why");
  EXPECT_EQ(exception.name(), "NSGenericException");
  EXPECT_EQ(exception.reason(), "why");
  EXPECT_STREQ(exception.what(), "why");
}

} // namespace
} // namespace tesker
