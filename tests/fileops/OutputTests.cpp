// What is never written into: the source by any of its names, a part of it, and what is not a file.
#include "tests/fileops/FileopCommand.h"
#include "tests/fileops/TreeSnapshot.h"
#include "tests/support/SpecialFiles.h"

#include <filesystem>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

// An operation that makes an output file.
struct Making {
  PairFunction run;
  const char *name;    // of the command
  const char *refusal; // the beginning of its log line
  const char *ending;  // and the end, after the output
  const char *said;    // by the command, with "%s" for both paths
};

constexpr Making kMaking[] = {
    {compressFile, "compress", "cannot create '", "':", "Could not compress '%s' into '%s'."},
    {archiveTarFile, "tar", "cannot create '", "':", "Could not pack '%s' into '%s'."},
    {compressZFile, "zcompress", "cannot open '",
     "' for writing:", "Could not compress the file '%s' into '%s'."},
    {uncompressZFile, "zuncompress", "cannot open '",
     "' for writing:", "Could not uncompress the file '%s' into '%s'."},
};

void PrintTo(const Making &making, std::ostream *out) { *out << making.name; }

class Outputs : public FileopCommand {
protected:
  // The operation answers false, says so in its line, and starts nothing.
  void expectRefused(const Making &making, const std::string &source, const std::string &output) {
    log_.logged.clear();
    SystemCalls::current() = {};
    EXPECT_FALSE(making.run(source.c_str(), output.c_str())) << making.name << " " << output;
    EXPECT_THAT(log_.logged, ElementsAre(making.refusal + output + making.ending)) << making.name;
    EXPECT_THAT(SystemCalls::current().forked, IsEmpty()) << making.name << " " << output;
  }
  void expectDoneHere(const Making &making, const std::string &source, const std::string &output) {
    log_.logged.clear();
    EXPECT_TRUE(making.run(source.c_str(), output.c_str())) << making.name << " " << output;
    EXPECT_THAT(log_.logged, IsEmpty());
  }

  const std::string text_ = std::string(5000, 't');
  const std::string source_ = directory_.writeFile("in/source", text_);
};

class MakingOutputs : public Outputs, public testing::WithParamInterface<Making> {
protected:
  // Something that the operation can do its work on.
  std::string goodInput() const {
    if (GetParam().run != uncompressZFile)
      return source_;
    EXPECT_TRUE(compressZFile(source_.c_str(), path("z").c_str()));
    return path("z");
  }
};
INSTANTIATE_TEST_SUITE_P(By, MakingOutputs, testing::ValuesIn(kMaking),
                         [](const auto &making) { return std::string(making.param.name); });

// The operations that pack directories.
class PackingOutputs : public MakingOutputs {};
INSTANTIATE_TEST_SUITE_P(By, PackingOutputs, testing::Values(kMaking[0], kMaking[1]),
                         [](const auto &making) { return std::string(making.param.name); });

TEST_P(MakingOutputs, areNeverTheSourceByAnyName) {
  directory_.makeLink("in/link", "source");
  directory_.makeLink("link to link", "in/link");
  directory_.makeLink("other", "in");
  std::filesystem::create_hard_link(source_, path("hard"));
  for (const char *name :
       {"in/source", "in/../in//source", "in/link", "link to link", "other/source", "hard"}) {
    expectRefused(GetParam(), source_, path(name));
    EXPECT_EQ(contents(source_), text_) << name;
    EXPECT_TRUE(exists(path(name))) << name;
  }
}

TEST_P(MakingOutputs, areNeverWhatALinkThatIsTheSourceLeadsTo) {
  directory_.makeLink("link", "in/source");
  expectRefused(GetParam(), path("link"), source_);
  expectRefused(GetParam(), path("link"), path("link"));
  EXPECT_EQ(contents(path("link")), text_);
}

TEST_P(PackingOutputs, areNeverALinkThatIsTheSourceAndLeadsNowhere) {
  directory_.makeLink("link", "missing");
  expectRefused(GetParam(), path("link"), path("link"));
  EXPECT_FALSE(exists(path("missing")));
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
}

TEST_P(MakingOutputs, areRefusedByTheCommandToo) {
  std::filesystem::create_hard_link(source_, path("hard"));
  const Making &making = GetParam();
  for (const std::string &output : {source_, path("hard")})
    expectNotDone({making.name, source_, output},
                  making.refusal + output + making.ending +
                      "\ntesker-fileop: " + formatted(making.said, {source_, output}) + "\n");
  EXPECT_EQ(contents(source_), text_);
}

