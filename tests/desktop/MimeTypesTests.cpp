#include "desktop/MimeTypes.h"

#include "tests/desktop/KeptReports.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

class MimeTypesTest : public testing::Test {
protected:
  void write(const std::string &name, const std::string &text) {
    directory.writeFile(name.substr(0, 1) + "/mime/" + name.substr(2), text);
  }
  MimeTypes types() {
    MimeTypes read;
    for (const char *name : {"a", "b"})
      read.add(directory.path(name), reports);
    return read;
  }
  std::map<std::string, std::string> extensions() { return types().typesOfExtensions(); }

  const TemporaryDirectory directory;
  KeptReports reports;
};

TEST_F(MimeTypesTest, AreOfPlainSuffixesAlone) {
  write("a/globs2", "# comment\n50:text/plain:*.txt\n50:text/x-make:makefile\n50:image/x:*.t?f\n"
                    "50:application/x-tar-gz:*.tar.gz\n50:text/x-log:*.log.[0-9]\n50:a/b:*.\n"
                    "50:half\n\n50:text/x-readme:readme*\n");
  EXPECT_THAT(extensions(), ElementsAre(Pair("txt", "text/plain")));
}

TEST_F(MimeTypesTest, GoByTheHighestWeightAndThenByTheFirst) {
  write("a/globs2", "50:low/one:*.x\n50:first/y:*.y\n");
  write("b/globs2", "80:high/one:*.x\n50:second/y:*.y\n");
  EXPECT_THAT(extensions(), ElementsAre(Pair("x", "high/one"), Pair("y", "first/y")));
}

TEST_F(MimeTypesTest, TellCasesApartWhereTheGlobDoes) {
  write("a/globs2", "50:text/x-c++src:*.C:cs\n50:text/x-c++src:*.C\n50:text/x-csrc:*.c:cs\n"
                    "50:text/x-csrc:*.c\n50:image/bmp:*.BMP\n");
  EXPECT_THAT(extensions(), ElementsAre(Pair("C", "text/x-c++src"), Pair("bmp", "image/bmp"),
                                        Pair("c", "text/x-csrc")));
}

TEST_F(MimeTypesTest, HaveNoGlobsOfFurtherDatabasesWhereOneEndsThem) {
  write("a/globs2", "50:text/x-own:__NOGLOBS__\n50:text/x-own:*.own\n");
  write("b/globs2", "50:text/x-own:*.old\n50:text/x-other:*.other\n");
  EXPECT_THAT(extensions(), ElementsAre(Pair("other", "text/x-other"), Pair("own", "text/x-own")));
}

TEST_F(MimeTypesTest, AreThoseOfTheOlderFileWhereThereIsNoOther) {
  write("a/globs", "# comment\ntext/plain:*.txt\n");
  EXPECT_THAT(extensions(), ElementsAre(Pair("txt", "text/plain")));
}

TEST_F(MimeTypesTest, AreKindsOfOthers) {
  write("a/subclasses", "text/x-python application/x-executable\ntext/x-python text/plain\n"
                        "application/x-executable a/loop\na/loop text/x-python\n");
  write("b/subclasses", "text/x-python text/x-script\n");
  write("b/aliases", "text/python text/x-python\ntext/x-script text/plain\n");
  EXPECT_THAT(types().withParents("text/python"),
              ElementsAre("text/x-python", "application/x-executable", "text/plain", "a/loop"));
  EXPECT_EQ(types().unaliased("text/x-script"), "text/plain");
  EXPECT_EQ(types().unaliased("other/type"), "other/type");
}

TEST_F(MimeTypesTest, AreNoneWithoutADatabase) {
  EXPECT_THAT(extensions(), IsEmpty());
  EXPECT_THAT(reports.failures, IsEmpty());
}

TEST_F(MimeTypesTest, SayWhatCannotBeRead) {
  directory.makeDirectory("a/mime/aliases");
  EXPECT_THAT(extensions(), IsEmpty());
  EXPECT_THAT(reports.notes, ElementsAre(testing::HasSubstr("a/mime/aliases: not a regular")));
}

} // namespace
} // namespace tesker::test
