// Access by the cached attributes for an ordinary user. The user's id is asked for once in a
// process, so these tests have a program of their own.
#include "tests/caching/CachingTest.h"

namespace tesker::test {

class AccessAsUserTest : public CachingTest {
protected:
  AccessAsUserTest() {
    disk.setUser(1000);
    disk.users.push_back({"joe", 1000, 100, "/"});
    disk.groups = {100, 500};
  }

  bool may(int mode, mode_t permissions, uid_t owner, gid_t group) {
    const std::string name = "f" + std::to_string(++files_);
    disk.addFile("/" + name, permissions);
    disk.setOwner("/" + name, owner, group);
    return manager().access(mode, "/"_ns, NSString::create(name));
  }

  static constexpr uid_t kSelf = 1000;
  static constexpr uid_t kOther = 2000;
  static constexpr gid_t kOwnGroup = 100;
  static constexpr gid_t kSupplementary = 500;
  static constexpr gid_t kStrangers = 900;

private:
  int files_ = 0;
};

TEST_F(AccessAsUserTest, TheOwnerIsJudgedByTheOwnersBits) {
  EXPECT_TRUE(may(4, 0400, kSelf, kStrangers));
  EXPECT_TRUE(may(7, 0700, kSelf, kStrangers));
  EXPECT_FALSE(may(6, 0400, kSelf, kStrangers)) << "every bit has to be there";
}

TEST_F(AccessAsUserTest, AnOwnerWithoutWriteDoesNotGetItFromTheOthersOrTheGroup) {
  EXPECT_FALSE(may(2, 0402, kSelf, kStrangers));
  EXPECT_FALSE(may(2, 0420, kSelf, kOwnGroup));
}

TEST_F(AccessAsUserTest, AMemberIsJudgedByTheGroupsBits) {
  for (const gid_t group : {kOwnGroup, kSupplementary}) {
    EXPECT_TRUE(may(5, 0050, kOther, group)) << group;
    EXPECT_FALSE(may(2, 0702, kOther, group)) << group;
  }
}

TEST_F(AccessAsUserTest, AnybodyElseIsJudgedByTheOthersBits) {
  EXPECT_TRUE(may(1, 0001, kOther, kStrangers));
  EXPECT_FALSE(may(1, 0770, kOther, kStrangers));
}

TEST_F(AccessAsUserTest, ReadingAFileOfMode000IsRefused) {
  EXPECT_FALSE(may(4, 0, kSelf, kOwnGroup));
  EXPECT_TRUE(may(0, 0, kSelf, kOwnGroup));
}

// Owners are compared as signed 16-bit numbers, which 66536 cut to 1000 equals.
TEST_F(AccessAsUserTest, OwnersAreComparedBySixteenBits) {
  EXPECT_TRUE(may(4, 0400, 66536, kStrangers));
  EXPECT_FALSE(may(4, 0004, 66536, kStrangers));
}

// And so are groups.
TEST_F(AccessAsUserTest, GroupsAreComparedBySixteenBits) {
  EXPECT_TRUE(may(4, 0040, kOther, 65536 + kOwnGroup));
  EXPECT_FALSE(may(4, 0004, kOther, 65536 + kOwnGroup));
}

TEST_F(AccessAsUserTest, AModeWithABitThatNoTripletHasIsRefused) {
  EXPECT_FALSE(may(8, 0777, kSelf, kOwnGroup));
  EXPECT_FALSE(may(8 | 4, 07777, kOther, kStrangers));
}

TEST_F(AccessAsUserTest, AMissingFileIsRefusedExceptForModeZero) {
  EXPECT_FALSE(manager().access(4, "/"_ns, "nothing"_ns));
  EXPECT_TRUE(manager().access(0, "/"_ns, "nothing"_ns));
}

TEST_F(AccessAsUserTest, WarmQuestionsMakeNoSystemCall) {
  disk.addFile("/f", 0644);
  EXPECT_TRUE(manager().access(4, "/"_ns, "f"_ns));
  disk.takeAllCalls();
  EXPECT_TRUE(manager().access(4, "/"_ns, "f"_ns));
  EXPECT_FALSE(manager().access(2, "/"_ns, "f"_ns));
  EXPECT_THAT(disk.takeAllCalls(), ::testing::IsEmpty());
}

} // namespace tesker::test
