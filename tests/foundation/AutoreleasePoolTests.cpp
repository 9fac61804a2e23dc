#include "platform/foundation/NSObject.h"

#include <gmock/gmock.h>

#include <functional>
#include <string>
#include <vector>

namespace tesker {

// Does something when it goes.
class Farewell final : public NSObject {
public:
  static Ref<Farewell> create(std::function<void()> action) {
    return allocate<Farewell>(NSDefaultMallocZone(), std::move(action));
  }

private:
  friend NSObject;
  explicit Farewell(std::function<void()> action) : action_(std::move(action)) {}
  ~Farewell() override { action_(); }
  std::function<void()> action_;
};

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class AutoreleasePoolTest : public testing::Test {
protected:
  Ref<Farewell> noting(const std::string &name) {
    return Farewell::create([this, name] { gone.push_back(name); });
  }
  std::vector<std::string> gone;
};

TEST_F(AutoreleasePoolTest, ObjectsLiveUntilThePoolGoesAndTheLastAddedGoesFirst) {
  {
    const auto pool = NSAutoreleasePool::create();
    NSAutoreleasePool::addObject(noting("a"));
    NSAutoreleasePool::addObject(noting("b"));
    EXPECT_THAT(gone, IsEmpty());
  }
  EXPECT_THAT(gone, ElementsAre("b", "a"));
}

TEST_F(AutoreleasePoolTest, ThePoolBelowIsTheCurrentOneAgainAfterTheInnerOneWent) {
  {
    const auto outer = NSAutoreleasePool::create();
    NSAutoreleasePool::addObject(noting("outer"));
    {
      const auto inner = NSAutoreleasePool::create();
      NSAutoreleasePool::addObject(noting("inner"));
    }
    EXPECT_THAT(gone, ElementsAre("inner"));
    NSAutoreleasePool::addObject(noting("outer too"));
    EXPECT_THAT(gone, ElementsAre("inner"));
  }
  EXPECT_THAT(gone, ElementsAre("inner", "outer too", "outer"));
}

TEST_F(AutoreleasePoolTest, AnOuterPoolCanGoBeforeTheInnerOne) {
  RefPtr<NSAutoreleasePool> outer = NSAutoreleasePool::create();
  RefPtr<NSAutoreleasePool> inner = NSAutoreleasePool::create();
  outer = nullptr;
  NSAutoreleasePool::addObject(noting("inner"));
  EXPECT_THAT(gone, IsEmpty());
  inner = nullptr;
  EXPECT_THAT(gone, ElementsAre("inner"));
}

TEST_F(AutoreleasePoolTest, WhatIsAddedWhileThePoolGoesIsReleasedWithIt) {
  {
    const auto pool = NSAutoreleasePool::create();
    NSAutoreleasePool::addObject(noting("first"));
    NSAutoreleasePool::addObject(Farewell::create([this] {
      for (const char *name : {"late 1", "late 2", "late 3"})
        NSAutoreleasePool::addObject(noting(name));
      gone.emplace_back("second");
    }));
  }
  EXPECT_THAT(gone, ElementsAre("second", "late 3", "late 2", "late 1", "first"));
}

} // namespace
} // namespace tesker
