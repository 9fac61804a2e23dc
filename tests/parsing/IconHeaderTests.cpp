// Which executables are read, and what makes records besides the lines of their headers.
#include "tests/parsing/IconHeaderTest.h"
#include "tests/support/CountingOperatingSystem.h"
#include "tests/support/FileManagers.h"
#include "tests/support/SpecialFiles.h"
#include "tests/support/Texts.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::string_literals;

TEST_F(IconHeader, ServicesSectionComesFirstAndRequestSectionServesWithoutIt) {
  const std::string header = kEditLine;
  const std::string services = "{path = \"@/Foo\"; type = services; }";
  for (const char *section : {"__services", "__request"}) {
    directory_.writeFile("Foo",
                         MachOBuilder(kI386)
                             .section("__ICON", "__header", header)
                             .section("__ICON", section, "")
                             .bytes(),
                         0755);
    EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(services, kEditRecord)) << section;
  }
  directory_.writeFile("Foo",
                       MachOBuilder(kI386)
                           .section("__ICON", "__services", "x")
                           .section("__ICON", "__request", "y")
                           .bytes(),
                       0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(services)) << "one record for both";
}

TEST_F(IconHeader, ExecutableWithoutSectionsIsAnEmptyListNotNil) {
  directory_.writeFile("Foo.bundle/Foo", MachOBuilder(kI386).bytes(), 0755);
  EXPECT_THAT(parse(directory_.path("Foo.bundle"), "Foo"), IsEmpty())
      << "and no bundle record either";
}

TEST_F(IconHeader, ExecutableInABundleAddsTheBundleRecordLast) {
  directory_.writeFile("Foo.bundle/Bar", headerImage("S\tc\tEdit\n"), 0755);
  EXPECT_THAT(parse(directory_.path("Foo.bundle"), "Bar"),
              ElementsAre("{type = extension; name = c; appName = Edit; "
                          "path = \"@/Foo.bundle/Bar\"; }",
                          "{path = \"@/Foo.bundle/Bar\"; type = bundle; name = Bar; }"));
}

TEST_F(IconHeader, SectionsOfAnotherSegmentDoNotCount) {
  directory_.writeFile(
      "Foo", MachOBuilder(kI386).section("__TEXT", "__header", "F\ta\tb\tc\n").bytes(), 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), IsEmpty());
}

TEST_F(IconHeader, ExecutableForAnotherProcessorIsMarkedUnsuitable) {
  directory_.writeFile(
      "Foo", headerImage("F\tEdit\tEditor\tedit\nS\tc\tEdit\n{ a = b; }\n", kSparc), 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"),
              ElementsAre("{type = app; name = Edit; appName = Editor; icon = edit; "
                          "path = \"@/Foo\"; suitable = no; }",
                          "{type = extension; name = c; appName = Edit; path = \"@/Foo\"; "
                          "suitable = no; }",
                          "{a = b; path = \"@/Foo\"; suitable = no; }"));
}

TEST_F(IconHeader, ServicesAndBundleRecordsOfAnUnsuitableProgramAreNotMarked) {
  directory_.writeFile("Foo.bundle/Foo",
                       iconImage(kSparc, "{}").section("__ICON", "__services", "").bytes(), 0755);
  EXPECT_THAT(parse(directory_.path("Foo.bundle"), "Foo"),
              ElementsAre("{path = \"@/Foo.bundle/Foo\"; type = services; }",
                          "{path = \"@/Foo.bundle/Foo\"; suitable = no; }",
                          "{path = \"@/Foo.bundle/Foo\"; type = bundle; name = Foo; }"));
}

TEST_F(IconHeader, MarkOfAnUnsuitableProgramWinsOverItsBraceLines) {
  directory_.writeFile("Foo", headerImage("{ suitable = yes; a = b; }", kSparc), 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"),
              ElementsAre("{suitable = no; a = b; path = \"@/Foo\"; }"));
  EXPECT_THAT(parseHeader("{ suitable = maybe; }"),
              ElementsAre("{suitable = maybe; path = \"@/Foo\"; }"))
      << "of a suitable one it is like any other key";
}

TEST_F(IconHeader, FatFileIsReadFromTheArchitectureThatSuits) {
  const std::string fat =
      fatFile({{kM68k, headerImage("F\tm\tm\tm\n", kM68k)}, {kI386, headerImage(kEditLine)}});
  directory_.writeFile("Foo", fat, 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(kEditRecord));
}

TEST_F(IconHeader, FatFileForOtherProcessorsIsStillReported) {
  const std::string fat = fatFile(
      {{kM68k, headerImage("F\tm\tm\tm\n", kM68k)}, {kSparc, headerImage("F\ts\ts\ts\n", kSparc)}});
  directory_.writeFile("Foo", fat, 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"),
              ElementsAre("{type = app; name = m; appName = m; icon = m; path = \"@/Foo\"; "
                          "suitable = no; }"));
}

