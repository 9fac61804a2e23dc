// Every way to fail: the answer, the words, and what is left behind.
#include "tests/fileops/FileOperationsTest.h"

#include "platform/foundation/NSUserDefaults.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

class Failures : public FileOperationsTest {
protected:
  Failures() { useFakes(); }
  // Both answer what the operation did, with all that it wrote to standard error in said_.
  template <class... Arguments>
  bool quietly(bool (*operation)(Arguments...),
               const std::type_identity_t<Arguments>... arguments) {
    const StandardErrorCapture capture;
    const bool done = operation(arguments...);
    said_ = capture.text();
    return done;
  }
  bool compress() { return quietly(compressFile, source_.c_str(), output_.c_str()); }
  bool uncompress() { return quietly(uncompressFile, archive_.c_str(), target_.c_str()); }
  static std::size_t childrenStarted() { return SystemCalls::current().forked.size(); }

  std::string source_ = directory_.writeFile("in/source", "the source");
  std::string output_ = path("output");
  std::string archive_ = directory_.writeFile("archive", "the archive");
  std::string target_ = directory_.makeDirectory("target");
  std::string said_;
};

TEST_F(Failures, destroyFileIsTrueOnlyForStatusZero) {
  for (const char *status : {"1", "2", "127", "255"}) {
    useFake("rm", std::string("exit ") + status);
    EXPECT_FALSE(destroyFile("/a")) << status;
  }
  useFake("rm", "signal 9");
  EXPECT_FALSE(destroyFile("/a"));
  useFake("rm", "exit 0");
  EXPECT_TRUE(destroyFile("/a"));
  EXPECT_THAT(log_.logged, IsEmpty());
}

TEST_F(Failures, aMissingProgramIsSaidByTheChildOfEveryOperation) {
  for (const char *key : {"rm", "tar", "compress", "uncompress"})
    useProgram(key, std::string("/nowhere/") + key);
  const auto line = [](const std::string &key) {
    return "Cannot exec /nowhere/" + key + ": No such file or directory\n";
  };
  EXPECT_FALSE(quietly(destroyFile, "/a"));
  EXPECT_EQ(said_, line("rm"));
  EXPECT_FALSE(quietly(compressZFile, source_.c_str(), output_.c_str()));
  EXPECT_EQ(said_, line("compress"));
  EXPECT_FALSE(quietly(uncompressZFile, source_.c_str(), output_.c_str()));
  EXPECT_EQ(said_, line("uncompress"));
  EXPECT_FALSE(quietly(archiveTarFile, source_.c_str(), output_.c_str()));
  EXPECT_EQ(said_, line("tar"));
  EXPECT_FALSE(quietly(unarchiveTarFile, archive_.c_str(), target_.c_str()));
  EXPECT_EQ(said_, line("tar"));
  EXPECT_THAT(log_.logged, IsEmpty());

  EXPECT_FALSE(compress());
  EXPECT_THAT(said_,
              testing::AnyOf(line("tar") + line("compress"), line("compress") + line("tar")));
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(said_,
              testing::AnyOf(line("tar") + line("uncompress"), line("uncompress") + line("tar")));
  EXPECT_THAT(log_.logged, ElementsAre("Error while executing /nowhere/tar",
                                       "Error while executing /nowhere/compress",
                                       "Error while executing /nowhere/uncompress",
                                       "Error while executing /nowhere/tar"));
}

TEST_F(Failures, aChildThatCannotDoItsPartEndsWithStatus127) {
  const auto statuses = [this](PairFunction operation, const std::string &from,
                               const std::string &to) {
    SystemCalls::current() = {};
    EXPECT_FALSE(quietly(operation, from.c_str(), to.c_str()));
    std::vector<int> ended;
    for (const int status : SystemCalls::current().statuses)
      ended.push_back(WIFEXITED(status) ? WEXITSTATUS(status) : -1);
    return ended;
  };
  const std::string missing = path("missing");
  EXPECT_THAT(statuses(compressZFile, missing, output_), ElementsAre(127));
  EXPECT_THAT(statuses(compressZFile, source_, missing + "/output"), ElementsAre(127));
  EXPECT_THAT(statuses(archiveTarFile, missing + "/name", "/archive"), ElementsAre(127));
  EXPECT_THAT(statuses(unarchiveTarFile, "/archive", missing), ElementsAre(127));
  EXPECT_THAT(statuses(uncompressFile, archive_, missing), ElementsAre(0, 127));
  useProgram("tar", missing);
  useProgram("compress", missing);
  EXPECT_THAT(statuses(compressFile, source_, output_), ElementsAre(127, 127));
}

