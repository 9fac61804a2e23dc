#include "desktop/ExecLine.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;

// The words, with codes as they are written.
std::vector<std::string> words(std::string_view line) {
  const std::optional<ExecLine> exec = parseExec(line);
  std::vector<std::string> texts;
  for (const ExecWord &word : exec ? exec->words : std::vector<ExecWord>()) {
    std::string &text = texts.emplace_back();
    for (const ExecPiece &piece : word.pieces)
      text += piece.kind == ExecPiece::Kind::text
                  ? piece.text
                  : std::string("<") + "?fFick"[static_cast<int>(piece.kind)] + ">";
  }
  return texts;
}

TEST(ExecLine, IsWordsBetweenBlanks) {
  EXPECT_THAT(words("  edit  -n\t--new %F "), ElementsAre("edit", "-n", "--new", "<F>"));
}

TEST(ExecLine, KeepsWhatIsQuoted) {
  EXPECT_THAT(
      words(R"("/opt/my edit" "a \"b\" \$HOME \`x\` \\ \n" 'c \" d' e\ f "" %f)"),
      ElementsAre("/opt/my edit", R"(a "b" $HOME `x` \ \n)", R"(c \" d)", "e f", "", "<f>"));
}

TEST(ExecLine, HasCodesAloneAndWithinWords) {
  EXPECT_THAT(words("a %u %U %i %c %k --file=%f 100%% x%"),
              ElementsAre("a", "<f>", "<F>", "<i>", "<c>", "<k>", "--file=<f>", "100%", "x%"));
}

TEST(ExecLine, TakesCodesThatAreOutOfUseOrUnknownForNothing) {
  EXPECT_THAT(words("a %d %D %n %N %v %m %z -x%m %f"), ElementsAre("a", "-x", "<f>"));
}

TEST(ExecLine, GetsOneFileWhereItNamesNone) {
  EXPECT_THAT(words("a --new"), ElementsAre("a", "--new", "<f>"));
  EXPECT_THAT(words("a --file=%f"), ElementsAre("a", "--file=<f>"));
}

TEST(ExecLine, TakesAllFilesOnlyWithAWordForThem) {
  EXPECT_TRUE(parseExec("a %F")->takesAllFiles());
  EXPECT_TRUE(parseExec("a %U")->takesAllFiles());
  EXPECT_FALSE(parseExec("a %f")->takesAllFiles());
  EXPECT_FALSE(parseExec("a --files=%F")->takesAllFiles());
  EXPECT_FALSE(parseExec("a")->takesAllFiles());
}

TEST(ExecLine, IsNothingWithoutAProgramOrWithAnOpenQuotation) {
  for (const char *line :
       {"", "  ", "\"a", "a 'b", "%f", "%d", "\"\" x", "a%f", "%i a", "a \"b\\\""})
    EXPECT_FALSE(parseExec(line).has_value()) << line;
}

} // namespace
} // namespace tesker::test
