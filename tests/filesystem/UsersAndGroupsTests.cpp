// Tests run in child processes where the tables, which live as long as a process, have to be new.
#include "filesystem/UsersAndGroups.h"
#include "paths/PathFunctions.h"
#include "tests/filesystem/FakeUsers.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/Texts.h"

#include <climits>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <numeric>

namespace tesker::test {
namespace {

using ::testing::ElementsAre;

// Runs the body in a process of its own, with user joe (1000, group 100) as the current one.
void withUsers(const std::function<void(FakeUsers &)> &body) {
  inChild([&] {
    FakeUsers system;
    system.users = {{"root", 0, 0, "/root"}, {"joe", 1000, 100, "/home/joe"}};
    system.groupNames = {{0, "wheel"}, {100, "users"}};
    body(system);
  });
}

TEST(CachedGetUID, IsTheProcesssUserFetchedOnce) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(cachedGetUID(), 1000);
    system.self = 2000;
    EXPECT_EQ(cachedGetUID(), 1000);
    EXPECT_THAT(system.log, ElementsAre("userId"));
  });
}

TEST(CachedGetUID, IsTheRealUserOfTheProcessAndNotTheEffectiveOne) {
  const uid_t other = ::geteuid() == 0 ? test::kOtherUser : ::getuid();
  inChild([other] {
    ASSERT_EQ(::setresuid(other, static_cast<uid_t>(-1), static_cast<uid_t>(-1)), 0);
    EXPECT_EQ(cachedGetUID(), static_cast<int>(other));
  });
}

TEST(CachedGetGID, IsThePrimaryGroupOfTheDatabaseFetchedOnce) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(cachedGetGID(), 100);
    EXPECT_EQ(cachedGetGID(), 100);
    EXPECT_THAT(system.log, ElementsAre("userId", "userWithId 1000"));
  });
}

TEST(CachedGetGID, IsUnknownForAUserWithoutAnEntry) {
  withUsers([](FakeUsers &system) {
    system.self = 4242;
    EXPECT_EQ(cachedGetGID(), 0xFFFFFF);
    EXPECT_EQ(cachedGetGID(), 0xFFFFFF);
    EXPECT_EQ(system.count("userWithId"), 1u);
  });
}

TEST(GetGIDForUID, AsksTheDatabaseOnceForEachUser) {
  withUsers([](FakeUsers &system) {
    for (int i = 0; i < 2; ++i) {
      EXPECT_EQ(getGIDForUID(0), 0);
      EXPECT_EQ(getGIDForUID(1000), 100);
    }
    EXPECT_THAT(system.log, ElementsAre("userWithId 0", "userWithId 1000"));
  });
}

TEST(GetGIDForUID, RemembersThatAUserIsUnknown) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(getGIDForUID(77), 0xFFFFFF);
    system.users.push_back({"late", 77, 7, std::nullopt});
    EXPECT_EQ(getGIDForUID(77), 0xFFFFFF);
    EXPECT_EQ(system.count("userWithId"), 1u);
  });
}

TEST(GetGIDForUID, KeepsIdsAtTheEndsOfTheRangeApart) {
  withUsers([](FakeUsers &system) {
    const std::vector<std::int32_t> ids{0, -1, INT_MAX, INT_MIN, -0xFFFFFF, INT_MIN + 0xFFFFFE};
    for (std::size_t i = 0; i < ids.size(); ++i)
      system.users.push_back(
          {"user", static_cast<uid_t>(ids[i]), static_cast<gid_t>(i + 1), std::nullopt});
    system.users.erase(system.users.begin()); // root
    for (int round = 0; round < 2; ++round)
      for (std::size_t i = 0; i < ids.size(); ++i)
        EXPECT_EQ(getGIDForUID(ids[i]), static_cast<int>(i + 1)) << ids[i];
    EXPECT_EQ(system.count("userWithId"), ids.size());
  });
}

TEST(IsGIDInUserGroups, HoldsForThePrimaryGroupWithoutFetchingTheOthers) {
  withUsers([](FakeUsers &system) {
    EXPECT_TRUE(isGIDInUserGroups(100));
    EXPECT_EQ(system.count("supplementaryGroups"), 0u);
  });
}

