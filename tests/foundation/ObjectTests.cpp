#include "platform/foundation/NSObject.h"

#include "platform/foundation/NSData.h"
#include "platform/foundation/NSDictionary.h"
#include "platform/foundation/NSException.h"
#include "tests/support/Texts.h"

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
  EXPECT_TRUE(a->isEqual(*a));
  EXPECT_FALSE(a->isEqual(*b));
  EXPECT_FALSE(a->isEqual(*"<tesker::PlainObject>"_ns.object()));
  EXPECT_EQ(a->hash(), a->hash());
}

TEST(ObjectTest, TheDescriptionOfAPlainObjectIsTheNameOfItsClass) {
  bool gone = false;
  EXPECT_EQ(PlainObject::create(gone)->description(), "<tesker::PlainObject>");
}

TEST(ObjectTest, AnObjectIsLentAsTheKindThatItIs) {
  const auto array = NSArray::create();
  const auto dictionary = NSDictionary::create();
  const auto data = NSData::create("");
  const Ref<NSObject> string = "a"_ns.object().toRef();
  EXPECT_EQ(Ref<NSObject>(array)->asArray(), &*array);
  EXPECT_EQ(Ref<NSObject>(dictionary)->asDictionary(), &*dictionary);
  EXPECT_EQ(Ref<NSObject>(data)->asData(), &*data);
  EXPECT_EQ(string->asString(), "a");
}

TEST(ObjectTest, AskingForAKindAnswersNilForAnObjectOfAnother) {
  bool gone = false;
  const Ref<NSObject> others[] = {PlainObject::create(gone), NSArray::create(),
                                  NSDictionary::create(), NSData::create(""),
                                  ""_ns.object().toRef()};
  // Each of them is of one kind at most.
  int kinds = 0;
  for (const auto &object : others)
    kinds += (object->asString() ? 1 : 0) + (object->asArray() != nullptr ? 1 : 0) +
             (object->asDictionary() != nullptr ? 1 : 0) + (object->asData() != nullptr ? 1 : 0);
  EXPECT_EQ(kinds, 4);
  EXPECT_FALSE(others[0]->asString());
  EXPECT_EQ(others[0]->asArray(), nullptr);
  EXPECT_EQ(others[0]->asDictionary(), nullptr);
  EXPECT_EQ(others[0]->asData(), nullptr);
}

TEST(ObjectTest, AnExceptionSaysItsNameAndReason) {
  const NSException exception(NSGenericException, "why");
  EXPECT_EQ(exception.name(), "NSGenericException");
  EXPECT_EQ(exception.reason(), "why");
  EXPECT_STREQ(exception.what(), "why");
}

} // namespace
} // namespace tesker
