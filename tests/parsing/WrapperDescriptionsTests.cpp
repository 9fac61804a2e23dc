// What the two description files of a wrapper say.
#include "tests/parsing/WrapperTest.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/Texts.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

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

TEST_F(Wrapper, TypesOfAnotherKindThanAnArrayLeaveTheExtensionsDictionary) {
  for (const char *types : {"{ NSExtensions = (b); }", "word", "<0f>"}) {
    write("Foo.app", kInfo, "{ NSTypes = "s + types + "; NSExtensions = { a = x; }; }");
    EXPECT_THAT(parse("Foo.app"),
                ElementsAre("{path = \"@/Foo.app/Foo\"; type = extension; name = a; "
                            "appName = Foo; priority = NSPrimary; }",
                            "{path = \"@/Foo.app/Foo\"; type = app; }"));
  }
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
  EXPECT_THAT(parse("Foo.app"),
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
    const auto records = parseAppWrapper(NSFileManager::classObject(), directory_.string(),
                                         "Foo.app"_ns, NSDefaultMallocZone());
    ASSERT_EQ(records.value().size(), 100'001u);
    EXPECT_EQ(stringFor(records->back(), "type"), "app"_ns);
    EXPECT_THAT(log_.syslogged, ElementsAre(leftOut));
    std::filesystem::remove(at("Foo.app" + file));
  }
}

TEST_F(Wrapper, AllDescriptionsOfAWrapperShareOneBoundThatIsLoggedOnce) {
  std::string inspectors = "{}", names = "n0";
  for (int i = 1; i < 60'000; ++i) {
    inspectors += ",{}";
    names += ",n" + std::to_string(i);
  }
  write("Foo.app", "/registry.table", "{ NSNodeInspectors = (" + inspectors + "); }");
  write("Foo.app", kInfo, "{ NSTypes = ({ NSExtensions = (" + names + "); }); }");
  write("Foo.app", "/Resources/registry.table", "{ NSNodeInspectors = (" + inspectors + "); }");
  const auto records = parseAppWrapper(NSFileManager::classObject(), directory_.string(),
                                       "Foo.app"_ns, NSDefaultMallocZone());
  EXPECT_EQ(records.value().size(), 100'000u + 3u) << "each description has its application";
  EXPECT_THAT(log_.syslogged,
              ElementsAre("*** Applications Finder: too many records for " + at("Foo.app/Foo")));
}

TEST_F(Wrapper, DescriptionsThatAreFifosDoNotHang) {
  directory_.makeDirectory("Foo.app/Resources");
  makeFifo(at("Foo.app/registry.table"));
  makeFifo(at("Foo.app/Resources/Info-quorvale.plist"));
  EXPECT_THAT(parse("Foo.app"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre("*** Applications Finder: cannot read file " +
                                          at("Foo.app/registry.table")));
}

} // namespace
} // namespace tesker::test
