// The command tesker-fileop, as a process.
#include "tests/fileops/FileopCommand.h"

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::StartsWith;

namespace {

TEST_F(FileopCommand, doesEveryOperationByTheSitesPrograms) {
  const std::string text(10'000, 't');
  const std::string source = directory_.writeFile("in/-s \n\xff", text);
  const std::string target = directory_.makeDirectory("target");
  expectDone({"tar", source, path("archive")});
  expectDone({"untar", path("archive"), target});
  EXPECT_EQ(contents(target + "/-s \n\xff"), text);
  expectDone({"destroy", target + "/-s \n\xff"});
  EXPECT_FALSE(exists(target + "/-s \n\xff"));
  expectDone({"compress", source, path("archive.Z")});
  expectDone({"uncompress", path("archive.Z"), target});
  EXPECT_EQ(contents(target + "/-s \n\xff"), text);
  expectDone({"zcompress", source, path("z")});
  expectDone({"zuncompress", path("z"), path("out")});
  EXPECT_EQ(contents(path("out")), text);
}

TEST_F(FileopCommand, saysWhichOperationFailedOnWhichPathAfterTheReason) {
  const std::string out = path("missing/out");
  const std::string said = "tesker-fileop: Could not ";
  expectNotDone({"compress", "/a/b", out},
                "cannot create '" + out + "':\n" + said + "compress '/a/b' into '" + out + "'.\n");
  expectNotDone({"uncompress", out, "/a"},
                "cannot create '" + out + "':\n" + said + "uncompress '" + out + "' in '/a'.\n");
  expectNotDone({"zcompress", out, "/a"}, "cannot open '" + out + "' for reading:\n" + said +
                                              "compress the file '" + out + "' into '/a'.\n");
  expectNotDone({"zuncompress", "/dev/null", out},
                "cannot open '" + out + "' for writing:\n" + said +
                    "uncompress the file '/dev/null' into '" + out + "'.\n");
  const std::string chdir = "Cannot chdir to " + path("missing") + ": No such file or directory\n";
  expectNotDone({"tar", out, "/a"}, chdir + said + "pack '" + out + "' into '/a'.\n");
  expectNotDone({"untar", "/a", path("missing")},
                chdir + said + "extract '/a' in '" + path("missing") + "'.\n");
  const std::string no = "--program=rm=" + useFake("rm", "exit 1");
  expectNotDone({no, "destroy", "/a"}, said + "remove '/a'.\n");
}

TEST_F(FileopCommand, refusesToCompressANameWithoutADirectory) {
  expectNotDone({"compress", "name", path("out")},
                "The source path has no directory before its name: 'name'\n"
                "tesker-fileop: Could not compress 'name' into '" +
                    path("out") + "'.\n");
}

TEST_F(FileopCommand, doesNotRemoveWhatALinkLeadsToForASlashAfterIt) {
  const std::string kept = directory_.writeFile("directory/file", "kept");
  directory_.makeLink("link", "directory");
  const std::string link = path("link");
  for (const char *end : {"/", "//", "/.", "/./", "//.//", "/././"})
    expectNotDone({"destroy", link + end},
                  "tesker-fileop: '" + link + end +
                      "' means the directory that the symbolic link '" + link +
                      "' leads to; leave the end out to remove the link, or name the " +
                      "directory itself.\ntesker-fileop: Could not remove '" + link + end + "'.\n");
  EXPECT_EQ(contents(kept), "kept");
  EXPECT_TRUE(exists(link));
}

TEST_F(FileopCommand, removesLinksAndWhatIsBelowThemAndDirectoriesWithASlash) {
  const std::string kept = directory_.writeFile("directory/file", "kept");
  directory_.writeFile("directory/below/other", "");
  directory_.makeLink("link", "directory");
  expectDone({"destroy", path("link/below/")});
  EXPECT_FALSE(exists(path("directory/below")));
  expectDone({"destroy", path("link")});
  EXPECT_FALSE(exists(path("link")));
  EXPECT_EQ(contents(kept), "kept");
  expectDone({"destroy", path("directory//")});
  EXPECT_FALSE(exists(path("directory")));
}

TEST_F(FileopCommand, overridesProgramsForOneCallAndNoOthers) {
  const std::string tar = useFake("tar", "print packed");
  const std::string compress = useFake("compress", "copy");
  expectDone({"--program", "tar=/nowhere", "--program", "tar=" + tar, "compress", "--program",
              "compress=" + compress, "/a", path("out")});
  EXPECT_EQ(contents(path("out")), "packed");
  EXPECT_THAT(onlyRun("compress").arguments, ElementsAre("-f", "-c"));
  const std::string file = directory_.writeFile("file", "");
  expectDone({"destroy", "--program", "tar=/nowhere", file});
  EXPECT_FALSE(exists(file));
}

TEST_F(FileopCommand, takesNamesOfOperationsAndOfOptionsAsPaths) {
  const std::string rm = "rm=" + useFake("rm");
  expectDone({"--program", rm, "destroy", "tar"});
  expectDone({"--program", rm, "destroy", "--", "--help"});
  expectDone({"--program", rm, "destroy", ""});
  ASSERT_EQ(runs("rm").size(), 3u);
  EXPECT_THAT(runs("rm")[0].arguments, ElementsAre("-rf", "tar"));
  EXPECT_THAT(runs("rm")[1].arguments, ElementsAre("-rf", "./--help"));
  EXPECT_THAT(runs("rm")[2].arguments, ElementsAre("-rf", ""));
}

TEST_F(FileopCommand, answersTwoWhenTheCommandLineMakesNoSense) {
  expectUsageError({}, "subcommand is required");
  expectUsageError({"shred", "/a"}, "unknown operation 'shred'\nTry 'tesker-fileop --help'.\n");
  expectUsageError({"destory", "/a"}, "unknown operation 'destory'; did you mean 'destroy'?\n");
  expectUsageError({"destroy"}, "PATH is required");
  expectUsageError({"destroy", "/a", "/b"},
                   "unexpected argument '/b'\nTry 'tesker-fileop destroy --help'.\n");
  expectUsageError({"tar", "/a"}, "ARCHIVE is required");
  expectUsageError({"destroy", "--force", "/a"}, "--force");
  expectUsageError({"--program", "gzip=/bin/gzip", "destroy", "/a"}, "no program is called 'gzip'");
  expectUsageError({"--program", "tar", "destroy", "/a"}, "the path of 'tar' is missing");
  expectUsageError({"--program", "tar=", "destroy", "/a"}, "the path of 'tar' is missing");
  expectUsageError({"destroy", "/a", "--program"}, "--program");
}

TEST_F(FileopCommand, explainsItself) {
  const Ended help = run({"--help"});
  EXPECT_EQ(help.status, 0);
  for (const char *word : {"destroy", "compress", "uncompress", "zcompress", "zuncompress", "tar",
                           "untar", "--program KEY=PATH"})
    EXPECT_THAT(help.output, HasSubstr(word));
  EXPECT_THAT(run({"tar", "--help"}).output, HasSubstr("ARCHIVE"));
  EXPECT_THAT(run({"--version"}).output, StartsWith("tesker-fileop "));
}

TEST_F(FileopCommand, namesTheArgumentsOfEachOperationInItsHelp) {
  const std::pair<std::string, std::string> operations[] = {{"destroy", "PATH"},
                                                            {"compress", "SOURCE OUTPUT"},
                                                            {"uncompress", "ARCHIVE DIRECTORY"},
                                                            {"zcompress", "INPUT OUTPUT"},
                                                            {"zuncompress", "INPUT OUTPUT"},
                                                            {"tar", "SOURCE ARCHIVE"},
                                                            {"untar", "ARCHIVE DIRECTORY"}};
  for (const auto &[name, arguments] : operations)
    EXPECT_THAT(run({name, "--help"}).output,
                HasSubstr("\nUsage: tesker-fileop " + name + " [OPTIONS] " + arguments + "\n"));
}

} // namespace
