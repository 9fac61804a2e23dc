#include "command/Arguments.h"
#include "command/Commands.h"

#include <gmock/gmock.h>
#include <sstream>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

Arguments parsed(const std::vector<std::string> &words) {
  const auto result = parseArguments(words);
  if (const auto *arguments = std::get_if<Arguments>(&result))
    return *arguments;
  ADD_FAILURE() << std::get<Notice>(result).text;
  return {};
}

Notice refused(const std::vector<std::string> &words) {
  const auto result = parseArguments(words);
  if (const auto *notice = std::get_if<Notice>(&result))
    return *notice;
  ADD_FAILURE() << "not refused";
  return {};
}

TEST(Arguments, HaveTheirDefaults) {
  const Arguments arguments = parsed({"list"});
  EXPECT_STREQ(arguments.command->name, "list");
  EXPECT_EQ(arguments.format, Format::table);
  EXPECT_EQ(arguments.level, Diagnostics::Level::normal);
  EXPECT_EQ(arguments.timeout, std::chrono::seconds(120));
  EXPECT_THAT(arguments.paths, ElementsAre());
}

TEST(Arguments, TakeEveryOption) {
  const Arguments arguments =
      parsed({"dock", "/a", "--format", "jsonl", "--previous=p", "--save", "s", "--cpu", "m68k",
              "--timeout", "0.25", "--tool", "t", "/b", "-v"});
  EXPECT_STREQ(arguments.command->name, "dock");
  EXPECT_EQ(arguments.format, Format::jsonl);
  EXPECT_EQ(arguments.previousFile, "p");
  EXPECT_EQ(arguments.saveFile, "s");
  EXPECT_EQ(arguments.cpu, "m68k");
  EXPECT_EQ(arguments.timeout, std::chrono::milliseconds(250));
  EXPECT_EQ(arguments.tool, "t");
  EXPECT_EQ(arguments.level, Diagnostics::Level::verbose);
  EXPECT_THAT(arguments.paths, ElementsAre("/a", "/b"));
  EXPECT_EQ(parsed({"dock", "--paths0-from", "-"}).pathListFile, "-");
  EXPECT_EQ(parsed({"encode", "file"}).input, "file");
  EXPECT_EQ(parsed({"decode", "-"}).input, "-");
}

TEST(Arguments, TakeVerbosityBeforeAndAfterTheCommand) {
  EXPECT_EQ(parsed({"-q", "list"}).level, Diagnostics::Level::quiet);
  EXPECT_EQ(parsed({"decode", "x", "-q"}).level, Diagnostics::Level::quiet);
  EXPECT_EQ(refused({"-q", "list", "-v"}).status, ExitStatus::usage);
}

TEST(Arguments, TakeAnyPathThatIsNoOption) {
  EXPECT_THAT(parsed({"list", "list", "dock", "-", "", "/[a,b]", "/\xFF{}", "a=b", "%%"}).paths,
              ElementsAre("list", "dock", "-", "", "/[a,b]", "/\xFF{}", "a=b", "%%"));
}

TEST(Arguments, NamePathsThatLookSpecialInAnotherWay) {
  EXPECT_THAT(parsed({"list", "[a,b]", "{}", "++"}).paths, ElementsAre("./[a,b]", "./{}", "./++"));
}

TEST(Arguments, TakeEverythingBehindTwoDashesForPaths) {
  EXPECT_THAT(parsed({"list", "a", "--", "-x", "--format", "--", "-", "/-"}).paths,
              ElementsAre("a", "./-x", "./--format", "./--", "-", "/-"));
}

TEST(Arguments, RefuseATimeOutThatIsNone) {
  for (const char *timeout : {"0", "-1", "nan", "inf", "x", "", "1s", "1e7"})
    EXPECT_EQ(refused({"list", "--timeout", timeout}).status, ExitStatus::usage) << timeout;
}

