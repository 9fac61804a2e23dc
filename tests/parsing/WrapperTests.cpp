#include "parsing/AppParsing.h"

#include "examples/MachOWriter.h"
#include "platform/foundation/NSException.h"
#include "tests/parsing/RecordTexts.h"
#include "tests/support/LogCapture.h"
#include "tests/support/OrderedListings.h"
#include "tests/support/TemporaryDirectory.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace tesker {
namespace {

using test::OrderedListings;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr std::string_view kInfo = "/Resources/Info-quorvale.plist";

class Wrapper : public testing::Test {
protected:
  // The processor that the tests run on, whatever the machine's.
  void SetUp() override { ::setenv("TESKER_HOST_CPU", "i386", 1); }

  std::vector<std::string> parse(std::string_view file,
                                 OrderedListings::Order order = OrderedListings::Order::Ascending) {
    OrderedListings listings(order);
    const ScopedOperatingSystem scope(listings);
    const auto records = parseAppWrapper(NSFileManager::classObject(), *directory_.string(),
                                         &*NSString::create(file), NSDefaultMallocZone());
    return test::recordTexts(records.get(), directory_.path());
  }

  void write(std::string_view wrapper, std::string_view rest, std::string_view text) {
    directory_.writeFile(std::string(wrapper) + std::string(rest), text);
  }

  std::string at(std::string_view name) const { return directory_.path(name); }