TEST_F(Failures, aProgramThatMayNotBeExecutedIsSaidWithTheSystemsReason) {
  const std::string plain = directory_.writeFile("plain", "no program", 0644);
  useProgram("rm", plain);
  EXPECT_FALSE(quietly(destroyFile, "/a"));
  EXPECT_EQ(said_, "Cannot exec " + plain + ": Permission denied\n");
}

TEST_F(Failures, aDefaultThatIsNoStringNamesNoProgram) {
  const auto pairs = NSDictionary::create();
  pairs->setObjectForKey(NSArray::create(), "rm"_ns);
  NSUserDefaults::standardUserDefaults().setVolatileDomain(*pairs, NSArgumentDomain);
  EXPECT_FALSE(quietly(destroyFile, "/a"));
  EXPECT_THAT(log_.logged, ElementsAre("The user defaults name no program for \"rm\""));
}

TEST_F(Failures, aProgramPathWithANulNamesNoProgram) {
  useProgram("rm", fake("rm") + std::string("\0x", 2));
  EXPECT_FALSE(quietly(destroyFile, "/a"));
  EXPECT_THAT(runs("rm"), IsEmpty());
}

TEST_F(Failures, compressFileStartsNothingWhenTheOutputCannotBeCreated) {
  output_ = path("missing/output");
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged, ElementsAre("cannot create '" + output_ + "':"));
  EXPECT_EQ(said_, "");
  EXPECT_EQ(childrenStarted(), 0u);
  EXPECT_FALSE(exists(path("missing")));
}

TEST_F(Failures, compressFileLeavesADirectoryInTheOutputsPlaceAlone) {
  output_ = target_;
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged, ElementsAre("cannot create '" + target_ + "':"));
  EXPECT_TRUE(std::filesystem::is_directory(target_));
}

TEST_F(Failures, compressFileWithoutAPipeRemovesTheOutputAndStartsNothing) {
  SystemCalls::current().pipeError = EMFILE;
  const auto before = openDescriptorNumbers();
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged, ElementsAre("cannot create pipe: Too many open files"));
  EXPECT_EQ(childrenStarted(), 0u);
  EXPECT_FALSE(exists(output_));
  EXPECT_EQ(openDescriptorNumbers(), before);
}

TEST_F(Failures, compressFileRunsTarEvenWhereItsDirectoryCannotBeEntered) {
  source_ = path("missing/source");
  EXPECT_TRUE(compress());
  EXPECT_EQ(said_, "Cannot chdir to " + path("missing") + ": No such file or directory\n");
  EXPECT_EQ(onlyRun("tar").directory, std::filesystem::current_path().string());
  EXPECT_THAT(onlyRun("tar").arguments, ElementsAre("cf", "-", "source"));
}

TEST_F(Failures, compressFileRemovesTheOutputWhenTarFails) {
  useFake("tar", "print half\nexit 2");
  useFake("compress", "copy");
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("tar")));
  EXPECT_FALSE(exists(output_));
  EXPECT_EQ(contents(source_), "the source");
}

TEST_F(Failures, compressFileRemovesTheOutputWhenCompressFails) {
  useFake("compress", "copy\nexit 1");
  directory_.writeFile("output", "what was there before");
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("compress")));
  EXPECT_FALSE(exists(output_));
}

TEST_F(Failures, compressFileSaysNothingSpecialAboutStatusTwoOfCompress) {
  useFake("compress", "exit 2");
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("compress")));
}

TEST_F(Failures, compressFileNamesTarBeforeCompressWhenBothFail) {
  useFakes("signal 9");
  EXPECT_FALSE(compress());
  EXPECT_THAT(log_.logged,
              ElementsAre(errorWhileExecuting("tar"), errorWhileExecuting("compress")));
  EXPECT_FALSE(exists(output_));
}

