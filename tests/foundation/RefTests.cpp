// What references do to the object they refer to, told by the object itself.
#include "platform/foundation/Ref.h"

#include <gmock/gmock.h>

#include <string>
#include <type_traits>
#include <vector>

namespace tesker {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> transcript;

// Counts as an object does and notes what is done to it.
class Witness {
public:
  explicit Witness(std::string name) : name_(std::move(name)) {}
  virtual ~Witness() { transcript.push_back(name_ + " destroyed"); }
  Witness(const Witness &) = delete;
  Witness &operator=(const Witness &) = delete;
  void retain() {
    ++count_;
    transcript.push_back(name_ + " retained");
  }
  void release() {
    transcript.push_back(name_ + " released");
    if (--count_ == 0)
      delete this;
  }

private:
  std::string name_;
  unsigned count_ = 1;
};

class SpecialWitness final : public Witness {
public:
  using Witness::Witness;
};

Ref<Witness> born(const char *name) { return Ref<Witness>::adopt(*new Witness(name)); }

class RefTest : public testing::Test {
protected:
  void SetUp() override { transcript.clear(); }

  // What was noted since the last call.
  static std::vector<std::string> noted() { return std::exchange(transcript, {}); }
};

TEST_F(RefTest, AdoptingTakesOverTheReferenceThatTheObjectWasBornWith) {
  { const auto ref = born("a"); }
  EXPECT_THAT(noted(), ElementsAre("a released", "a destroyed"));
}

TEST_F(RefTest, ReferringToALivingObjectAddsAReference) {
  const auto first = born("a");
  { const Ref<Witness> second(*first); }
  EXPECT_THAT(noted(), ElementsAre("a retained", "a released"));
}

TEST_F(RefTest, CopyingAddsAReferenceAndMovingDoesNot) {
  auto first = born("a");
  auto copied = first;
  EXPECT_THAT(noted(), ElementsAre("a retained"));
  const auto moved = std::move(copied);
  EXPECT_THAT(noted(), IsEmpty());
  EXPECT_EQ(&*moved, &*first);
}

TEST_F(RefTest, AssigningReleasesTheFormerObject) {
  auto first = born("a");
  const auto second = born("b");
  first = second;
  EXPECT_THAT(noted(), ElementsAre("b retained", "a released", "a destroyed"));
}

TEST_F(RefTest, AssigningToItselfKeepsTheObject) {
  auto first = born("a");
  const auto &same = first;
  first = same;
  EXPECT_THAT(noted(), ElementsAre("a retained", "a released"));
}

TEST_F(RefTest, ConvertingToABaseClassMovesOrAddsAReference) {
  auto special = Ref<SpecialWitness>::adopt(*new SpecialWitness("s"));
  const Ref<Witness> shared = special;
  EXPECT_THAT(noted(), ElementsAre("s retained"));
  const Ref<Witness> moved = std::move(special);
  EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(RefTest, LeakingHandsTheReferenceToTheCaller) {
  Witness *object = nullptr;
  {
    auto ref = born("a");
    object = ref.leak();
  }
  EXPECT_THAT(noted(), IsEmpty());
  object->release();
  EXPECT_THAT(noted(), ElementsAre("a released", "a destroyed"));
}

TEST_F(RefTest, ANilReferenceTouchesNothing) {
  RefPtr<Witness> nil = nullptr;
  RefPtr<Witness> copied = nil;
  nil = std::move(copied);
  EXPECT_FALSE(nil);
  EXPECT_EQ(nil.pointer(), nullptr);
  const RefPtr<Witness> ofNullPointer(static_cast<Witness *>(nullptr));
  EXPECT_FALSE(ofNullPointer);
}

TEST_F(RefTest, AReferenceThatMayBeNilKeepsItsObjectUntilItIsAssignedNil) {
  RefPtr<Witness> kept = born("a");
  EXPECT_THAT(noted(), IsEmpty());
  ASSERT_TRUE(kept);
  kept = nullptr;
  EXPECT_THAT(noted(), ElementsAre("a released", "a destroyed"));
  EXPECT_FALSE(kept);
}

TEST_F(RefTest, AReferenceThatMayBeNilCanBeMadeOfAPointerOrAReference) {
  const auto first = born("a");
  const RefPtr<Witness> ofReference = first;
  const RefPtr<Witness> ofPointer(&*first);
  const RefPtr<Witness> copied = ofPointer; // NOLINT(performance-unnecessary-copy-initialization)
  EXPECT_THAT(noted(), ElementsAre("a retained", "a retained", "a retained"));
}

TEST_F(RefTest, TurningIntoAReferenceThatIsNeverNilAddsAReference) {
  const RefPtr<Witness> maybe = born("a");
  const Ref<Witness> sure = maybe.toRef();
  EXPECT_THAT(noted(), ElementsAre("a retained"));
  EXPECT_EQ(&*sure, maybe.pointer());
}

TEST_F(RefTest, MovingAReferenceThatMayBeNilLeavesNilBehind) {
  RefPtr<SpecialWitness> special = Ref<SpecialWitness>::adopt(*new SpecialWitness("s"));
  const RefPtr<Witness> moved = std::move(special);
  EXPECT_FALSE(special); // NOLINT(bugprone-use-after-move): what is left is what is asked.
  EXPECT_TRUE(moved);
  EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(RefTest, NothingButAReferenceTurnsIntoOneSilently) {
  static_assert(!std::is_convertible_v<Witness &, Ref<Witness>>);
  static_assert(!std::is_convertible_v<Witness *, RefPtr<Witness>>);
  static_assert(!std::is_convertible_v<RefPtr<Witness>, Ref<Witness>>);
  static_assert(!std::is_default_constructible_v<Ref<Witness>>);
}

} // namespace
} // namespace tesker
