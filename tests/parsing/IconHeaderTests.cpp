#include "parsing/AppParsing.h"

#include "examples/MachOWriter.h"
#include "parsing/ArchitectureCheck.h"
#include "platform/foundation/NSException.h"
#include "tests/parsing/RecordTexts.h"
#include "tests/support/LogCapture.h"
#include "tests/support/MachOBuilder.h"
#include "tests/support/TemporaryDirectory.h"

#include <cstdlib>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

namespace tesker {
namespace {

using examples::fatFile;
using examples::MachOWriter;
using testing::ElementsAre;
using testing::IsEmpty;
using namespace std::string_literals;

std::string imageWith(std::string_view section, std::string_view text,
                      examples::Processor processor = examples::kI386) {
  return MachOWriter(processor).addSection("__ICON", section, text).bytes();
}

class IconHeader : public testing::Test {
protected:
  // The processor that the tests run on, whatever the machine's.
  void SetUp() override { ::setenv("TESKER_HOST_CPU", "i386", 1); }

  std::vector<std::string> parse(std::string_view dir, std::string_view file,
                                 NSFileManager &manager = NSFileManager::classObject()) {
    const auto records =
        parseApp(manager, *NSString::create(dir), &*NSString::create(file), NSDefaultMallocZone());
    return test::recordTexts(records.get(), directory_.path());
  }

  // The records of an executable "Foo" with this header.
  std::vector<std::string> parseHeader(std::string_view text) {
    directory_.writeFile("Foo", imageWith("__header", text), 0755);
    return parse(directory_.path(), "Foo");
  }

  std::string badLine() const {
    return "*** Applications Finder: incorrect icon header format for " + directory_.path("Foo");
  }
  std::string badCommand() const {
    return "*** Applications Finder: incorrect command format for " + directory_.path("Foo");
  }