  test::TemporaryDirectory directory_;
  test::LogCapture log_;
};

TEST_F(Wrapper, WithoutAFileNameIsNil) {
  EXPECT_FALSE(parseAppWrapper(NSFileManager::classObject(), *directory_.string(), nullptr,
                               NSDefaultMallocZone()));
}

TEST_F(Wrapper, MissingOrNotSearchableIsNil) {
  EXPECT_THAT(parse("Missing.app"), ElementsAre("(nil)"));
  write("Shut.app", kInfo, "{}");
  directory_.makeDirectory("Shut.app", 0644);
  EXPECT_THAT(parse("Shut.app"), ElementsAre("(nil)"));
}

class RaisingFileManager final : public NSFileManager {
public:
  RefPtr<NSFileAttributes> _privateStatDir(const NSString &, const NSString *) override {
    throw NSException("Test", "no attributes");
  }
};

TEST_F(Wrapper, WhoseAttributesRaiseIsNil) {
  RaisingFileManager raising;
  EXPECT_FALSE(parseAppWrapper(raising, *directory_.string(), &*NSString::create("Foo.app"),
                               NSDefaultMallocZone()));
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
    EXPECT_FALSE(parseAppWrapper(NSFileManager::classObject(), *directory_.string(),
                                 &*NSString::create("Foo.app"), NSDefaultMallocZone()));
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

TEST_F(Wrapper, NewStyleListGivesExtensionsApplicationAndServices) {
  write("Edit.app", kInfo,
        "{ NSExecutable = Edit; NSIcon = edit; NSServices = ();"
        "  NSTypes = ({ NSExtensions = (txt, (x), text); NSIcon = txticon; },"
        "             { NSExtensions = (c); NSIcon = (no); }); }");
  EXPECT_THAT(
      parse("Edit.app"),
      ElementsAre("{path = \"@/Edit.app/Edit\"; type = extension; name = txt; appName = Edit; "
                  "icon = txticon; priority = NSPrimary; }",
                  "{path = \"@/Edit.app/Edit\"; type = extension; name = text; appName = Edit; "
                  "icon = txticon; priority = NSPrimary; }",
                  "{path = \"@/Edit.app/Edit\"; type = extension; name = c; appName = Edit; "
                  "priority = NSPrimary; }",
                  "{path = \"@/Edit.app/Edit\"; type = app; name = Edit; icon = edit; }",
                  "{path = \"@/Edit.app/Edit\"; type = services; }"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(Wrapper, FirstTypeWithoutExtensionsHidesAllLaterTypes) {
  write("Foo.app", kInfo, "{ NSTypes = ({ NSIcon = a; }, { NSExtensions = (txt); }); }");
  EXPECT_THAT(parse("Foo.app"), ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; }"));
}

TEST_F(Wrapper, TypeThatIsNoDictionaryEndsTheTypes) {
  write("Foo.app", kInfo,
        "{ NSTypes = ({ NSExtensions = (a); }, word, { NSExtensions = (b); }); }");
  EXPECT_THAT(parse("Foo.app"),
              ElementsAre("{path = \"@/Foo.app/Foo\"; type = extension; name = a; appName = Foo; "
                          "priority = NSPrimary; }",
                          "{path = \"@/Foo.app/Foo\"; type = app; }"));
}

TEST_F(Wrapper, ExtensionsDictionaryServesWhereThereAreNoTypes) {
  write("Foo.app", kInfo,
        "{ NSExtensions = { b = { NSIcon = bi; }; a = x; c = { NSIcon = (); }; }; }");
  EXPECT_THAT(parse("Foo.app"),
              ElementsAre("{path = \"@/Foo.app/Foo\"; type = extension; name = b; appName = Foo; "
                          "icon = bi; priority = NSPrimary; }",
                          "{path = \"@/Foo.app/Foo\"; type = extension; name = a; appName = Foo; "
                          "priority = NSPrimary; }",
                          "{path = \"@/Foo.app/Foo\"; type = extension; name = c; appName = Foo; "
                          "priority = NSPrimary; }",
                          "{path = \"@/Foo.app/Foo\"; type = app; }"));
}

TEST_F(Wrapper, TypesArrayWinsOverExtensionsDictionary) {
  write("Foo.app", kInfo, "{ NSTypes = (); NSExtensions = { a = b; }; }");
  EXPECT_THAT(parse("Foo.app"), ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; }"));
}

TEST_F(Wrapper, ServicesThatAreNoArrayGiveNoServicesRecord) {
  write("Foo.app", kInfo, "{ NSServices = yes; }");
  EXPECT_THAT(parse("Foo.app"), ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; }"));
}

TEST_F(Wrapper, NewStyleNameAndIconOfTheApplicationAreTakenWhateverTheirKind) {
  write("Foo.app", kInfo, "{ NSExecutable = (a, b); NSIcon = { c = d; }; }");
  EXPECT_THAT(parse("Foo.app"), ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; "
                                            "name = (a, b); icon = {c = d; }; }"));
}

TEST_F(Wrapper, MalformedNewStyleListIsLoggedAndGivesNoRecords) {
  write("Foo.app", kInfo, "{ NSTypes = ");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: error parsing " +
                                          at("Foo.app/Resources/Info-quorvale.plist")));
}

TEST_F(Wrapper, NewStyleListThatIsNoDictionaryGivesNoRecordsWithoutAMessage) {
  write("Foo.app", kInfo, "(a, b)");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(Wrapper, ResourcesWithoutAListGiveNoRecordsWithoutAMessage) {
  directory_.makeDirectory("Foo.app/Resources");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(Wrapper, ExecutablePathServesAsBundleWhereTheListCannotBeRead) {
  directory_.makeDirectory("Foo.app/Resources");
  write("Foo.app", "/Foo/Resources/Info-quorvale.plist", "{ NSExecutable = Inner; }");
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Ascending),
              ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; name = Inner; }"));
}

TEST_F(Wrapper, MalformedListOfTheExecutablePathAsBundleIsLogged) {
  directory_.makeDirectory("Foo.app/Resources");
  write("Foo.app", "/Foo/Resources/Info-quorvale.plist", "{");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: error parsing " +
                                          at("Foo.app/Resources/Info-quorvale.plist")));
}

TEST_F(Wrapper, InfoListDirectlyInTheWrapperIsLookedForOneLevelTooDeep) {
  write("Foo.app", "/Info-quorvale.plist", "{ NSExecutable = Foo; }");
  EXPECT_THAT(parse("Foo.app"), IsEmpty()) << "an empty list, not nil: the rule did append";
  write("Bar.app", "/Info-quorvale.plist/Info-quorvale.plist", "{ NSExecutable = Bar; }");
  EXPECT_THAT(parse("Bar.app"),
              ElementsAre("{path = \"@/Bar.app/Bar\"; type = app; name = Bar; }"));
}

TEST_F(Wrapper, RegistryBesideTheListInResourcesIsReadAfterIt) {
  write("Foo.app", kInfo, "{ NSExecutable = Foo; }");
  write("Foo.app", "/Resources/registry.table", "{ NSDocumentTypes = { txt = {}; }; }");
  EXPECT_THAT(
      parse("Foo.app"),
      ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; name = Foo; }",
                  "{path = \"@/Foo.app/Foo\"; type = extension; name = txt; appName = Foo; }",
                  "{path = \"@/Foo.app/Foo\"; type = app; name = Foo; "
                  "icon = NSApplicationIcon; }"));
}

