#include "platform/foundation/OperatingSystem.h"

#include "tests/support/ScopedEnvironment.h"

#include <gtest/gtest.h>

namespace tesker {
namespace {

using test::ScopedEnvironment;

TEST(EnvironmentTest, AVariableHasItsValue) {
  const ScopedEnvironment variable("TESKER_TEST", " a=b ");
  EXPECT_EQ(environmentValue("TESKER_TEST"), " a=b ");
}

TEST(EnvironmentTest, AnEmptyVariableCountsAsUnset) {
  const ScopedEnvironment empty("TESKER_TEST", "");
  EXPECT_EQ(environmentValue("TESKER_TEST"), std::nullopt);
  const ScopedEnvironment unset("TESKER_TEST", nullptr);
  EXPECT_EQ(environmentValue("TESKER_TEST"), std::nullopt);
}

// Knows the process's user only.
class WithUser final : public OperatingSystem {
public:
  uid_t userId() override { return 7; }
  std::optional<UserEntry> userWithId(uid_t uid) override {
    ++asked;
    return uid == 7 ? entry : std::nullopt;
  }
  std::optional<UserEntry> entry = UserEntry{"joe", 7, 7, "/home/joe"};
  int asked = 0;
};

TEST(HomeDirectoryTest, TheEnvironmentComesFirstAndThenNobodyElseIsAsked) {
  WithUser system;
  const ScopedOperatingSystem inForce(system);
  const ScopedEnvironment home("HOME", "/elsewhere");
  EXPECT_EQ(homeDirectory(), "/elsewhere");
  EXPECT_EQ(system.asked, 0);
}

TEST(HomeDirectoryTest, WithoutItThePasswordDatabaseTells) {
  WithUser system;
  const ScopedOperatingSystem inForce(system);
  for (const char *value : {static_cast<const char *>(nullptr), ""}) {
    const ScopedEnvironment home("HOME", value);
    EXPECT_EQ(homeDirectory(), "/home/joe");
  }
}

TEST(HomeDirectoryTest, AUserWithoutHomeOrEntryHasNone) {
  WithUser system;
  const ScopedOperatingSystem inForce(system);
  const ScopedEnvironment home("HOME", nullptr);
  system.entry->home = std::nullopt;
  EXPECT_EQ(homeDirectory(), std::nullopt);
  system.entry = std::nullopt;
  EXPECT_EQ(homeDirectory(), std::nullopt);
}

} // namespace
} // namespace tesker
