#include "command/RecordTable.h"
#include "tests/command/CapturedOutput.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::HasSubstr;
using testing::Not;

class RecordTable : public testing::Test {
protected:
  void add(SearchRecord record) { answer.records.push_back(std::move(record)); }
  std::string table(std::size_t columns = 0, bool unchanged = false) {
    return captured([&](Output &output) {
      output.setTerminal({.columns = columns, .colours = colours});
      writeTable(output, resultOf("list", "/Apps", unchanged ? nullptr : &answer), form);
    });
  }
  TableForm form;
  bool colours = false;
  SearchAnswer answer;
};

TEST_F(RecordTable, SaysThatThereIsNothing) {
  EXPECT_EQ(table(), "no applications found in /Apps\n");
}

TEST_F(RecordTable, SaysThatTheAnswerIsUnchanged) {
  EXPECT_EQ(table(0, true), "/Apps: unchanged since the previous answer\n");
}

TEST_F(RecordTable, MakesOneRowOfAllRecordsOfAProgramAndSortsByName) {
  add({{{"path", "/Apps/Edit.app/Edit"}, {"type", "extension"}, {"name", "txt"}}});
  add({{{"path", "/Apps/Edit.app/Edit"}, {"type", "extension"}, {"name", "rtf"}}});
  add({{{"path", "/Apps/Edit.app/Edit"}, {"type", "services"}}});
  add({{{"path", "/Apps/Edit.app/Edit"}, {"type", "app"}, {"name", "Edit"}}});
  add({{{"path", "/Apps/Draw.app/Draw"}, {"type", "app"}, {"name", "Draw"}}});
  EXPECT_EQ(table(), "2 applications found in /Apps\n"
                     "\n"
                     "NAME  TYPE           EXTENSIONS  PATH\n"
                     "Draw  app            -           /Apps/Draw.app/Draw\n"
                     "Edit  app, services  txt, rtf    /Apps/Edit.app/Edit\n");
}

TEST_F(RecordTable, MarksWhatIsNotSuitable) {
  add({{{"path", "/Apps/Old"}, {"type", "app"}, {"name", "Old"}, {"suitable", "no"}}});
  add({{{"path", "/Apps/New"}, {"type", "app"}, {"name", "New"}}});
  EXPECT_EQ(table(), "2 applications found in /Apps, 1 not suitable for the processor\n"
                     "\n"
                     "NAME  TYPE  EXTENSIONS  NOTE          PATH\n"
                     "New   app   -           -             /Apps/New\n"
                     "Old   app   -           not suitable  /Apps/Old\n");
}

TEST_F(RecordTable, CallsAProgramWithoutANameAsItsFile) {
  add({{{"path", "/Apps/define"}, {"type", "services"}}});
  add({{{"path", "/Apps/view"}, {"type", "extension"}, {"name", "pic"}}});
  EXPECT_THAT(table(), HasSubstr("define  services   -           /Apps/define\n"));
  EXPECT_THAT(table(), HasSubstr("view    extension  pic         /Apps/view\n"));
}

TEST_F(RecordTable, ShowsRecordsWithoutAnyKnownKey) {
  add({{{"colour", "blue"}}});
  EXPECT_EQ(table(), "1 application found in /Apps\n"
                     "\n"
                     "NAME  TYPE  EXTENSIONS  PATH\n"
                     "-     -     -           -\n");
}

TEST_F(RecordTable, LetsNoNameDriveTheTerminal) {
  add({{{"path", "/Apps/\x1b[2J\n"}, {"type", "a\tpp"}, {"name", "\x1b]0;x\x07\xFF"}}});
  add({{{"path", "/Apps/\xE2\x80\xAE"}, {"type", "extension"}, {"name", "\x9b"}}});
  for (const char byte : {'\x1b', '\x07', '\t', '\xFF', '\x9b'})
    EXPECT_THAT(table(), Not(HasSubstr(std::string(1, byte))));
  EXPECT_THAT(table(), HasSubstr("/Apps/\\x1b[2J\\n\n"));
}

TEST_F(RecordTable, AlignsByColumnsNotBytes) {
  add({{{"path", "/a"}, {"type", "app"}, {"name", "\xE6\x97\xA5\xE6\x9C\xAC"}}});
  add({{{"path", "/b"}, {"type", "app"}, {"name", "abcd"}}});
  EXPECT_THAT(table(), HasSubstr("\xE6\x97\xA5\xE6\x9C\xAC  app   -           /a\n"));
  EXPECT_THAT(table(), HasSubstr("abcd  app   -           /b\n"));
}

