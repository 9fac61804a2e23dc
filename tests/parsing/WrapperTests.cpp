// Which entries of a wrapper are looked at, and in what order.
#include "platform/foundation/NSException.h"
#include "tests/parsing/WrapperTest.h"
#include "tests/support/FileManagers.h"
#include "tests/support/Texts.h"

#include <cerrno>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using Order = OrderedListings::Order;
using testing::ElementsAre;
using testing::IsEmpty;

TEST_F(Wrapper, WithoutAFileNameIsNil) {
  EXPECT_FALSE(parseAppWrapper(NSFileManager::classObject(), directory_.string(), nullptr,
                               NSDefaultMallocZone()));
}

TEST_F(Wrapper, MissingOrNotSearchableIsNil) {
  EXPECT_THAT(parse("Missing.app"), ElementsAre("(nil)"));
  write("Shut.app", kInfo, "{}");
  directory_.makeDirectory("Shut.app", 0644);
  EXPECT_THAT(parse("Shut.app"), ElementsAre("(nil)"));
}

TEST_F(Wrapper, WhoseAttributesRaiseIsNil) {
  RaisingFileManager raising;
  EXPECT_FALSE(parseAppWrapper(raising, directory_.string(), "Foo.app"_ns, NSDefaultMallocZone()));
}

TEST_F(Wrapper, WhoseEntriesCannotBeListedHasNone) {
  class NoListings final : public OperatingSystem {
  public:
    explicit NoListings(bool raises) : raises_(raises) {}
    std::unique_ptr<DirectoryStream> openDirectory(const char *) override {
      if (raises_)
        throw NSException("Test", "no listing");
      errno = EACCES;
      return nullptr;
    }

  private:
    bool raises_;
  };
  write("Foo.app", "/registry.table", "{}");
  for (const bool raises : {false, true}) {
    NoListings system(raises);
    const ScopedOperatingSystem scope(system);
    EXPECT_FALSE(parseAppWrapper(NSFileManager::classObject(), directory_.string(), "Foo.app"_ns,
                                 NSDefaultMallocZone()));
  }
}

TEST_F(Wrapper, ThatIsAPlainExecutableGoesToTheIconHeaderParser) {
  directory_.writeFile("Foo.app", "#!/bin/sh\n", 0755);
  EXPECT_THAT(parse("Foo.app"), IsEmpty()) << "an empty list, not nil: examined, nothing to say";
}

TEST_F(Wrapper, WithoutAnyMatchingEntryIsNil) {
  write("Foo.app", "/README.txt", "text");
  EXPECT_THAT(parse("Foo.app"), ElementsAre("(nil)"));
}

TEST_F(Wrapper, ExecutableIsParsedOnlyWhenItIsVisitedBeforeADescription) {
  const std::string fromHeader =
      "{type = extension; name = c; appName = Foo; path = \"@/Foo.app/Foo\"; }";
  const std::string fromRegistry =
      "{path = \"@/Foo.app/Foo\"; type = app; name = Foo; icon = NSApplicationIcon; }";
  writeExecutable("Foo.app/Foo");
  EXPECT_THAT(parse("Foo.app"), ElementsAre(fromHeader));
  write("Foo.app", "/registry.table", "{}");
  // Visited from the last to the first: here "registry.table" comes before "Foo", there after it.
  EXPECT_THAT(parse("Foo.app", Order::ascending), ElementsAre(fromRegistry));
  EXPECT_THAT(parse("Foo.app", Order::descending), ElementsAre(fromHeader, fromRegistry));
}

TEST_F(Wrapper, OnlyAnExecutableOfTheWrappersBaseNameIsParsed) {
  writeExecutable("Foo.app/Other");
  writeExecutable("Foo.app/Foo.sh");
  EXPECT_THAT(parse("Foo.app"), ElementsAre("(nil)"));
  writeExecutable("Plain/Plain");
  EXPECT_THAT(parse("Plain"), ElementsAre("(nil)"))
      << "a wrapper without a suffix has no base name";
}

TEST_F(Wrapper, ExecutableIsNotParsedAfterTheResourcesWereMet) {
  write("Foo.app", kInfo, "{ NSExecutable = Foo; }");
  writeExecutable("Foo.app/Foo");
  write("Foo.app", "/services", "");
  const std::string fromList = "{path = \"@/Foo.app/Foo\"; type = app; name = Foo; }";
  // Entries are visited from the last to the first.
  EXPECT_THAT(parse("Foo.app", Order::ascending),
              ElementsAre("{path = \"@/Foo.app/Foo\"; type = services; }", fromList));
  EXPECT_THAT(parse("Foo.app", Order::descending),
              ElementsAre("{type = extension; name = c; appName = Foo; path = \"@/Foo.app/Foo\"; }",
                          fromList));
}