TEST_F(Wrapper, RegistryGivesTypesInspectorsAndApplicationWithTheFixedIcon) {
  write("Draw.app", "/registry.table",
        "{ NSDocumentTypes = { eps = { NSImageName = epsicon; }; ps = { NSImageName = (a); };"
        "                      x = word; };"
        "  NSNodeInspectors = ({ a = 1; }, word, { path = other; type = Panel; z = (q); });"
        "  NSIcon = ignored; }");
  EXPECT_THAT(
      parse("Draw.app"),
      ElementsAre("{path = \"@/Draw.app/Draw\"; type = extension; name = eps; appName = Draw; "
                  "icon = epsicon; }",
                  "{path = \"@/Draw.app/Draw\"; type = extension; name = ps; appName = Draw; }",
                  "{path = \"@/Draw.app/Draw\"; type = extension; name = x; appName = Draw; }",
                  "{path = other; type = Panel; z = (q); }",
                  "{path = \"@/Draw.app/Draw\"; type = InspectorCommand; a = 1; }",
                  "{path = \"@/Draw.app/Draw\"; type = app; name = Draw; "
                  "icon = NSApplicationIcon; }"));
}

TEST_F(Wrapper, DescriptionOfMoreThan16MebibytesCannotBeRead) {
  const std::string limit = "{}" + std::string((std::size_t{16} << 20) - 2, ' ');
  write("Foo.app", kInfo, limit);
  write("Foo.app", "/registry.table", limit);
  EXPECT_EQ(parse("Foo.app").size(), 2U);
  EXPECT_THAT(log_.syslogged, IsEmpty());
  write("Foo.app", kInfo, limit + " ");
  write("Foo.app", "/registry.table", limit + " ");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: cannot read file " +
                                          at("Foo.app/registry.table")));
}

TEST_F(Wrapper, RegistryThatCannotBeReadIsLogged) {
  directory_.makeDirectory("Foo.app/registry.table");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: cannot read file " +
                                          at("Foo.app/registry.table")));
}

TEST_F(Wrapper, MalformedRegistryIsLogged) {
  write("Foo.app", "/registry.table", "{ a = b }");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: error parsing " +
                                          at("Foo.app/registry.table")));
}

TEST_F(Wrapper, RegistryThatIsNoDictionaryGivesNoRecordsWithoutAMessage) {
  write("Foo.app", "/registry.table", "word");
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(Wrapper, ExecutableIsParsedOnlyWhenItIsVisitedBeforeADescription) {
  const std::string image = examples::MachOWriter(examples::kI386)
                                .addSection("__ICON", "__header", "S\tc\tFoo\n")
                                .bytes();
  const std::string fromHeader =
      "{type = extension; name = c; appName = Foo; path = \"@/Foo.app/Foo\"; }";
  const std::string fromRegistry =
      "{path = \"@/Foo.app/Foo\"; type = app; name = Foo; icon = NSApplicationIcon; }";
  directory_.writeFile("Foo.app/Foo", image, 0755);
  EXPECT_THAT(parse("Foo.app"), ElementsAre(fromHeader));
  write("Foo.app", "/registry.table", "{}");
  // Visited from the last to the first: here "registry.table" comes before "Foo", there after it.
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Ascending), ElementsAre(fromRegistry));
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Descending),
              ElementsAre(fromHeader, fromRegistry));
}

TEST_F(Wrapper, OnlyAnExecutableOfTheWrappersBaseNameIsParsed) {
  const std::string image = examples::MachOWriter(examples::kI386)
                                .addSection("__ICON", "__header", "S\tc\tFoo\n")
                                .bytes();
  directory_.writeFile("Foo.app/Other", image, 0755);
  directory_.writeFile("Foo.app/Foo.sh", image, 0755);
  EXPECT_THAT(parse("Foo.app"), ElementsAre("(nil)"));
  directory_.writeFile("Plain/Plain", image, 0755);
  EXPECT_THAT(parse("Plain"), ElementsAre("(nil)"))
      << "a wrapper without a suffix has no base name";
}

