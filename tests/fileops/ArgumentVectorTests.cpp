// What each operation runs, where, and how its files are wired up.
#include "tests/fileops/FileOperationsTest.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class ArgumentVectors : public FileOperationsTest {
protected:
  ArgumentVectors() { useFakes(); }
  ~ArgumentVectors() override { EXPECT_THAT(log_.logged, IsEmpty()); }
};

TEST_F(ArgumentVectors, destroyFileRunsRmOnThePath) {
  EXPECT_TRUE(destroyFile("/some where/it's"));
  EXPECT_THAT(onlyRun("rm").arguments, ElementsAre("-rf", "/some where/it's"));
}

TEST_F(ArgumentVectors, compressFileRunsTarInTheSourcesDirectoryAndCompress) {
  const std::string source = directory_.makeDirectory("in") + "/name";
  EXPECT_TRUE(compressFile(source.c_str(), path("out").c_str()));
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", "-", "name"));
  EXPECT_EQ(onlyRun("tar").directory, path("in"));
  EXPECT_THAT(onlyRun("compress").arguments, ElementsAre("-f", "-c"));
}

TEST_F(ArgumentVectors, compressFilePipesTarThroughCompressIntoTheOutputFile) {
  useFake("tar", "print packed,");
  useFake("compress", "print compressed:\ncopy");
  EXPECT_TRUE(compressFile(path("source").c_str(), path("out").c_str()));
  EXPECT_EQ(contents(path("out")), "compressed:packed,");
}

TEST_F(ArgumentVectors, compressFileOfANameInTheRootRunsTarInTheRoot) {
  EXPECT_TRUE(compressFile("/a", path("out").c_str()));
  EXPECT_EQ(onlyRun("tar").directory, "/");
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", "-", "a"));
}

TEST_F(ArgumentVectors, compressFileSplitsAtTheLastSlash) {
  directory_.makeDirectory("in/below");
  EXPECT_TRUE(compressFile(path("in/below/").c_str(), path("out").c_str()));
  EXPECT_EQ(onlyRun("tar").directory, path("in/below"));
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", "-", ""));
}

TEST_F(ArgumentVectors, uncompressFileRunsUncompressAndTarInTheTarget) {
  const std::string archive = directory_.writeFile("archive", "bytes");
  const std::string target = directory_.makeDirectory("target");
  EXPECT_TRUE(uncompressFile(archive.c_str(), target.c_str()));
  EXPECT_THAT(onlyRun("uncompress").arguments, ElementsAre("-c"));
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("xpf", "-"));
  EXPECT_EQ(onlyRun("tar").directory, target);
}

TEST_F(ArgumentVectors, uncompressFilePipesTheArchiveThroughUncompressIntoTar) {
  useFake("uncompress", "print uncompressed:\ncopy");
  useFake("tar", "print tar:\ncopy");
  const std::string archive = directory_.writeFile("archive", "bytes");
  const std::string standardOutput = path("stdout");
  const int before = ::dup(STDOUT_FILENO);
  const int file = ::open(standardOutput.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600);
  ::dup2(file, STDOUT_FILENO);
  const bool done = uncompressFile(archive.c_str(), directory_.path().c_str());
  ::dup2(before, STDOUT_FILENO);
  ::close(before);
  ::close(file);
  EXPECT_TRUE(done);
  EXPECT_EQ(contents(standardOutput), "tar:uncompressed:bytes");
}

TEST_F(ArgumentVectors, uncompressFileOpensARelativeArchiveWhereTheCallerIs) {
  const WorkingDirectory here(directory_.path());
  directory_.writeFile("archive", "bytes");
  directory_.makeDirectory("target");
  EXPECT_TRUE(uncompressFile("archive", "target"));
  EXPECT_EQ(onlyRun("tar").directory, path("target"));
}

struct Filter {
  PairFunction run;
  const char *key;
};

class ZArgumentVectors : public ArgumentVectors, public testing::WithParamInterface<Filter> {};
INSTANTIATE_TEST_SUITE_P(EachWay, ZArgumentVectors,
                         testing::Values(Filter{compressZFile, "compress"},
                                         Filter{uncompressZFile, "uncompress"}),
                         [](const auto &filter) { return std::string(filter.param.key); });

TEST_P(ZArgumentVectors, runTheProgramFromTheInputToTheOutputFile) {
  useFake(GetParam().key, "print made of \ncopy");
  const std::string input = directory_.writeFile("input", "bytes");
  EXPECT_TRUE(GetParam().run(input.c_str(), path("output").c_str()));
  EXPECT_THAT(onlyRun(GetParam().key).arguments, ElementsAre("-c"));
  EXPECT_EQ(contents(path("output")), "made of bytes");
}

TEST_F(ArgumentVectors, archiveTarFileRunsTarInTheSourcesDirectory) {
  directory_.makeDirectory("in");
  EXPECT_TRUE(archiveTarFile(path("in/name").c_str(), "/archive"));
  EXPECT_EQ(onlyRun("tar").directory, path("in"));
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", "/archive", "name"));
}

TEST_F(ArgumentVectors, archiveTarFileOfANameInTheRootRunsTarInTheRoot) {
  EXPECT_TRUE(archiveTarFile("/name", "/archive"));
  EXPECT_EQ(onlyRun("tar").directory, "/");
}

