// What the lines of an icon header mean.
#include "tests/parsing/IconHeaderTest.h"
#include "tests/support/Texts.h"

#include <gmock/gmock.h>
#include <unistd.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using namespace std::string_literals;

TEST_F(IconHeader, ATextByItselfMakesTheRecordsOfAnExecutable) {
  constexpr const char *kText = "F\tEdit\tEdit\tedit\nX\nS\ttiff\tEdit\ticon\n{ a = b; }\n";
  directory_.writeFile("Foo", headerImage(kText), 0755);
  const NSString path = directory_.string("Foo");
  const auto ofImage = parseFoo();
  ASSERT_TRUE(ofImage);
  EXPECT_EQ(parseHeaderText(kText, path, NSDefaultMallocZone()), *ofImage);
  EXPECT_EQ(log_.syslogged.size(), 2U);
  EXPECT_EQ(log_.syslogged.front(), log_.syslogged.back());
}

TEST_F(IconHeader, ApplicationLineWithFourWordsIsOneAppRecord) {
  EXPECT_THAT(parseHeader(kEditLine), ElementsAre(kEditRecord));
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
  directory_.writeFile("a/Tesker.app/Foo", headerImage("S\ttiff\tEdit\ttiffdoc\n"), 0755);
  EXPECT_THAT(parse(directory_.path("a/Tesker.app"), "Foo"),
              ElementsAre("{type = extension; name = tiff; appName = Edit; icon = tiffdoc; "
                          "path = \"@/a/Tesker.app/Foo\"; }"));
}

TEST_F(IconHeader, OtherNamesLikeATeskerDirectorysKeepNoIgnoredIcon) {
  for (const char *dir : {"a/MyTesker.app", "a/Tesker", "a/Teskerapp", "plain"})
    for (const char *file : {"Foo", "Tesker.bin"}) {
      const std::string path = dir + "/"s + file;
      directory_.writeFile(path, headerImage("S\ttiff\tEdit\ttiffdoc\n"), 0755);
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
  directory_.writeFile("Foo", headerImage("F\t\xff\xfe\t\xc3\xa9\ti\n"), 0755);
  const auto records = parseFoo();
  ASSERT_TRUE(records);
  EXPECT_EQ(stringFor(records->at(0), "name"), "\xff\xfe"_ns);
  EXPECT_EQ(stringFor(records->at(0), "appName"), "\xc3\xa9"_ns);
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

TEST_F(IconHeader, BraceLeftOpenThatDoesNotParseIsAlsoLoggedWithItsText) {
  EXPECT_THAT(parseHeader("{ a = "), IsEmpty());
  EXPECT_THAT(log_.logged, ElementsAre("*** Could not parse icon header: {  a =  }"));
  EXPECT_THAT(log_.syslogged, ElementsAre(badCommand()));
}

TEST_F(IconHeader, LinesBeyondThe100000thAreNotRead) {
  // Those that make a record or a log line count.
  std::string text = "{ a = first; }\n";
  for (int i = 0; i < 99'998; ++i)
    text += "x\n";
  const auto first = "{a = first; path = \"@/Foo\"; }", last = "{a = last; path = \"@/Foo\"; }";
  EXPECT_THAT(parseHeader(text + "{ a = last; }\n\n"), ElementsAre(first, last));
  EXPECT_THAT(log_.syslogged, SizeIs(99'998));
  EXPECT_EQ(log_.syslogged.back(), badLine());
  log_.syslogged.clear();
  EXPECT_THAT(parseHeader(text + "{ a = last; }\n{ a = late; }\nx\n"), ElementsAre(first, last));
  EXPECT_THAT(log_.syslogged, SizeIs(99'999));
  EXPECT_EQ(log_.syslogged.back(),
            "*** Applications Finder: too many lines in icon header of " + directory_.path("Foo"));
}

TEST_F(IconHeader, EmptyLinesAreNotAmongThose) {
  EXPECT_THAT(parseHeader(std::string(200'000, '\n') + "{ a = last; }"),
              ElementsAre("{a = last; path = \"@/Foo\"; }"));
  EXPECT_THAT(log_.syslogged, IsEmpty());
}

TEST_F(IconHeader, BraceBodyOfMoreThan16MebibytesIsDroppedAndEndsTheText) {
  // The header is "{" and a hole behind it, which fills the section up to its announced size.
  constexpr std::uint32_t kSize = std::uint32_t{0xF0000000};
  const std::string image =
      MachOBuilder(kI386)
          .section("__ICON", "__header", "{")
          .word(at::kFirstCommand + at::kFirstSection + at::kSectionSize, kSize)
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
  directory_.writeFile("Foo", headerImage("{ k = \"a\xe9\0z\"; }\n"s), 0755);
  const auto records = parseFoo();
  ASSERT_TRUE(records);
  ASSERT_EQ(records->size(), 1U);
  EXPECT_EQ(stringFor(records->at(0), "k"), "a\xc3\xa9\0z"_ns)
      << "0xE9 becomes two bytes of UTF-8, and a zero byte inside braces does not end the text";
}

} // namespace
} // namespace tesker::test