TEST_F(Wrapper, ExecutableIsNotParsedAfterTheResourcesWereMet) {
  write("Foo.app", kInfo, "{ NSExecutable = Foo; }");
  directory_.writeFile("Foo.app/Foo",
                       examples::MachOWriter(examples::kI386)
                           .addSection("__ICON", "__header", "S\tc\tFoo\n")
                           .bytes(),
                       0755);
  write("Foo.app", "/services", "");
  const std::string fromList = "{path = \"@/Foo.app/Foo\"; type = app; name = Foo; }";
  // Entries are visited from the last to the first.
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Ascending),
              ElementsAre("{path = \"@/Foo.app/Foo\"; type = services; }", fromList));
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Descending),
              ElementsAre("{type = extension; name = c; appName = Foo; path = \"@/Foo.app/Foo\"; }",
                          fromList));
}

TEST_F(Wrapper, ExecutableWithASuffixOfItsOwnIsNotParsed) {
  directory_.writeFile("Foo.x.app/Foo.x",
                       examples::MachOWriter(examples::kI386)
                           .addSection("__ICON", "__header", "S\tc\tFoo\n")
                           .bytes(),
                       0755);
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
  const std::string image = examples::MachOWriter(examples::kI386)
                                .addSection("__ICON", "__header", "S\tc\tFoo\n")
                                .bytes();
  directory_.writeFile("Foo.debug/Foo", image, 0755);
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
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Ascending), ElementsAre(services, app));
  EXPECT_THAT(parse("Foo.app", OrderedListings::Order::Descending), ElementsAre(app));
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
  for (const auto order : {OrderedListings::Order::Ascending, OrderedListings::Order::Descending})
    EXPECT_THAT(parse("Foo.app", order),
                ElementsAre("{path = \"@/Foo.app/Foo\"; type = app; name = Foo; "
                            "icon = NSApplicationIcon; }",
                            "{path = \"@/Foo.app/Foo.tool/Foo\"; type = app; name = Foo; "
                            "icon = NSApplicationIcon; }",
                            "{path = \"@/Foo.app/Bar.bundle/Bar\"; type = app; name = Bar; "
                            "icon = NSApplicationIcon; }"));
}

TEST_F(Wrapper, RecordsBeyondThe100000thAreLeftOutExceptTheApplication) {
  std::string inspectors = "{}", names = "n0";
  for (int i = 1; i <= 100'000; ++i) {
    inspectors += ",{}";
    names += ",n" + std::to_string(i);
  }
  const std::string leftOut = "*** Applications Finder: too many records for " + at("Foo.app/Foo");
  const std::vector<std::pair<std::string, std::string>> descriptions{
      {"/registry.table", "{ NSNodeInspectors = (" + inspectors + "); }"},
      {std::string(kInfo), "{ NSTypes = ({ NSExtensions = (" + names + "); }); }"}};
  for (const auto &[file, text] : descriptions) {
    log_.syslogged.clear();
    write("Foo.app", file, text);
    const auto records = parse("Foo.app");
    ASSERT_EQ(records.size(), 100'001u);
    EXPECT_THAT(records.back(), testing::HasSubstr("type = app;"));
    EXPECT_THAT(log_.syslogged, ElementsAre(leftOut));
    std::filesystem::remove(at("Foo.app" + file));
  }
}

TEST_F(Wrapper, DescriptionsThatAreFifosDoNotHang) {
  directory_.makeDirectory("Foo.app/Resources");
  ASSERT_EQ(::mkfifo(at("Foo.app/registry.table").c_str(), 0644), 0);
  ASSERT_EQ(::mkfifo(at("Foo.app/Resources/Info-quorvale.plist").c_str(), 0644), 0);
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: cannot read file " +
                                          at("Foo.app/registry.table")));
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
  EXPECT_EQ(catenateArrays(nullptr, nullptr)->count(), 0U);
  auto one = NSMutableArray::create();
  one->addObject(NSString::create("a"));
  EXPECT_TRUE(catenateArrays(nullptr, &*one)->isEqual(&*one));
  EXPECT_TRUE(catenateArrays(one, nullptr)->isEqual(&*one));
}

TEST(CatenateArrays, KeepsTheFirstBeforeTheSecondAndChangesNeither) {
  auto first = NSMutableArray::create();
  first->addObject(NSString::create("a"));
  auto second = NSMutableArray::create();
  second->addObject(NSString::create("b"));
  EXPECT_TRUE(isEqual(&*catenateArrays(first, &*second)->description(), "(a, b)"));
  EXPECT_EQ(first->count(), 1U);
  EXPECT_EQ(second->count(), 1U);
}

} // namespace
} // namespace tesker
