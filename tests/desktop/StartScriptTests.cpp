#include "desktop/StartScript.h"

#include "tests/support/TemporaryDirectory.h"

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>

namespace tesker::test {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;
using testing::UnorderedElementsAre;

class StartScript : public testing::Test {
protected:
  StartScript() {
    // Says where it is and what it was given, a line for each start.
    const std::string text = "#!/bin/sh\nline=$PWD\nfor word do line=\"$line<$word>\"; done\n"
                             "echo \"$line\" >>" +
                             quotedForShell(told) + "\n";
    for (const char *name : {"bin/edit", "bin/odd 'one'", "bin/xdg-terminal-exec"})
      directory.writeFile(name, text, 0755);
    entry.id = "org.example.Edit.desktop";
    entry.file = "/usr/share/applications/org.example.Edit.desktop";
  }
  // What the programs have told of, less the working directory, when the script has run.
  std::vector<std::string> run(const std::string &arguments) {
    const std::string script = directory.writeFile("script", startScript(entry), 0755);
    std::remove(told.c_str());
    const std::string line = "cd " + quotedForShell(directory.path("work")) + " && PATH=" +
                             quotedForShell(directory.path("bin") + ":/usr/bin:/bin") + " " +
                             quotedForShell(script) + " " + arguments;
    EXPECT_EQ(std::system(line.c_str()), 0); // NOLINT(cert-env33-c)
    std::vector<std::string> lines;
    std::ifstream stream(told);
    for (std::string each; std::getline(stream, each);)
      lines.push_back(each.starts_with(work) ? each.substr(work.size()) : each);
    return lines;
  }

  const TemporaryDirectory directory;
  const std::string told = directory.path("told");
  const std::string work = directory.makeDirectory("work");
  DesktopEntry entry;
};

TEST_F(StartScript, HandsOnAllFilesAtOnceWhereTheLineTakesThem) {
  entry.exec = "edit --new %F --end";
  EXPECT_THAT(run("/a '/b c'"), ElementsAre("<--new></a></b c><--end>"));
  EXPECT_THAT(run(""), ElementsAre("<--new><--end>"));
}

TEST_F(StartScript, StartsOnceForEachFileWhereTheLineTakesOne) {
  entry.exec = "edit --file=%f";
  EXPECT_THAT(run("/a '/b c'"), UnorderedElementsAre("<--file=/a>", "<--file=/b c>"));
  EXPECT_THAT(run("/a"), ElementsAre("<--file=/a>"));
  entry.exec = "edit %u";
  EXPECT_THAT(run("/a /b"), UnorderedElementsAre("</a>", "</b>"));
  EXPECT_THAT(run(""), ElementsAre(""));
}

TEST_F(StartScript, LetsNoShellLookAtTheWords) {
  entry.exec = R"("odd 'one'" "\$HOME \`id\`" ; "'" "a
b" * $(id) %%f %F)";
  EXPECT_THAT(run("'/$(x) \"y'"),
              ElementsAre("<$HOME `id`><;><'><a", "b><*><$(id)><%f></$(x) \"y>"));
}

TEST_F(StartScript, FillsInWhatTheEntryIs) {
  entry.exec = "edit %i %c %k -i=%i";
  entry.icon = "edit icon";
  entry.localName = "L'éditeur";
  EXPECT_THAT(run(""),
              ElementsAre("<--icon><edit icon><L'éditeur><" + entry.file + "><-i=edit icon>"));
  entry.icon.clear();
  entry.exec = "edit %i %c";
  EXPECT_THAT(run(""), ElementsAre("<L'éditeur>"));
}

TEST_F(StartScript, StartsInTheEntrysDirectoryWithTheSameFiles) {
  const std::string other = directory.makeDirectory("an other's");
  entry.exec = "edit %F";
  entry.directory = other;
  EXPECT_THAT(run("b 'c d' /e file:///f"),
              ElementsAre(other + "<" + work + "/b><" + work + "/c d></e><file:///f>"));
}

TEST_F(StartScript, StartsInATerminal) {
  entry.exec = "edit %f";
  entry.needsTerminal = true;
  EXPECT_THAT(run("/a"), ElementsAre("<edit></a>"));
}

TEST_F(StartScript, AsksForActivationFirst) {
  entry.isActivatable = true;
  entry.exec = "edit %F";
  directory.writeFile("bin/gapplication", "#!/bin/sh\necho \"$@\" >>" + quotedForShell(told), 0755);
  EXPECT_THAT(run("/a /b"), ElementsAre("launch org.example.Edit /a /b"));
  directory.writeFile("bin/gapplication", "#!/bin/sh\nexit 1\n", 0755);
  EXPECT_THAT(run("/a /b"), ElementsAre("</a></b>"));
  entry.id = "not an id.desktop";
  EXPECT_THAT(startScript(entry), testing::Not(HasSubstr("gapplication")));
}

TEST_F(StartScript, IsNotLedAstrayByAnIdOfSeveralLines) {
  entry.id = "a\nexit 3\n.desktop";
  entry.exec = "edit %F";
  EXPECT_THAT(run("/a"), ElementsAre("</a>"));
}

} // namespace
} // namespace tesker::test
