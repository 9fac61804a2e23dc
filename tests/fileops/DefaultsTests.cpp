// Where the programs come from.
#include "filesystem/BuiltInDefaults.h"
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/PropertyList.h"
#include "tests/fileops/FileOperationsTest.h"
#include "tests/support/Texts.h"

using namespace tesker;
using namespace tesker::test;

namespace {

class Defaults : public FileOperationsTest {
protected:
  NSString valueOf(const char *key) {
    return NSUserDefaults::standardUserDefaults().stringForKey(key);
  }
};

TEST_F(Defaults, whatIsBuiltIn) {
  EXPECT_EQ(propertyList(kTeskerDefaults)->description(),
            "{rm = \"/bin/rm\"; tar = \"/usr/bin/gnutar\"; compress = \"/usr/bin/compress\"; "
            "uncompress = \"/usr/bin/uncompress\"; AlwaysTarForCompress = Yes; }");
}

TEST_F(Defaults, theDomainTeskerGoesBeforeAllThatWereThere) {
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  const std::vector<NSString> before = defaults.searchList();
  registerTeskerDefaults();
  std::vector<NSString> expected = before;
  expected.insert(expected.begin(), "Tesker"_ns);
  EXPECT_EQ(defaults.searchList(), expected);
  defaults.setSearchList(before);
}

TEST_F(Defaults, theSitesDomainGoesBeforeWhatIsBuiltIn) {
  EXPECT_EQ(valueOf("tar"), "/usr/bin/tar");
  EXPECT_EQ(valueOf("AlwaysTarForCompress"), "Yes");
}

TEST_F(Defaults, theProgramsOfDebianAreThere) {
  for (const char *key : {"rm", "tar", "compress", "uncompress"})
    EXPECT_TRUE(exists(valueOf(key).cString())) << key;
}

TEST_F(Defaults, aVolatileDomainReplacesWhatItHeld) {
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  useProgram("rm", "/chosen");
  EXPECT_EQ(valueOf("rm"), "/chosen");
  defaults.setVolatileDomain(*NSDictionary::create(), NSArgumentDomain);
  EXPECT_EQ(valueOf("rm"), "/bin/rm");
}

} // namespace