TEST(Arguments, RefuseAnUnknownProcessorAndNameTheKnownOnes) {
  const Notice notice = refused({"list", "--cpu", "zx\x1b"});
  EXPECT_EQ(notice.status, ExitStatus::usage);
  EXPECT_THAT(notice.text, HasSubstr("unknown processor 'zx\\x1b'"));
  EXPECT_THAT(notice.text, HasSubstr(", m68k, "));
  EXPECT_EQ(parsed({"list", "--cpu", "7/3"}).cpu, "7/3");
}

TEST(Arguments, RefuseWhatMakesNoSense) {
  for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
           {},
           {"find"},
           {"list", "--unknown"},
           {"list", "--format", "yaml"},
           {"list", "--previous", ""},
           {"decode"},
           {"decode", ""},
           {"decode", "a", "b"},
           {"decode", "a", "--format", "raw"},
           {"encode", "a", "--format", "json"},
           {"decode", "a", "--previous", "b"},
           {"dock"},
           {"dock", "/a", "--paths0-from", "b"},
       }) {
    const Notice notice = refused(words);
    EXPECT_EQ(notice.status, ExitStatus::usage) << testing::PrintToString(words);
    EXPECT_THAT(notice.text, StartsWith("tesker-apps: "));
  }
}

TEST(Arguments, TakeTheShortFormOfTheFormatInEveryCommandThatHasOne) {
  for (const char *command : {"list", "dock", "handlers", "types", "services", "show", "open",
                              "prefer", "why", "check", "diff", "decode"}) {
    const bool takesWord = std::string(command) != "types" && std::string(command) != "services";
    std::vector<std::string> words{command, "-f", "jsonl"};
    if (takesWord)
      words.emplace_back("x");
    EXPECT_EQ(parsed(words).format, Format::jsonl) << command;
  }
  EXPECT_EQ(parsed({"list", "-fjson"}).format, Format::json);
}

TEST(Arguments, NameTheNearestCommandOrOption) {
  EXPECT_THAT(refused({"hepl"}).text,
              StartsWith("tesker-apps: unknown command 'hepl'; did you mean "
                         "'help'?\nThe commands are list, "));
  EXPECT_THAT(refused({"Why"}).text, HasSubstr("did you mean 'why'?"));
  EXPECT_THAT(refused({"applications", "list"}).text,
              StartsWith("tesker-apps: unknown command 'applications'\nThe commands"));
  EXPECT_THAT(refused({"decode", "--fromat=json", "x"}).text,
              StartsWith("tesker-apps: unknown option '--fromat'; did you mean '--format'?\n"));
  EXPECT_THAT(refused({"-v", "--verison", "list"}).text, HasSubstr("did you mean '--version'?"));
  EXPECT_THAT(refused({"--cpu", "m68k", "list"}).text,
              StartsWith("tesker-apps: the option '--cpu' stands behind a command\n"));
}

TEST(Arguments, NameWhatIsUnknownBeforeWhatIsMissing) {
  EXPECT_THAT(refused({"decode", "--farmot", "json"}).text, HasSubstr("unknown option '--farmot'"));
  EXPECT_THAT(refused({"dock", "--path0-from"}).text, HasSubstr("did you mean '--paths0-from'?"));
}

TEST(Arguments, ThatAreRefusedPointToTheHelpOfTheirCommand) {
  EXPECT_THAT(refused({}).text, EndsWith("\nTry 'tesker-apps --help'.\n"));
  EXPECT_THAT(refused({"lst", "a"}).text, EndsWith("\nTry 'tesker-apps --help'.\n"));
  for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
           {"decode"}, {"decode", "a", "b"}, {"decode", "a", "--x"}, {"-q", "decode", "-f", "x"}})
    EXPECT_THAT(refused(words).text, EndsWith("\nTry 'tesker-apps decode --help'.\n"));
}

TEST(Arguments, OfHelpAreACommandOrNone) {
  EXPECT_EQ(parsed({"help", "list"}).subject, "list");
  EXPECT_EQ(parsed({"help"}).subject, "");
  EXPECT_EQ(refused({"help", "list", "dock"}).status, ExitStatus::usage);
}