TEST_F(Wrapper, ExecutableIsNotParsedAfterADescriptionThatHoldsNothingReadable) {
  writeExecutable("Foo.app/Foo");
  directory_.makeDirectory("Foo.app/Resources");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  writeExecutable("Bar.app/Bar");
  write("Bar.app", "/Info-quorvale.plist", "{ NSExecutable = Bar; }");
  EXPECT_THAT(parse("Bar.app"), IsEmpty());
  writeExecutable("Baz.app/Baz");
  write("Baz.app", "/registry.table", "malformed {");
  EXPECT_THAT(parse("Baz.app"), IsEmpty());
}

TEST_F(Wrapper, ExecutableNamedServicesIsTheExecutable) {
  writeExecutable("services.app/services");
  EXPECT_THAT(parse("services.app"), ElementsAre("{type = extension; name = c; appName = Foo; "
                                                 "path = \"@/services.app/services\"; }"));
}

TEST_F(Wrapper, ExecutableWithASuffixOfItsOwnIsNotParsed) {
  writeExecutable("Foo.x.app/Foo.x");
  EXPECT_THAT(parse("Foo.x.app"), ElementsAre("(nil)"));
}

TEST_F(Wrapper, NamesTravelUnchangedWhateverTheirBytes) {
  write("F\xff\xe9 .app", "/registry.table", "{ NSDocumentTypes = { \"\xfe\" = {}; }; }");
  EXPECT_THAT(parse("F\xff\xe9 .app"),
              ElementsAre("{path = \"@/F\xff\xe9 .app/F\xff\xe9 \"; type = extension; "
                          "name = \"\xfe\"; appName = \"F\xff\xe9 \"; }",
                          "{path = \"@/F\xff\xe9 .app/F\xff\xe9 \"; type = app; "
                          "name = \"F\xff\xe9 \"; icon = NSApplicationIcon; }"));
}

TEST_F(Wrapper, ExecutableOfADebugOrProfileWrapperIsParsedToo) {
  writeExecutable("Foo.debug/Foo");
  EXPECT_THAT(parse("Foo.debug"), ElementsAre("{type = extension; name = c; appName = Foo; "
                                              "path = \"@/Foo.debug/Foo\"; }"));
}

TEST_F(Wrapper, ServicesEntryCountsOnlyBeforeADescriptionIsMet) {
  write("Foo.app", "/registry.table", "{}");
  write("Foo.app", "/services", "");
  const std::string app = "{path = \"@/Foo.app/Foo\"; type = app; name = Foo; "
                          "icon = NSApplicationIcon; }";
  const std::string services = "{path = \"@/Foo.app/Foo\"; type = services; }";
  // Entries are visited from the last to the first.
  EXPECT_THAT(parse("Foo.app", Order::ascending), ElementsAre(services, app));
  EXPECT_THAT(parse("Foo.app", Order::descending), ElementsAre(app));
}

TEST_F(Wrapper, NamedTeskerHasItsResourcesParsedOnceMoreAsAWrapper) {
  write("FooTesker.app", "/Resources/registry.table", "{}");
  write("Foo.app", "/Resources/registry.table", "{}");
  EXPECT_THAT(parse("FooTesker.app"),
              ElementsAre("{path = \"@/FooTesker.app/FooTesker\"; type = app; name = FooTesker; "
                          "icon = NSApplicationIcon; }",
                          "{path = \"@/FooTesker.app/Resources\"; type = app; "
                          "icon = NSApplicationIcon; }"));
  EXPECT_EQ(parse("Foo.app").size(), 1U);
}

TEST_F(Wrapper, NamedTeskerHasOnlyItsResourcesParsedOnceMore) {
  write("FooTesker.app", "/Info-quorvale.plist/registry.table", "{}");
  EXPECT_THAT(parse("FooTesker.app"),
              ElementsAre("{path = \"@/FooTesker.app/FooTesker\"; type = app; name = FooTesker; "
                          "icon = NSApplicationIcon; }"));
}

TEST_F(Wrapper, NestedToolsAndBundlesComeLastInDescendingOrder) {
  write("Foo.app", "/Foo.tool/registry.table", "{}");
  write("Foo.app", "/Bar.bundle/registry.table", "{}");
  write("Foo.app", "/registry.table", "{}");
  for (const auto order : {Order::ascending, Order::descending})
    EXPECT_THAT(parse("Foo.app", order),
                ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; name = Foo; "
                            "icon = NSApplicationIcon; }",
                            "{path = \"@/Foo.app/Foo.tool/Foo\"; type = app; name = Foo; "
                            "icon = NSApplicationIcon; }",
                            "{path = \"@/Foo.app/Bar.bundle/Bar\"; type = app; name = Bar; "
                            "icon = NSApplicationIcon; }"));
}