TEST_F(RecordTable, BreaksLongListsToFitATerminal) {
  for (int i = 10; i < 20; ++i)
    add({{{"path", "/Apps/Edit"}, {"type", "extension"}, {"name", "ext" + std::to_string(i)}}});
  EXPECT_EQ(table(60), "1 application found in /Apps\n"
                       "\n"
                       "NAME  TYPE       EXTENSIONS                   PATH\n"
                       "Edit  extension  ext10, ext11, ext12, ext13,  /Apps/Edit\n"
                       "                 ext14, ext15, ext16, ext17,\n"
                       "                 ext18, ext19\n");
  EXPECT_THAT(table(), HasSubstr("ext10, ext11, ext12, ext13, ext14, ext15, ext16, ext17, ext18"));
}

TEST_F(RecordTable, BreaksNoListThatFits) {
  for (int i = 10; i < 20; ++i)
    add({{{"path", "/Apps/Edit"}, {"type", "extension"}, {"name", "ext" + std::to_string(i)}}});
  EXPECT_THAT(table(97), HasSubstr("ext18, ext19  /Apps/Edit\n"));
  EXPECT_THAT(table(96), HasSubstr("ext18,  /Apps/Edit\n                 ext19\n"));
}

TEST_F(RecordTable, FillsTheLinesOfAListToTheLastColumn) {
  for (int i = 10; i < 20; ++i)
    add({{{"path", "/Apps/Edit"}, {"type", "extension"}, {"name", "ext" + std::to_string(i)}}});
  EXPECT_THAT(table(63), HasSubstr("ext10, ext11, ext12, ext13, ext14,  /Apps/Edit\n"));
  EXPECT_THAT(table(62), HasSubstr("ext10, ext11, ext12, ext13,  /Apps/Edit\n"));
}

TEST_F(RecordTable, ShortensAPathWhereAListHasBecomeNarrow) {
  add({{{"path", "/Apps/Edit/Edit"}, {"type", "extension"}, {"name", "1234567"}}});
  add({{{"path", "/Apps/Edit/Edit"}, {"type", "extension"}, {"name", "7654321"}}});
  EXPECT_THAT(table(49), HasSubstr("1234567, 7654321  /App\u2026Edit/Edit\n"));
}

TEST_F(RecordTable, FitsATerminalThatIsMuchTooNarrow) {
  add({{{"path", "/Apps/Edit"}, {"type", "extension"}, {"name", "a-long-extension-name"}}});
  add({{{"path", "/Apps/Edit"}, {"type", "extension"}, {"name", "b"}}});
  EXPECT_EQ(table(20), "1 application found in /Apps\n"
                       "\n"
                       "NA\u2026  TY\u2026  EXT\u2026  PATH\n"
                       "Ed\u2026  ex\u2026  a-l\u2026  /\u2026it\n"
                       "          b\n");
  EXPECT_THAT(table(10), HasSubstr("\n\u2026  \u2026  \u2026  \u2026\n"));
  EXPECT_EQ(table(1), table(10));
}

TEST_F(RecordTable, IsSortedByAnotherColumnAndOtherwiseAsTheAnswer) {
  add({{{"path", "/b"}, {"type", "bundle"}, {"name", "Z"}}});
  add({{{"path", "/c"}, {"type", "app"}, {"name", "Y"}}});
  add({{{"path", "/a"}, {"type", "bundle"}, {"name", "X"}}});
  form.header = false;
  EXPECT_EQ(table(), "X  bundle  -  /a\nY  app     -  /c\nZ  bundle  -  /b\n");
  form.sortBy = "type";
  EXPECT_EQ(table(), "Y  app     -  /c\nZ  bundle  -  /b\nX  bundle  -  /a\n");
  form.sortBy = "path";
  EXPECT_EQ(table(), "X  bundle  -  /a\nZ  bundle  -  /b\nY  app     -  /c\n");
}

TEST_F(RecordTable, ColoursTheHeaderAndWhatIsNotSuitable) {
  add({{{"path", "/b\x1b"}, {"type", "app"}, {"name", "B"}, {"suitable", "no"}}});
  colours = true;
  EXPECT_EQ(table(), "1 application found in /Apps, 1 not suitable for the processor\n"
                     "\n"
                     "\x1b[1mNAME  TYPE  EXTENSIONS  NOTE          PATH\x1b[0m\n"
                     "\x1b[33mB     app   -           not suitable  /b\\x1b\x1b[0m\n");
}

TEST_F(RecordTable, LetsNoLongNamePushTheOthersAway) {
  const std::string longName(100000, 'x');
  add({{{"path", "/long"}, {"type", "app"}, {"name", longName}}});
  add({{{"path", "/short"}, {"type", "app"}, {"name", "short"}}});
  EXPECT_LT(table().size(), longName.size() + 1000);
  EXPECT_THAT(table(), HasSubstr(longName + "  app   -           /long\n"));
}

} // namespace
} // namespace tesker::test