  test::TemporaryDirectory directory_;
  test::LogCapture log_;
};

constexpr const char *kEditRecord =
    "{type = app; name = Edit; appName = Editor; icon = edit; path = \"@/Foo\"; }";

TEST_F(IconHeader, ApplicationLineWithFourWordsIsOneAppRecord) {
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\tedit\n"), ElementsAre(kEditRecord));
  EXPECT_THAT(parseHeader("f\tEdit\tEditor\tedit\n"), ElementsAre(kEditRecord));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, ApplicationLineWithTwoThreeOrFiveWordsIsOnlyTheMessage) {
  EXPECT_THAT(parseHeader("F\tEdit\n"), IsEmpty());
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\n"), IsEmpty());
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\tedit\tmore\n"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre(badLine(), badLine(), badLine()));
}

TEST_F(IconHeader, ExtensionLineTakesThreeOrFourWords) {
  EXPECT_THAT(parseHeader("S\tc\tEdit\nS\th\tEdit\thfile\ns\tm\tEdit\n"),
              ElementsAre("{type = extension; name = c; appName = Edit; path = \"@/Foo\"; }",
                          "{type = extension; name = h; appName = Edit; icon = hfile; "
                          "path = \"@/Foo\"; }",
                          "{type = extension; name = m; appName = Edit; path = \"@/Foo\"; }"));
}

TEST_F(IconHeader, ExtensionLineWithTwoOrFiveWordsIsOnlyTheMessage) {
  EXPECT_THAT(parseHeader("S\tc\nS\tc\tEdit\ticon\tmore\n"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre(badLine(), badLine()));
}

TEST_F(IconHeader, IconsOfTheFileBrowsersOwnTypesAreIgnored) {
  for (const char *extension : {"font", "objlink", "service", "tif", "tiff", "eps", "snd", "bundle",
                                "clr", "chunk", "encrypted", "tar", "compressed", "Z", "addresses"})
    EXPECT_THAT(parseHeader("S\t"s + extension + "\tEdit\ticon\n"),
                ElementsAre("{type = extension; name = "s + extension +
                            "; appName = Edit; path = \"@/Foo\"; }"));
  EXPECT_THAT(parseHeader("S\tTIFF\tEdit\ticon\n"),
              ElementsAre("{type = extension; name = TIFF; appName = Edit; icon = icon; "
                          "path = \"@/Foo\"; }"))
      << "the list is matched exactly";
}

TEST_F(IconHeader, AllIconsAreTakenBelowATeskerDirectory) {
  directory_.writeFile("a/Tesker.app/Foo", imageWith("__header", "S\ttiff\tEdit\ttiffdoc\n"), 0755);
  EXPECT_THAT(parse(directory_.path("a/Tesker.app"), "Foo"),
              ElementsAre("{type = extension; name = tiff; appName = Edit; icon = tiffdoc; "
                          "path = \"@/a/Tesker.app/Foo\"; }"));
}

TEST_F(IconHeader, OtherNamesLikeATeskerDirectorysKeepNoIgnoredIcon) {
  for (const char *dir : {"a/MyTesker.app", "a/Tesker", "a/Teskerapp", "plain"})
    for (const char *file : {"Foo", "Tesker.bin"}) {
      const std::string path = dir + "/"s + file;
      directory_.writeFile(path, imageWith("__header", "S\ttiff\tEdit\ttiffdoc\n"), 0755);
      EXPECT_THAT(parse(directory_.path(dir), file),
                  ElementsAre("{type = extension; name = tiff; appName = Edit; path = \"@/" + path +
                              "\"; }"));
    }
}

TEST_F(IconHeader, SeveralTabsSeparateLikeOne) {
  EXPECT_THAT(parseHeader("F\t\tEdit\t\t\tEditor\t\tedit\n"), ElementsAre(kEditRecord));
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\tedit\t\t\n"), ElementsAre(kEditRecord))
      << "tabs before the line feed add no word";
}

TEST_F(IconHeader, SpacesBelongToTheWords) {
  EXPECT_THAT(parseHeader("F\t Edit \tThe Editor\ted it\n"),
              ElementsAre("{type = app; name = \" Edit \"; appName = \"The Editor\"; "
                          "icon = \"ed it\"; path = \"@/Foo\"; }"));
}

TEST_F(IconHeader, BlankLinesAreIgnoredWithoutAMessage) {
  EXPECT_THAT(parseHeader("\n\nF\tEdit\tEditor\tedit\n\n\n"), ElementsAre(kEditRecord));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, LineHoldingOnlyATabIsMalformed) {
  EXPECT_THAT(parseHeader("\t\nF\tEdit\tEditor\tedit\n"), ElementsAre(kEditRecord));
  EXPECT_THAT(log_.syslogged, ElementsAre(badLine()));
}

TEST_F(IconHeader, LineThatBeginsWithATabHasAnEmptyFirstWord) {
  EXPECT_THAT(parseHeader("\tF\tEdit\tEditor\tedit\n"), IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre(badLine()));
}

TEST_F(IconHeader, UnknownCommandIsMalformedAndTheNextLineIsRead) {
  EXPECT_THAT(parseHeader("X\tEdit\tEditor\tedit\nfF\n# comment\nF\tEdit\tEditor\tedit\n"),
              ElementsAre(kEditRecord));
  EXPECT_THAT(log_.syslogged, ElementsAre(badLine(), badLine(), badLine()));
}

TEST_F(IconHeader, LastLineNeedsNoLineFeed) {
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\tedit"), ElementsAre(kEditRecord));
}

TEST_F(IconHeader, AZeroByteEndsTheText) {
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\tedit\0X\nF\ta\tb\tc\n"s), ElementsAre(kEditRecord));
  EXPECT_THAT(log_.syslogged, IsEmpty());
  EXPECT_THAT(parseHeader("\0F\tEdit\tEditor\tedit\n"s), IsEmpty());
}

TEST_F(IconHeader, EmptySectionIsAnEmptyListNotNil) { EXPECT_THAT(parseHeader(""), IsEmpty()); }

TEST_F(IconHeader, RunOf1024BytesIsOneWordAndByte1025StartsTheNext) {
  const std::string longest(1024, 'x');
  EXPECT_THAT(parseHeader("F\t" + longest + "\tEditor\tedit\n"),
              ElementsAre("{type = app; name = " + longest +
                          "; appName = Editor; icon = edit; path = \"@/Foo\"; }"));
  EXPECT_THAT(parseHeader("F\t" + longest + "y\tedit\n"),
              ElementsAre("{type = app; name = " + longest +
                          "; appName = y; icon = edit; path = \"@/Foo\"; }"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, BytesOfWordsTravelUnchanged) {
  directory_.writeFile("Foo", imageWith("__header", "F\t\xff\xfe\t\xc3\xa9\ti\n"), 0755);
  const auto records = parseApp(NSFileManager::classObject(), *directory_.string(),
                                &*NSString::create("Foo"), NSDefaultMallocZone());
  ASSERT_TRUE(records);
  const auto record = as<NSDictionary>(records->objectAtIndex(0));
  EXPECT_TRUE(isEqual(as<NSString>(record->objectForKey("name")).get(), "\xff\xfe"));
  EXPECT_TRUE(isEqual(as<NSString>(record->objectForKey("appName")).get(), "\xc3\xa9"));
}

TEST_F(IconHeader, BraceLineIsADictionaryWithThePathOfTheFile) {
  EXPECT_THAT(parseHeader("{ type = tool; path = mine; list = (a); }\n"),
              ElementsAre("{type = tool; path = \"@/Foo\"; list = (a); }"));
}

TEST_F(IconHeader, BraceLineMayHoldLineFeedsAndBeFollowedByTabs) {
  EXPECT_THAT(parseHeader("{ type = a;\n\n b = c;\n}\t\t\nF\tEdit\tEditor\tedit\n"),
              ElementsAre("{type = a; b = c; path = \"@/Foo\"; }", kEditRecord));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, TextAfterAGoodBraceBeginsANewLine) {
  EXPECT_THAT(parseHeader("{ a = b; }F\tEdit\tEditor\tedit\n{ c = d; }{ e = f; }"),
              ElementsAre("{a = b; path = \"@/Foo\"; }", kEditRecord, "{c = d; path = \"@/Foo\"; }",
                          "{e = f; path = \"@/Foo\"; }"));
}

TEST_F(IconHeader, BracesCannotNest) {
  EXPECT_THAT(parseHeader("{ a = { b = c; }; }\n"), IsEmpty());
  EXPECT_THAT(log_.logged, ElementsAre("*** Could not parse icon header: {  a = { b = c;  }"));
  EXPECT_THAT(log_.syslogged, ElementsAre(badCommand(), badLine()))
      << "the rest of the line, its brace included, is an ordinary line";
}

TEST_F(IconHeader, BraceLineThatDoesNotParseIsReportedTwiceAndDropped) {
  EXPECT_THAT(parseHeader("{ a = }\nF\tEdit\tEditor\tedit\n"), ElementsAre(kEditRecord));
  EXPECT_THAT(log_.logged, ElementsAre("*** Could not parse icon header: {  a =  }"));
  EXPECT_THAT(log_.syslogged, ElementsAre(badCommand(), badLine()));
}

TEST_F(IconHeader, BraceLeftOpenAtTheEndIsReportedAndGivesNoRecord) {
  EXPECT_THAT(parseHeader("F\tEdit\tEditor\tedit\n{ a = b; "), ElementsAre(kEditRecord));
  EXPECT_THAT(log_.syslogged, ElementsAre(badCommand()));
}

TEST_F(IconHeader, LinesBeyondThe100000thAreNotRead) {
  std::string text;
  for (int i = 0; i < 99'999; ++i)
    text += "\n";
  EXPECT_THAT(parseHeader(text + "{ a = last; }\n"), ElementsAre("{a = last; path = \"@/Foo\"; }"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
  EXPECT_THAT(parseHeader(text + "{ a = last; }\n{ a = late; }\nnonsense\n"),
              ElementsAre("{a = last; path = \"@/Foo\"; }"));
  EXPECT_THAT(log_.syslogged,
              ElementsAre("*** Applications Finder: too many lines in icon header of " +
                          directory_.path("Foo")));
}

TEST_F(IconHeader, BraceBodyOfMoreThan16MebibytesIsDroppedAndEndsTheText) {
  // The header is "{" and a hole behind it, which fills the section up to its announced size.
  constexpr std::uint32_t kSize = std::uint32_t{0xF0000000};
  const std::string image =
      test::MachOBuilder(examples::kI386)
          .section("__ICON", "__header", "{")
          .word(test::at::kFirstCommand + test::at::kFirstSection + test::at::kSectionSize, kSize)
          .bytes();
  directory_.writeFile("Foo", image, 0755);
  ASSERT_EQ(
      ::truncate(directory_.path("Foo").c_str(), static_cast<off_t>(image.size()) + off_t{kSize}),
      0);
  EXPECT_THAT(parse(directory_.path(), "Foo"), IsEmpty());
  EXPECT_THAT(log_.logged, IsEmpty());
  EXPECT_THAT(log_.syslogged, ElementsAre(badCommand()));
}

TEST_F(IconHeader, EmptyBracesAreARecordWithAPathOnly) {
  EXPECT_THAT(parseHeader("{}\n"), ElementsAre("{path = \"@/Foo\"; }"));
}

TEST_F(IconHeader, BraceBytesAreCharactersOfTheirCodes) {
  directory_.writeFile("Foo", imageWith("__header", "{ k = \"a\xe9\0z\"; }\n"s), 0755);
  const auto records = parseApp(NSFileManager::classObject(), *directory_.string(),
                                &*NSString::create("Foo"), NSDefaultMallocZone());
  ASSERT_EQ(records->count(), 1U);
  const auto value = as<NSDictionary>(records->objectAtIndex(0))->objectForKey("k");
  EXPECT_TRUE(isEqual(as<NSString>(value).get(), "a\xc3\xa9\0z"s))
      << "0xE9 becomes two bytes of UTF-8, and a zero byte inside braces does not end the text";
}

TEST_F(IconHeader, ServicesSectionComesFirstAndRequestSectionServesWithoutIt) {
  const std::string header = "F\tEdit\tEditor\tedit\n";
  const std::string services = "{path = \"@/Foo\"; type = services; }";
  for (const char *section : {"__services", "__request"}) {
    directory_.writeFile("Foo",
                         MachOWriter(examples::kI386)
                             .addSection("__ICON", "__header", header)
                             .addSection("__ICON", section, "")
                             .bytes(),
                         0755);
    EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(services, kEditRecord)) << section;
  }
  directory_.writeFile("Foo",
                       MachOWriter(examples::kI386)
                           .addSection("__ICON", "__services", "x")
                           .addSection("__ICON", "__request", "y")
                           .bytes(),
                       0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(services)) << "one record for both";
}

TEST_F(IconHeader, ExecutableWithoutSectionsIsAnEmptyListNotNil) {
  directory_.writeFile("Foo.bundle/Foo", MachOWriter(examples::kI386).bytes(), 0755);
  EXPECT_THAT(parse(directory_.path("Foo.bundle"), "Foo"), IsEmpty())
      << "and no bundle record either";
}

TEST_F(IconHeader, ExecutableInABundleAddsTheBundleRecordLast) {
  directory_.writeFile("Foo.bundle/Bar", imageWith("__header", "S\tc\tEdit\n"), 0755);
  EXPECT_THAT(parse(directory_.path("Foo.bundle"), "Bar"),
              ElementsAre("{type = extension; name = c; appName = Edit; "
                          "path = \"@/Foo.bundle/Bar\"; }",
                          "{path = \"@/Foo.bundle/Bar\"; type = bundle; name = Bar; }"));
}

TEST_F(IconHeader, SectionsOfAnotherSegmentDoNotCount) {
  directory_.writeFile(
      "Foo", MachOWriter(examples::kI386).addSection("__TEXT", "__header", "F\ta\tb\tc\n").bytes(),
      0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), IsEmpty());
}

TEST_F(IconHeader, ExecutableForAnotherProcessorIsMarkedUnsuitable) {
  directory_.writeFile(
      "Foo",
      imageWith("__header", "F\tEdit\tEditor\tedit\nS\tc\tEdit\n{ a = b; }\n", examples::kSparc),
      0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"),
              ElementsAre("{type = app; name = Edit; appName = Editor; icon = edit; "
                          "path = \"@/Foo\"; suitable = no; }",
                          "{type = extension; name = c; appName = Edit; path = \"@/Foo\"; "
                          "suitable = no; }",
                          "{a = b; path = \"@/Foo\"; suitable = no; }"));
}

TEST_F(IconHeader, FatFileIsReadFromTheArchitectureThatSuits) {
  const std::string fat =
      fatFile({{examples::kM68k, imageWith("__header", "F\tm\tm\tm\n", examples::kM68k)},
               {examples::kI386, imageWith("__header", "F\tEdit\tEditor\tedit\n")}});
  directory_.writeFile("Foo", fat, 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre(kEditRecord));
}

TEST_F(IconHeader, FatFileForOtherProcessorsIsStillReported) {
  const std::string fat =
      fatFile({{examples::kM68k, imageWith("__header", "F\tm\tm\tm\n", examples::kM68k)},
               {examples::kSparc, imageWith("__header", "F\ts\ts\ts\n", examples::kSparc)}});
  directory_.writeFile("Foo", fat, 0755);
  EXPECT_THAT(parse(directory_.path(), "Foo"),
              ElementsAre("{type = app; name = m; appName = m; icon = m; path = \"@/Foo\"; "
                          "suitable = no; }"));
}

TEST_F(IconHeader, WhatIsNoExecutableFileIsNilWithoutAMessage) {
  const std::string image = imageWith("__header", "F\ta\tb\tc\n");
  directory_.writeFile("plain", image, 0644);
  directory_.makeDirectory("directory");
  EXPECT_THAT(parse(directory_.path(), "plain"), ElementsAre("(nil)"));
  EXPECT_THAT(parse(directory_.path(), "directory"), ElementsAre("(nil)"));
  EXPECT_THAT(parse(directory_.path(), "missing"), ElementsAre("(nil)"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

class RaisingFileManager final : public NSFileManager {
public:
  RefPtr<NSFileAttributes> _privateStatDir(const NSString &, const NSString *) override {
    throw NSException("Test", "no attributes");
  }
};

TEST_F(IconHeader, WhoseAttributesRaiseIsNil) {
  directory_.writeFile("Foo", imageWith("__header", "F\ta\tb\tc\n"), 0755);
  RaisingFileManager raising;
  EXPECT_THAT(parse(directory_.path(), "Foo", raising), ElementsAre("(nil)"));
}

TEST_F(IconHeader, LinkToAnExecutableIsReadUnderTheLinksName) {
  directory_.writeFile("bin/Real", imageWith("__header", "F\tEdit\tEditor\tedit\n"), 0755);
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
  ASSERT_EQ(::mkfifo(directory_.path("Foo").c_str(), 0755), 0);
  ASSERT_EQ(::chmod(directory_.path("Foo").c_str(), 0755), 0);
  EXPECT_THAT(parse(directory_.path(), "Foo"), ElementsAre("(nil)"));

  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  const std::string path = directory_.path("socket");
  path.copy(address.sun_path, sizeof address.sun_path - 1);
  const FileDescriptor socket(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  ASSERT_EQ(::bind(socket.get(), reinterpret_cast<sockaddr *>(&address), sizeof address), 0);
  ASSERT_EQ(::chmod(path.c_str(), 0755), 0);
  EXPECT_THAT(parse(directory_.path(), "socket"), ElementsAre("(nil)"));

  class ExecutableFileManager final : public NSFileManager {
  public:
    RefPtr<NSFileAttributes> _privateStatDir(const NSString &, const NSString *) override {
      struct stat status {};
      status.st_mode = S_IFCHR | 0755;
      return NSFileAttributes::create(status);
    }
  } everythingIsExecutable;
  EXPECT_THAT(parse("/dev", "null", everythingIsExecutable), ElementsAre("(nil)"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, SparseFileOf10GigabytesCostsLittle) {
  std::string image = imageWith("__header", "F\tEdit\tEditor\tedit\n");
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
  const std::string image = imageWith("__header", "F\tEdit\tEditor\tedit\n{ a = b; }\n");
  directory_.writeFile("Foo", image, 0755);
  for (std::size_t left = 0; left <= image.size(); ++left) {
    ShrinkingFiles shrinking(left);
    const ScopedOperatingSystem scope(shrinking);
    (void)parse(directory_.path(), "Foo");
  }
  EXPECT_EQ(parse(directory_.path(), "Foo").size(), 2U);
}

TEST_F(IconHeader, ExecutableIsOpenedOnce) {
  class CountingOpens final : public OperatingSystem {
  public:
    int open(const char *path, int flags, mode_t mode) override {
      ++opens;
      return OperatingSystem::open(path, flags, mode);
    }
    ssize_t readAt(int descriptor, void *buffer, std::size_t size, off_t offset) override {
      ++reads;
      return OperatingSystem::readAt(descriptor, buffer, size, offset);
    }
    int opens = 0;
    int reads = 0;
  } counting;
  directory_.writeFile("Foo", "#!/bin/sh\n" + std::string(100000, '#'), 0755);
  const ScopedOperatingSystem scope(counting);
  EXPECT_THAT(parse(directory_.path(), "Foo"), IsEmpty());
  EXPECT_EQ(counting.opens, 1);
  EXPECT_EQ(counting.reads, 1) << "what is no Mach-O or fat file is dismissed by its first bytes";
}

} // namespace
} // namespace tesker