TEST_F(Failures, compressFileRefusesASourceWithoutASlash) {
  EXPECT_FALSE(quietly(compressFile, "source", output_.c_str()));
  EXPECT_THAT(log_.logged,
              ElementsAre("The source path has no directory before its name: 'source'"));
  EXPECT_EQ(childrenStarted(), 0u);
  EXPECT_FALSE(exists(output_));
  EXPECT_FALSE(quietly(compressFile, "", output_.c_str()));
  EXPECT_FALSE(exists(output_));
}

TEST_F(Failures, sourcePathsBeyondThePathBufferAreRefused) {
  const std::string directory = directory_.path() + "/";
  const std::string longest = directory + std::string(1023 - directory.size(), 'n');
  const std::string longer = longest + "n";
  EXPECT_TRUE(quietly(compressFile, longest.c_str(), output_.c_str()));
  EXPECT_TRUE(quietly(archiveTarFile, longest.c_str(), "/archive"));
  EXPECT_EQ(runs("tar").back().arguments.back(), longest.substr(directory.size()));
  EXPECT_THAT(log_.logged, IsEmpty());
  EXPECT_EQ(::unlink(output_.c_str()), 0);

  const std::string line = "The source path is longer than 1023 bytes: '" + longer + "'";
  EXPECT_FALSE(quietly(compressFile, longer.c_str(), output_.c_str()));
  EXPECT_FALSE(quietly(archiveTarFile, longer.c_str(), "/archive"));
  EXPECT_THAT(log_.logged, ElementsAre(line, line));
  EXPECT_FALSE(exists(output_));
  EXPECT_EQ(runs("tar").size(), 2u);
}

TEST_F(Failures, uncompressFileSaysCannotCreateForAnArchiveThatCannotBeOpened) {
  archive_ = path("missing");
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(log_.logged, ElementsAre("cannot create '" + archive_ + "':"));
  EXPECT_EQ(childrenStarted(), 0u);
  EXPECT_FALSE(exists(archive_));
}

TEST_F(Failures, uncompressFileWithoutAPipeStartsNothingAndKeepsTheArchive) {
  SystemCalls::current().pipeError = ENFILE;
  const auto before = openDescriptorNumbers();
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(log_.logged, ElementsAre("cannot create pipe: Too many open files in system"));
  EXPECT_EQ(childrenStarted(), 0u);
  EXPECT_EQ(openDescriptorNumbers(), before);
  EXPECT_EQ(contents(archive_), "the archive");
}

TEST_F(Failures, uncompressFileDoesNotRunTarWhereTheTargetCannotBeEntered) {
  target_ = path("missing");
  EXPECT_FALSE(uncompress());
  EXPECT_EQ(said_, "Cannot chdir to " + target_ + ": No such file or directory\n");
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("tar")));
  EXPECT_THAT(runs("tar"), IsEmpty());
  EXPECT_THAT(onlyRun("uncompress").arguments, ElementsAre("-c"));
}

TEST_F(Failures, uncompressFileKeepsWhatWasExtracted) {
  useFake("tar", "touch extracted\nexit 1");
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("tar")));
  EXPECT_TRUE(exists(target_ + "/extracted"));
  EXPECT_EQ(contents(archive_), "the archive");
}

TEST_F(Failures, uncompressFileFailsWhenOnlyUncompressFails) {
  useFake("uncompress", "exit 1");
  useFake("tar", "drain\ntouch extracted");
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(log_.logged, ElementsAre(errorWhileExecuting("uncompress")));
  EXPECT_TRUE(exists(target_ + "/extracted"));
}

TEST_F(Failures, uncompressFileNamesUncompressBeforeTarWhenBothFail) {
  useFakes("exit 3");
  EXPECT_FALSE(uncompress());
  EXPECT_THAT(log_.logged,
              ElementsAre(errorWhileExecuting("uncompress"), errorWhileExecuting("tar")));
}