TEST_F(IconHeader, WhatIsNoExecutableFileIsNilWithoutAMessage) {
  const std::string image = headerImage("F\ta\tb\tc\n");
  directory_.writeFile("plain", image, 0644);
  directory_.makeDirectory("directory");
  EXPECT_THAT(parse(directory_.path(), "plain"), ElementsAre("(nil)"));
  EXPECT_THAT(parse(directory_.path(), "directory"), ElementsAre("(nil)"));
  EXPECT_THAT(parse(directory_.path(), "missing"), ElementsAre("(nil)"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, WhoseAttributesRaiseIsNil) {
  directory_.writeFile("Foo", headerImage("F\ta\tb\tc\n"), 0755);
  RaisingFileManager raising;
  EXPECT_THAT(parse(directory_.path(), "Foo", raising), ElementsAre("(nil)"));
}

TEST_F(IconHeader, AttributesComeFromTheFileManagerThatIsGiven) {
  AskedFileManager manager;
  directory_.writeFile("Foo", headerImage(kEditLine), 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo", manager), ElementsAre(kEditRecord));
  EXPECT_THAT(manager.asked, ElementsAre(directory_.path() + " Foo"));
}

TEST_F(IconHeader, RecordsOfEveryKindAreMadeInTheGivenZone) {
  NSZone &zone = NSCreateZone(4096, 4096);
  directory_.writeFile("a.bundle/Foo",
                       iconImage(kI386, "F\tEdit\tEditor\tedit\nS\tc\tEdit\ticon\n{ a = b; }")
                           .section("__ICON", "__services", "")
                           .bytes(),
                       0755);
  {
    const auto records =
        parseApp(NSFileManager::classObject(), directory_.string("a.bundle"), "Foo"_ns, zone);
    ASSERT_TRUE(records);
    EXPECT_THAT(*records, SizeIs(5));
    for (const TKLine &record : *records)
      EXPECT_TRUE(livesIn(zone, record)) << textOf(record);
    for (const char *key : {"name", "appName", "icon", "path"})
      EXPECT_EQ(&records->at(1).objectForKey(key)->zone(), &zone) << key;
    for (const char *key : {"name", "appName", "icon", "path"})
      EXPECT_EQ(&records->at(2).objectForKey(key)->zone(), &zone) << key;
  }
  EXPECT_EQ(zone.bytesInUse(), 0U);
}

TEST_F(IconHeader, LinkToAnExecutableIsReadUnderTheLinksName) {
  directory_.writeFile("bin/Real", headerImage(kEditLine), 0755);
  directory_.makeLink("Foo", "bin/Real");
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(kEditRecord));
}

TEST_F(IconHeader, ScriptsAndEmptyAndShortFilesHaveNothingToSay) {
  for (const std::string &bytes : {"#!/bin/sh\nexit 0\n"s, ""s, "\xfe\xed\xfa"s, "1234567"s}) {
    directory_.writeFile("Foo", bytes, 0755);
    EXPECT_THAT(parse(directory_.path(), "Foo"), IsEmpty());
  }
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, FatFileAnnouncingMoreThanItHoldsIsNil) {
  directory_.writeFile("Foo", "\xca\xfe\xba\xbe\x7f\xff\xff\xff"s, 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre("(nil)"));
}

TEST_F(IconHeader, ExecutableFifoSocketAndDeviceAreNilAndDoNotHang) {
  makeFifo(directory_.path("fifo"));
  makeSocket(directory_.path("socket"));
  for (const char *name : {"fifo", "socket"}) {
    ASSERT_EQ(::chmod(directory_.path(name).c_str(), 0755), 0);
    EXPECT_THAT(parse(directory_.path(), name), ElementsAre("(nil)")) << name;
  }

  class ExecutableFileManager final : public NSFileManager {
  public:
    std::optional<NSFileAttributes> _privateStatDir(const NSString &, const NSString &) override {
      struct stat status {};
      status.st_mode = S_IFCHR | 0755;
      return NSFileAttributes(status);
    }
  } everythingIsExecutable;
  EXPECT_THAT(parse("/dev", "null", everythingIsExecutable), ElementsAre("(nil)"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, SparseFileOf10GigabytesCostsLittle) {
  std::string image = headerImage(kEditLine);
  directory_.writeFile("Foo", image, 0755);
  ASSERT_EQ(::truncate(directory_.path("Foo").c_str(), off_t{10} << 30), 0);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(kEditRecord));
}

// Reads end ever earlier, as in a file that is truncated while it is being read.
class ShrinkingFiles final : public OperatingSystem {
public:
  explicit ShrinkingFiles(std::size_t left) : left_(left) {}
  ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
    if (static_cast<std::size_t>(offset) >= left_)
      return 0;
    return OperatingSystem::readAt(
        descriptor, buffer, std::min(size, left_ - static_cast<std::size_t>(offset)), offset);
  }

private:
  std::size_t left_;
};

TEST_F(IconHeader, FileThatShrinksWhileItIsReadIsDamagedNotFatal) {
  const std::string image = headerImage("F\tEdit\tEditor\tedit\n{ a = b; }\n");
  directory_.writeFile("Foo", image, 0755);
  for (std::size_t left = 0; left <= image.size(); ++left) {
    ShrinkingFiles shrinking(left);
    const ScopedOperatingSystem scope(shrinking);
    (void)parse(directory_.path(), "Foo");
  }
  EXPECT_EQ(parse(directory_.path(), "Foo").size(), 2U);
}

TEST_F(IconHeader, ExecutableIsOpenedOnce) {
  const std::string path =
      directory_.writeFile("Foo", "#!/bin/sh\n" + std::string(100000, '#'), 0755);
  CountingOperatingSystem system;
  const ScopedOperatingSystem scope(system);
  EXPECT_THAT(parse(directory_.path(), "Foo"), IsEmpty());
  EXPECT_THAT(system.log, ElementsAre("statAt " + path + " follow", "open " + path,
                                      "statDescriptor " + path, "readAt " + path, "close " + path))
      << "what is not a Mach-O or fat file is dismissed by its first bytes";
}

} // namespace
} // namespace tesker::test
