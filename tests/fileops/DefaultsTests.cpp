// Where the programs come from.
#include "platform/foundation/NSUserDefaults.h"
#include "platform/foundation/PropertyList.h"
#include "platform/foundation/TeskerDefaults.h"
#include "tests/fileops/FileOperationsTest.h"

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;

namespace {

class Defaults : public FileOperationsTest {
protected:
  std::string valueOf(const char *key) {
    const auto value = NSUserDefaults::standardUserDefaults().stringForKey(key);
    return value ? std::string(value->bytes()) : "(nil)";
  }
};

TEST_F(Defaults, whatIsBuiltIn) {
  const auto builtIn = propertyList(kTeskerDefaults);
  EXPECT_EQ(builtIn->description()->bytes(),
            "{rm = \"/bin/rm\"; tar = \"/usr/bin/gnutar\"; compress = \"/usr/bin/compress\"; "
            "uncompress = \"/usr/bin/uncompress\"; AlwaysTarForCompress = Yes; }");
}

TEST_F(Defaults, theDomainTeskerGoesBeforeAllThatWereThere) {
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  const auto before = defaults.searchList();
  registerTeskerDefaults();
  const auto after = defaults.searchList();
  ASSERT_EQ(after->count(), before->count() + 1);
  EXPECT_TRUE(isEqual(as<NSString>(&*after->objectAtIndex(0)), "Tesker"));
  for (std::size_t i = 0; i < before->count(); ++i)
    EXPECT_TRUE(after->objectAtIndex(i + 1)->isEqual(&*before->objectAtIndex(i)));
  defaults.setSearchList(*before);
}

TEST_F(Defaults, theSitesDomainGoesBeforeWhatIsBuiltIn) {
  EXPECT_EQ(valueOf("tar"), "/usr/bin/tar");
  EXPECT_EQ(valueOf("AlwaysTarForCompress"), "Yes");
}

TEST_F(Defaults, theProgramsOfDebianAreThere) {
  for (const char *key : {"rm", "tar", "compress", "uncompress"})
    EXPECT_TRUE(exists(valueOf(key))) << valueOf(key);
}

TEST_F(Defaults, aVolatileDomainReplacesWhatItHeld) {
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  useProgram("rm", "/chosen");
  EXPECT_EQ(valueOf("rm"), "/chosen");
  defaults.setVolatileDomain(*NSMutableDictionary::create(), NSArgumentDomain);
  EXPECT_EQ(valueOf("rm"), "/bin/rm");
}

} // namespace