TEST(Arguments, SayWhereTheAnswerToAQuestionComesFrom) {
  const Arguments live =
      parsed({"types", "--in", "/a", "--in", "", "--cpu", "m68k", "--timeout", "3"});
  EXPECT_THAT(live.paths, ElementsAre("/a", ""));
  EXPECT_EQ(live.cpu, "m68k");
  EXPECT_EQ(live.timeout, std::chrono::seconds(3));
  EXPECT_EQ(parsed({"services", "--from", "-"}).answerFile, "-");
  EXPECT_EQ(parsed({"show", "Edit", "--format", "jsonl"}).format, Format::jsonl);
  for (const char *command : {"handlers", "show", "open", "types", "services", "prefer"}) {
    EXPECT_EQ(refused({command, "x", "--from", "f", "--in", "/a"}).status, ExitStatus::usage);
    EXPECT_EQ(refused({command, "x", "--format", "raw"}).status, ExitStatus::usage) << command;
  }
}

TEST(Arguments, OfQuestionsAreWhatTheyAreAbout) {
  EXPECT_EQ(parsed({"handlers", "txt"}).subject, "txt");
  EXPECT_EQ(parsed({"show", "Edit"}).subject, "Edit");
  const Arguments open = parsed({"open", "a", "--with", "Edit", "--print", "--", "-b"});
  EXPECT_THAT(open.files, ElementsAre("a", "./-b"));
  EXPECT_EQ(open.application, "Edit");
  EXPECT_TRUE(open.print);
  const Arguments prefer = parsed({"prefer", "txt", "Edit"});
  EXPECT_EQ(prefer.subject, "txt");
  EXPECT_EQ(prefer.application, "Edit");
  EXPECT_TRUE(parsed({"prefer", "--forget", "txt"}).forget);
  EXPECT_EQ(parsed({"prefer"}).subject, "");
  const Arguments diff = parsed({"diff", "old", "new", "--exit-code"});
  EXPECT_EQ(diff.input, "old");
  EXPECT_EQ(diff.answerFile, "new");
  EXPECT_TRUE(diff.exitCode);
  EXPECT_THAT(parsed({"diff", "old", "--in", "/a"}).paths, ElementsAre("/a"));
}

TEST(Arguments, OfQuestionsAreRefusedWhereTheyMakeNoSense) {
  for (const std::vector<std::string> &words : std::vector<std::vector<std::string>>{
           {"handlers"},
           {"handlers", ""},
           {"handlers", "txt", "rtf"},
           {"types", "txt"},
           {"services", "x"},
           {"show"},
           {"open"},
           {"open", "a", "--with", ""},
           {"prefer", "--forget"},
           {"prefer", "txt", "Edit", "--forget"},
           {"prefer", "txt", "Edit", "Draw"},
           {"diff"},
           {"diff", "-", "-"},
           {"diff", "a", "b", "--in", "/c"},
           {"diff", "a", "--from", "b"},
           {"list", "--in", "/a"},
       })
    EXPECT_EQ(refused(words).status, ExitStatus::usage) << testing::PrintToString(words);
}

TEST(Arguments, HaveAHelpThatFitsEightyColumns) {
  std::vector<std::vector<std::string>> helps{{"--help"}};
  for (const Command &command : allCommands())
    helps.push_back({command.name, "--help"});
  for (const std::vector<std::string> &words : helps) {
    std::istringstream help(refused(words).text);
    for (std::string line; std::getline(help, line);)
      EXPECT_LE(line.size(), 80U) << line;
  }
}

TEST(Arguments, ShowHelpAndVersion) {
  EXPECT_EQ(refused({"--version"}).text, "tesker-apps " TESKER_VERSION "\n");
  EXPECT_EQ(refused({"--version"}).status, ExitStatus::done);
  const Notice help = refused({"--help"});
  EXPECT_EQ(help.status, ExitStatus::done);
  EXPECT_THAT(help.text, HasSubstr("Exit status:"));
  EXPECT_THAT(help.text, HasSubstr("Examples:"));
  EXPECT_THAT(refused({"list", "--help"}).text, HasSubstr("--timeout SECONDS"));
}

} // namespace
} // namespace tesker::test