TEST_P(MakingOutputs, areNeitherFifosNorSocketsNorDirectories) {
  makeFifo(path("fifo"));
  makeSocket(path("socket"));
  directory_.makeDirectory("directory");
  directory_.makeLink("link", "fifo");
  for (const char *name : {"fifo", "socket", "directory", "link"}) {
    expectRefused(GetParam(), source_, path(name));
    EXPECT_TRUE(exists(path(name))) << name;
  }
  EXPECT_EQ(run({GetParam().name, source_, path("fifo")}).status, 1);
}

TEST_P(MakingOutputs, mayBeDevices) {
  expectDoneHere(GetParam(), goodInput(), "/dev/null");
  struct stat status {};
  ASSERT_EQ(::stat("/dev/null", &status), 0);
  EXPECT_TRUE(S_ISCHR(status.st_mode));
}

// As /dev/stdout is in a pipeline.
TEST_P(MakingOutputs, mayBePipesThatAreRead) {
  makeFifo(path("fifo"));
  const int reader = ::open(path("fifo").c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  ASSERT_GE(reader, 0);
  expectDoneHere(GetParam(), goodInput(), path("fifo"));
  EXPECT_TRUE(exists(path("fifo")));
  ::close(reader);
}

TEST_P(MakingOutputs, mayBeOtherFilesWithSeveralNames) {
  const std::string output = directory_.writeFile("output", "before");
  std::filesystem::create_hard_link(output, path("second name"));
  directory_.makeLink("link", "output");
  expectDoneHere(GetParam(), goodInput(), path("link"));
  EXPECT_NE(contents(path("second name")), "before");
  EXPECT_TRUE(std::filesystem::is_symlink(path("link")));
}

TEST_F(Outputs, ofTarAreFoundInTheSourcesDirectory) {
  const Making &tar = kMaking[1];
  directory_.writeFile("here/source", "another");
  std::filesystem::create_hard_link(source_, path("here/hard"));
  const WorkingDirectory here(path("here"));
  expectRefused(tar, source_, "source");
  expectRefused(tar, "../in/source", "../in/source");
  expectRefused(tar, "source", "./source");
  expectDoneHere(tar, source_, "hard");
  EXPECT_EQ(contents(source_), text_);
  EXPECT_TRUE(exists(path("in/hard")));
  EXPECT_EQ(contents(path("here/source")), "another");
}

TEST_F(Outputs, ofTarMayHaveTheNameOfAFileWhereTheCallerIs) {
  const WorkingDirectory here(directory_.makeDirectory("here"));
  makeFifo("made.tar");
  expectDoneHere(kMaking[1], source_, "made.tar");
  EXPECT_TRUE(std::filesystem::is_regular_file(path("in/made.tar")));
}

TEST_F(Outputs, ofCompressAreNotWhatTarFindsWhereTheCallerIs) {
  const WorkingDirectory in(path("in"));
  expectRefused(kMaking[0], path("missing/source"), "source");
  EXPECT_EQ(contents(source_), text_);
}

TEST_F(Outputs, ofCompressMayHaveTheNameOfTheSource) {
  const WorkingDirectory here(directory_.makeDirectory("here"));
  directory_.writeFile("here/source", "before");
  expectDoneHere(kMaking[0], source_, "source");
  EXPECT_NE(contents("source"), "before");
}

TEST_P(PackingOutputs, areNeverAFileOfTheTree) {
  const std::string part = directory_.writeFile("tree/below/part", "part");
  directory_.makeDirectory("aside");
  directory_.writeFile("tree/below/single", "of one name");
  directory_.makeLink("aside/link", "../tree/below/part");
  directory_.makeLink("aside/link to single", "../tree/below/single");
  directory_.makeLink("way in", "tree/below");
  std::filesystem::create_hard_link(part, path("aside/hard"));
  const TreeSnapshot before = snapshotOf(path("tree"));
  for (const char *name :
       {"tree/below/part", "aside/link", "aside/hard", "way in/part", "tree/../tree/below/part",
        "tree/below/single", "aside/link to single", "way in/single"}) {
    expectRefused(GetParam(), path("tree"), path(name));
    expectRefused(GetParam(), path("tree/."), path(name));
    expectRefused(GetParam(), path("tree/"), path(name));
    expectRefused(GetParam(), path("tree/below/.."), path(name));
    EXPECT_EQ(snapshotOf(path("tree")), before) << name;
  }
}

TEST_P(PackingOutputs, mayBeAFileBesideTheTreeOrBehindALinkInIt) {
  directory_.writeFile("tree/part", "part");
  directory_.makeLink("tree/link", "../tree and more");
  directory_.writeFile("tree and more", "before");
  directory_.makeLink("link to tree", "tree");
  expectDoneHere(GetParam(), path("tree"), path("tree and more"));
  expectDoneHere(GetParam(), path("tree"), path("tree/link"));
  expectDoneHere(GetParam(), path("link to tree"), path("tree/part"));
}

TEST_P(PackingOutputs, thatAreNewInTheTreeCostNothingOfIt) {
  directory_.writeFile("tree/part", "part");
  directory_.writeFile("tree/below/other", text_);
  const TreeSnapshot before = snapshotOf(path("tree"));
  const StandardErrorCapture quiet;
  (void)GetParam().run(path("tree").c_str(), path("tree/new").c_str());
  ::unlink(path("tree/new").c_str());
  EXPECT_EQ(snapshotOf(path("tree")), before);
}

// What cannot be listed may hold a second name of the output.
TEST_P(PackingOutputs, ofSeveralNamesNeedATreeThatCanBeListed) {
  class Unlisting : public OperatingSystem {
    std::unique_ptr<DirectoryStream> openDirectory(const char *) override { return nullptr; }
  } system;
  directory_.writeFile("tree/below/part", "part");
  directory_.writeFile("output", "before");
  const ScopedOperatingSystem unlisting(system);
  expectDoneHere(GetParam(), path("tree"), path("output"));
  std::filesystem::create_hard_link(path("output"), path("hard"));
  expectRefused(GetParam(), path("tree"), path("output"));
}

// The file is cut by opening it; a device is not made by that, and is nobody's partial output.
TEST_F(Outputs, thatAreDevicesAreNotRemovedWhenCompressFails) {
  class Keeping : public OperatingSystem {
  public:
    int unlinkAt(int, const char *path, int) override {
      removed.emplace_back(path);
      return 0;
    }
    std::vector<std::string> removed;
  } system;
  const ScopedOperatingSystem keeping(system);
  useFakes("exit 1");
  EXPECT_FALSE(compressFile(source_.c_str(), "/dev/null"));
  EXPECT_THAT(system.removed, IsEmpty());
  SystemCalls::current().pipeError = EMFILE;
  EXPECT_FALSE(compressFile(source_.c_str(), "/dev/null"));
  EXPECT_THAT(system.removed, IsEmpty());
  EXPECT_FALSE(compressFile(source_.c_str(), path("output").c_str()));
  EXPECT_THAT(system.removed, ElementsAre(path("output")));
}

// Says something else about one path.
class Telling : public OperatingSystem {
public:
  Telling(std::string path, std::function<void(struct stat &)> change)
      : path_(std::move(path)), change_(std::move(change)) {}
  int statAt(int directory, const char *name, bool followLinks, struct stat &status) override {
    const int result = OperatingSystem::statAt(directory, name, followLinks, status);
    if (name == path_)
      change_(status);
    return result;
  }

private:
  std::string path_;
  std::function<void(struct stat &)> change_;
};

TEST_F(Outputs, mayHaveTheSourcesNumberOnAnotherDisk) {
  const std::string output = directory_.writeFile("output", "before");
  struct stat source {};
  ASSERT_EQ(::stat(source_.c_str(), &source), 0);
  Telling system(output, [&](struct stat &status) {
    status.st_ino = source.st_ino;
    status.st_dev = source.st_dev + 1;
  });
  const ScopedOperatingSystem telling(system);
  expectDoneHere(kMaking[0], source_, output);
}

TEST_F(Outputs, mayBeDisks) {
  const std::string output = directory_.writeFile("output", "before");
  Telling system(output, [](struct stat &status) { status.st_mode = S_IFBLK | 0600; });
  const ScopedOperatingSystem telling(system);
  expectDoneHere(kMaking[0], source_, output);
}

class ExtractingInputs : public Outputs, public testing::WithParamInterface<PairFunction> {};
INSTANTIATE_TEST_SUITE_P(By, ExtractingInputs, testing::Values(uncompressFile, unarchiveTarFile),
                         [](const auto &function) {
                           return std::string(function.param == uncompressFile ? "uncompress"
                                                                               : "untar");
                         });

TEST_P(ExtractingInputs, areLeftAloneAsTargets) {
  const StandardErrorCapture quiet;
  EXPECT_FALSE(GetParam()(source_.c_str(), source_.c_str()));
  EXPECT_EQ(contents(source_), text_);
}

} // namespace