TEST_F(ArgumentVectors, archiveTarFileTakesABareNameFromTheWorkingDirectory) {
  const WorkingDirectory here(directory_.makeDirectory("here"));
  EXPECT_TRUE(archiveTarFile("name", "/archive"));
  EXPECT_EQ(onlyRun("tar").directory, path("here"));
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", "/archive", "name"));
}

TEST_F(ArgumentVectors, archiveTarFileLeavesARelativeArchiveToTheSourcesDirectory) {
  useProgram("tar", "/usr/bin/tar");
  const WorkingDirectory here(directory_.makeDirectory("here"));
  directory_.writeFile("in/name", "bytes");
  EXPECT_TRUE(archiveTarFile(path("in/name").c_str(), "made.tar"));
  EXPECT_TRUE(exists(path("in/made.tar")));
  EXPECT_FALSE(exists(path("here/made.tar")));
}

TEST_F(ArgumentVectors, unarchiveTarFileRunsTarInTheTarget) {
  EXPECT_TRUE(unarchiveTarFile("/archive", directory_.path().c_str()));
  EXPECT_EQ(onlyRun("tar").directory, directory_.path());
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("xpf", "/archive"));
}

TEST_F(ArgumentVectors, unarchiveTarFileLeavesARelativeArchiveToTheTarget) {
  useProgram("tar", "/usr/bin/tar");
  directory_.writeFile("name", "bytes");
  directory_.makeDirectory("target");
  ASSERT_TRUE(archiveTarFile(path("name").c_str(), path("target/in-target.tar").c_str()));
  EXPECT_TRUE(unarchiveTarFile("in-target.tar", path("target").c_str()));
  EXPECT_EQ(contents(path("target/name")), "bytes");
}

TEST_F(ArgumentVectors, namesThatBeginWithADashAreNoOptions) {
  EXPECT_TRUE(destroyFile("-v"));
  EXPECT_THAT(onlyRun("rm").arguments, ElementsAre("-rf", "./-v"));
  EXPECT_TRUE(archiveTarFile(path("-Tnames").c_str(), "/archive"));
  EXPECT_TRUE(compressFile(path("-Tnames").c_str(), path("out").c_str()));
  ASSERT_EQ(runs("tar").size(), 2u);
  EXPECT_THAT(runs("tar")[0].arguments, ElementsAre("cf", "/archive", "./-Tnames"));
  EXPECT_THAT(runs("tar")[1].arguments, ElementsAre("cf", "-", "./-Tnames"));
}

TEST_F(ArgumentVectors, archivesAreFilesOfThatNameAndNeitherStreamsNorFilesElsewhere) {
  useProgram("tar", "/usr/bin/tar");
  directory_.writeFile("in/name", "bytes");
  for (const std::string archive : {"-", "host:file", "user@host:dir/file"}) {
    directory_.makeDirectory("in/user@host:dir");
    EXPECT_TRUE(archiveTarFile(path("in/name").c_str(), archive.c_str())) << archive;
    EXPECT_TRUE(exists(path("in/" + archive))) << archive;
    directory_.writeFile("in/name", "changed");
    EXPECT_TRUE(unarchiveTarFile(archive.c_str(), path("in").c_str())) << archive;
    EXPECT_EQ(contents(path("in/name")), "bytes") << archive;
  }
}

TEST_F(ArgumentVectors, otherArchivesAreGivenAsTheyAre) {
  for (const char *archive : {"a", "./host:file", "/a:b", "dir/a:b", "", "a-"}) {
    ::unlink((fake("tar") + ".record").c_str());
    EXPECT_TRUE(archiveTarFile(path("name").c_str(), archive));
    EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", archive, "name"));
  }
}

TEST_F(ArgumentVectors, everyCallReadsTheProgramsAnew) {
  EXPECT_TRUE(destroyFile("/a"));
  useProgram("rm", fake("tar"));
  EXPECT_TRUE(destroyFile("/b"));
  EXPECT_THAT(onlyRun("rm").arguments, ElementsAre("-rf", "/a"));
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("-rf", "/b"));
}

TEST_F(ArgumentVectors, outputFilesAreEmptiedFirstAndGetTheModeThatTheUmaskLeaves) {
  const mode_t before = ::umask(007);
  useFake("tar", "print new");
  useFake("compress", "copy");
  const std::string input = directory_.writeFile("input", "new");
  directory_.writeFile("old", "something longer");
  EXPECT_TRUE(compressFile(input.c_str(), path("old").c_str()));
  EXPECT_EQ(contents(path("old")), "new");
  directory_.writeFile("old", "something longer");
  EXPECT_TRUE(compressZFile(input.c_str(), path("old").c_str()));
  EXPECT_EQ(contents(path("old")), "new");
  EXPECT_TRUE(compressFile(input.c_str(), path("one").c_str()));
  EXPECT_TRUE(compressZFile(input.c_str(), path("two").c_str()));
  ::umask(before);
  for (const char *name : {"one", "two"}) {
    struct stat status {};
    ASSERT_EQ(::stat(path(name).c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0660u) << name;
  }
}

} // namespace