TEST(IsGIDInUserGroups, HoldsForTheSupplementaryGroupsFetchedOnce) {
  withUsers([](FakeUsers &system) {
    system.groups = {20, 30, 0};
    EXPECT_TRUE(isGIDInUserGroups(20));
    const std::size_t calls = system.count("supplementaryGroups");
    EXPECT_TRUE(isGIDInUserGroups(30));
    EXPECT_TRUE(isGIDInUserGroups(0));
    EXPECT_FALSE(isGIDInUserGroups(40));
    EXPECT_FALSE(isGIDInUserGroups(-1));
    EXPECT_EQ(system.count("supplementaryGroups"), calls);
  });
}

TEST(IsGIDInUserGroups, FetchesAnEmptyListAgainOnEachCall) {
  withUsers([](FakeUsers &system) {
    EXPECT_FALSE(isGIDInUserGroups(20));
    system.groups = {20};
    EXPECT_TRUE(isGIDInUserGroups(20));
  });
}

TEST(IsGIDInUserGroups, KnowsTheFirst16OfManyGroups) {
  withUsers([](FakeUsers &system) {
    system.groups.resize(40);
    std::iota(system.groups.begin(), system.groups.end(), 200u);
    EXPECT_TRUE(isGIDInUserGroups(200));
    EXPECT_TRUE(isGIDInUserGroups(215));
    EXPECT_FALSE(isGIDInUserGroups(216));
    EXPECT_FALSE(isGIDInUserGroups(239));
  });
}

TEST(IsGIDInUserGroups, SurvivesAFailureToFetch) {
  struct NoGroups : FakeUsers {
    int supplementaryGroups(gid_t *, int) override { return -1; }
  };
  inChild([] {
    NoGroups system;
    EXPECT_FALSE(isGIDInUserGroups(20));
  });
}

TEST(CachedGetUserName, IsTheNameAskedForOnce) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(cachedGetUserName(0), "root"_ns);
    EXPECT_EQ(cachedGetUserName(1000), "joe"_ns);
    EXPECT_EQ(cachedGetUserName(1000), "joe"_ns);
    EXPECT_THAT(system.log, ElementsAre("userWithId 0", "userWithId 1000"));
  });
}

TEST(CachedGetUserName, IsTheDecimalIdOfAnUnknownUserAskedForOnce) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(cachedGetUserName(4711), "4711"_ns);
    EXPECT_EQ(cachedGetUserName(4711), "4711"_ns);
    EXPECT_EQ(cachedGetUserName(-2), "-2"_ns);
    EXPECT_THAT(system.log, ElementsAre("userWithId 4711", "userWithId 4294967294"));
  });
}

TEST(CachedGetGroupName, IsTheNameAskedForOnce) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(cachedGetGroupName(0), "wheel"_ns);
    EXPECT_EQ(cachedGetGroupName(100), "users"_ns);
    EXPECT_EQ(cachedGetGroupName(100), "users"_ns);
    EXPECT_THAT(system.log, ElementsAre("groupNameWithId 0", "groupNameWithId 100"));
  });
}

TEST(CachedGetGroupName, IsTheDecimalIdOfAnUnknownGroupAskedForOnce) {
  withUsers([](FakeUsers &system) {
    EXPECT_EQ(cachedGetGroupName(4711), "4711"_ns);
    EXPECT_EQ(cachedGetGroupName(4711), "4711"_ns);
    EXPECT_EQ(system.log.size(), 1u);
  });
}

TEST(CachedNames, OfUsersAndGroupsAreKeptApart) {
  withUsers([](FakeUsers &) {
    EXPECT_EQ(cachedGetUserName(0), "root"_ns);
    EXPECT_EQ(cachedGetGroupName(0), "wheel"_ns);
  });
}

TEST(CachedNames, AreKeptInTheFilerZone) {
  withUsers([](FakeUsers &) { EXPECT_EQ(&cachedGetUserName(0).zone(), &filerZone()); });
}

} // namespace
} // namespace tesker::test