TEST_F(Wrapper, ApplicationInsideAnApplicationIsNotNested) {
  write("Bar.app", "/Foo.app/registry.table", "{}");
  write("Bar.app", "/Foo.debug/registry.table", "{}");
  EXPECT_THAT(parse("Bar.app"), ElementsAre("(nil)"));
}

TEST_F(Wrapper, EntriesOfEveryNameAreVisited) {
  writeExecutable("Foo~.app/Foo~");
  EXPECT_THAT(
      parse("Foo~.app"),
      ElementsAre("{type = extension; name = c; appName = Foo; path = \"@/Foo~.app/Foo~\"; }"));
  write("Bar.app", "/.x.tool/registry.table", "{}");
  write("Bar.app", "/y~.bundle/registry.table", "{}");
  EXPECT_THAT(parse("Bar.app"),
              ElementsAre("{path = \"@/Bar.app/y~.bundle/y~\"; type = app; name = \"y~\"; "
                          "icon = NSApplicationIcon; }",
                          "{path = \"@/Bar.app/.x.tool/.x\"; type = app; name = .x; "
                          "icon = NSApplicationIcon; }"));
}

// A wrapper of the file browser's own with everything that is parsed in turn: an executable, a
// services entry, its resources as a wrapper, and a nested tool.
class WholeWrapper : public Wrapper {
protected:
  WholeWrapper() {
    writeExecutable("Tesker.app/Tesker");
    directory_.writeFile("Tesker.app/services", "");
    directory_.writeFile("Tesker.app/Resources/services", "");
    directory_.writeFile("Tesker.app/Sub.tool/services", "");
  }
  std::optional<Records> parseWhole(NSFileManager &manager, NSZone &zone) const {
    // Visited from the last to the first, so that "Resources" comes after what counts only before.
    OrderedListings listings(Order::ascending);
    const ScopedOperatingSystem scope(listings);
    return parseAppWrapper(manager, directory_.string(), "Tesker.app"_ns, zone);
  }
};

TEST_F(WholeWrapper, AsksTheFileManagerThatIsGivenForAttributes) {
  AskedFileManager manager;
  EXPECT_TRUE(parseWhole(manager, NSDefaultMallocZone()));
  EXPECT_THAT(manager.asked,
              ElementsAre(directory_.path() + " Tesker.app", at("Tesker.app") + " Tesker",
                          at("Tesker.app") + " Resources", at("Tesker.app") + " Sub.tool"));
}

TEST_F(WholeWrapper, MakesItsRecordsInTheGivenZone) {
  NSZone &zone = NSCreateZone(4096, 4096);
  {
    const auto records = parseWhole(NSFileManager::classObject(), zone);
    EXPECT_THAT(recordTexts(records, directory_.path()),
                ElementsAre("{path = \"@/Tesker.app/Tesker\"; type = services; }",
                            "{type = extension; name = c; appName = Foo; "
                            "path = \"@/Tesker.app/Tesker\"; }",
                            "{path = \"@/Tesker.app/Resources\"; type = services; }",
                            "{path = \"@/Tesker.app/Sub.tool/Sub\"; type = services; }"));
    for (const TKLine &record : *records)
      EXPECT_TRUE(livesIn(zone, record)) << textOf(record);
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST_F(Wrapper, NestingDeeperThanThePathLimitEnds) {
  std::string name = "Deep.app";
  directory_.makeDirectory(name);
  // A tool that links to its own wrapper is followed until the system refuses the path.
  directory_.makeLink("Deep.app/again.tool", "../Deep.app");
  write("Deep.app", "/registry.table", "{}");
  EXPECT_GT(parse("Deep.app").size(), 10U);
}

TEST(CatenateArrays, NilCountsAsEmptyAndTheResultIsNeverNil) {
  EXPECT_THAT(catenateArrays(std::nullopt, std::nullopt), IsEmpty());
  const Records one{recordOf({{"a", "1"}})};
  EXPECT_EQ(catenateArrays(std::nullopt, one), one);
  EXPECT_EQ(catenateArrays(one, std::nullopt), one);
}

TEST(CatenateArrays, KeepsTheFirstBeforeTheSecondAndChangesNeither) {
  const TKLine a = recordOf({{"a", "1"}}), b = recordOf({{"b", "2"}});
  const Records first{a};
  const Records second{b};
  EXPECT_THAT(catenateArrays(first, second), ElementsAre(a, b));
  EXPECT_THAT(first, ElementsAre(a));
  EXPECT_THAT(second, ElementsAre(b));
}

} // namespace
} // namespace tesker::test