TEST_F(Failures, filtersThatCannotReadTheInputMakeNoOutput) {
  const std::string missing = path("missing");
  for (PairFunction operation : {compressZFile, uncompressZFile}) {
    EXPECT_FALSE(quietly(operation, missing.c_str(), output_.c_str()));
    EXPECT_EQ(said_, "cannot open '" + missing + "' for reading:\n");
    EXPECT_FALSE(exists(output_));
  }
  EXPECT_THAT(runs("compress"), IsEmpty());
  EXPECT_THAT(runs("uncompress"), IsEmpty());
  EXPECT_THAT(log_.logged, IsEmpty());
}

TEST_F(Failures, filtersThatCannotCreateTheOutputRunNothing) {
  output_ = path("missing/output");
  for (PairFunction operation : {compressZFile, uncompressZFile}) {
    EXPECT_FALSE(quietly(operation, source_.c_str(), output_.c_str()));
    EXPECT_EQ(said_, "cannot open '" + output_ + "' for writing:\n");
  }
  EXPECT_THAT(runs("compress"), IsEmpty());
  EXPECT_THAT(runs("uncompress"), IsEmpty());
}

TEST_F(Failures, compressZFileSaysAlreadyAsCompressedOnStatusTwoAndKeepsTheOutput) {
  useFake("compress", "print larger\nexit 2");
  EXPECT_FALSE(quietly(compressZFile, source_.c_str(), output_.c_str()));
  EXPECT_THAT(log_.logged, ElementsAre(source_ + " is already as compressed as it can get"));
  EXPECT_EQ(contents(output_), "larger");
}

TEST_F(Failures, filtersKeepTheOutputAndSayNothingOnAnyOtherFailure) {
  const std::pair<const char *, PairFunction> cases[] = {
      {"exit 1", compressZFile},   {"exit 3", compressZFile},   {"signal 2", compressZFile},
      {"exit 1", uncompressZFile}, {"exit 2", uncompressZFile}, {"signal 2", uncompressZFile}};
  for (const auto &[end, operation] : cases) {
    useFakes(std::string("print part\n") + end);
    directory_.writeFile("output", "what was there before");
    EXPECT_FALSE(quietly(operation, source_.c_str(), output_.c_str())) << end;
    EXPECT_EQ(contents(output_), "part") << end;
    EXPECT_EQ(said_, "");
  }
  EXPECT_THAT(log_.logged, IsEmpty());
}

TEST_F(Failures, tarIsNotRunWhereItsDirectoryCannotBeEntered) {
  const std::string missing = path("missing");
  EXPECT_FALSE(quietly(archiveTarFile, (missing + "/name").c_str(), "/archive"));
  EXPECT_EQ(said_, "Cannot chdir to " + missing + ": No such file or directory\n");
  EXPECT_FALSE(quietly(unarchiveTarFile, "/archive", source_.c_str()));
  EXPECT_EQ(said_, "Cannot chdir to " + source_ + ": Not a directory\n");
  EXPECT_THAT(runs("tar"), IsEmpty());
  EXPECT_THAT(log_.logged, IsEmpty());
}

TEST_F(Failures, tarsVerdictIsTheAnswerAndItsFilesStay) {
  useFake("tar", "touch left\nexit 2");
  EXPECT_FALSE(quietly(archiveTarFile, source_.c_str(), "left"));
  EXPECT_TRUE(exists(path("in/left")));
  EXPECT_FALSE(quietly(unarchiveTarFile, archive_.c_str(), target_.c_str()));
  EXPECT_TRUE(exists(target_ + "/left"));
  EXPECT_TRUE(exists(archive_));
  EXPECT_THAT(log_.logged, IsEmpty());
}

TEST_F(Failures, archiveTarFileOfABareNameNeedsAWorkingDirectory) {
  const int before = ::open(".", O_PATH | O_CLOEXEC);
  const std::string gone = directory_.makeDirectory("gone");
  ASSERT_EQ(::chdir(gone.c_str()), 0);
  ASSERT_EQ(::rmdir(gone.c_str()), 0);
  EXPECT_FALSE(quietly(archiveTarFile, "name", "/archive"));
  ASSERT_EQ(::fchdir(before), 0);
  ::close(before);
  EXPECT_THAT(
      log_.logged,
      ElementsAre("Cannot find the working directory of 'name': No such file or directory"));
  EXPECT_EQ(childrenStarted(), 0u);
}

} // namespace
