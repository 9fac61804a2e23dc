#include "paths/PathFunctions.h"

#include <gtest/gtest.h>

#include <unistd.h>

namespace tesker {
namespace {

TEST(FilerZone, TheFilerZoneIsNamedFileCachingAndGrowsByPages) {
  EXPECT_EQ(&filerZone(), &filerZone());
  EXPECT_EQ(filerZone().name(), "File Caching");
  const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
  EXPECT_EQ(filerZone().startSize(), page);
  EXPECT_EQ(filerZone().granule(), page);
}

} // namespace
} // namespace tesker
