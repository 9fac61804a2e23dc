// The real programs, as the defaults of a Debian system name them: what comes back is what went in.
#include "tests/fileops/FileOperationsTest.h"
#include "tests/fileops/TreeSnapshot.h"

#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <random>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace tesker;
using namespace tesker::test;
using testing::ElementsAre;
using testing::IsEmpty;

namespace {

constexpr int kFiles = 10'000;
// The name of the whole tree is as unpleasant as those inside.
const std::string kTreeName = "-C tree\n\xff\xfe";

const char *const kOddNames[] = {
    "with space",   " leading",    "trailing ",     "new\nline",
    "\n",           "-rf",         "--help",        "-",
    "--",           "\xff\xfe",    "\xc3(",         "\x80\n-\x01",
    "tab\tand\x7f", "quote'\"`",   "$(touch x);&|", "*?[a]",
    "back\\000",    "caf\xc3\xa9", "host:file.tar", ".hidden",
    "~backup~",     "#x",          "%s%n",          "@list",
};

class RoundTrip : public FileOperationsTest {
protected:
  // Writes a file of the tree, by its path below it.
  void write(const std::string &name, std::string_view bytes, mode_t mode = 0644) const {
    directory_.writeFile("in/" + kTreeName + "/" + name, bytes, mode);
  }

  void makeOddities() const {
    for (const std::string name : kOddNames) {
      write("odd/" + name, name);
      write("odd directories/" + name + "/" + name, "", 0600);
    }
    write(std::string(255, 'l'), "the longest name");
    std::string deep = "deep";
    for (int i = 0; i < 40; ++i)
      deep += "/" + std::string(60, 'd');
    write(deep + "/file", "deep");
    directory_.makeDirectory("in/" + kTreeName + "/empty directory", 0700);
  }

  void makeLinks() const {
    const std::string here = "in/" + kTreeName + "/links/";
    directory_.makeLink(here + "to file", "../odd/with space");
    directory_.makeLink(here + "to directory", "..");
    directory_.makeLink(here + "to nowhere", "missing\n\xff");
    directory_.makeLink(here + "to itself", "to itself");
    const std::string file = directory_.writeFile(here + "hard 1", "one file, two names");
    std::filesystem::create_hard_link(file, path(here + "hard 2"));
    ASSERT_EQ(::mkfifo(path(here + "fifo").c_str(), 0640), 0);
  }

  void makePermissions() const {
    for (const mode_t mode :
         {0400u, 0444u, 0600u, 0640u, 0666u, 0711u, 0755u, 0777u, 02755u, 04755u})
      write("modes/" + std::to_string(mode), "x", mode);
    for (const mode_t mode : {0500u, 0700u, 0755u, 01777u, 02770u})
      directory_.makeDirectory("in/" + kTreeName + "/modes/d" + std::to_string(mode), mode);
  }

  std::string makeTree() const {
    makeOddities();
    makeLinks();
    makePermissions();
    for (int i = 0; i < kFiles; ++i)
      write("many/" + std::to_string(i % 100) + "/" + std::to_string(i),
            i % 10 == 0 ? "" : "file " + std::to_string(i));
    return path("in/" + kTreeName);
  }

  void expectNoComplaint() const { EXPECT_THAT(log_.logged, IsEmpty()); }
};

// Not EXPECT_EQ: it would print ten thousand entries.
void expectSame(const TreeSnapshot &before, const TreeSnapshot &after) {
  EXPECT_EQ(before.size(), after.size());
  for (const auto &[name, entry] : before) {
    const auto found = after.find(name);
    ASSERT_NE(found, after.end()) << testing::PrintToString(name);
    EXPECT_EQ(found->second, entry) << testing::PrintToString(name);
  }
}

class TreeRoundTrip : public RoundTrip {
protected:
  // Packs the tree and extracts it elsewhere, all by names that invite mistakes.
  void expectBack(PairFunction pack, PairFunction unpack) const {
    const std::string tree = makeTree();
    const auto before = snapshotOf(tree);
    const std::string archive = path("-archive \n\xfe");
    const std::string target = directory_.makeDirectory("-target \n\xff");
    ASSERT_TRUE(pack(tree.c_str(), archive.c_str()));
    ASSERT_TRUE(unpack(archive.c_str(), target.c_str()));
    expectSame(before, snapshotOf(target + "/" + kTreeName));
    expectNoComplaint();
  }
};

TEST_F(TreeRoundTrip, throughCompressAndUncompress) { expectBack(compressFile, uncompressFile); }
TEST_F(TreeRoundTrip, throughTarAndBack) { expectBack(archiveTarFile, unarchiveTarFile); }

TEST_F(RoundTrip, destroyFileRemovesAWholeTreeAndNothingBesideIt) {
  const std::string beside = directory_.writeFile("in/beside", "stays");
  const std::string tree = makeTree();
  directory_.makeLink("in/" + kTreeName + "/out", beside);
  EXPECT_TRUE(destroyFile(tree.c_str()));
  EXPECT_FALSE(exists(tree));
  EXPECT_EQ(contents(beside), "stays");
  EXPECT_TRUE(destroyFile(tree.c_str())) << "rm is content where nothing is";
  expectNoComplaint();
}

TEST_F(RoundTrip, destroyFileRemovesALinkAndNotWhatItLeadsTo) {
  const std::string file = directory_.writeFile("file", "stays");
  const std::string link = directory_.makeLink("link", "file");
  EXPECT_TRUE(destroyFile(link.c_str()));
  EXPECT_FALSE(std::filesystem::is_symlink(link));
  EXPECT_EQ(contents(file), "stays");
}

TEST_F(RoundTrip, ofOneFileThroughCompressZAndBack) {
  const std::string text(100'000, 't');
  const std::string input = directory_.writeFile("-in \n\xff", text);
  const std::string z = path("-z \n\xfe");
  const std::string output = path("out");
  ASSERT_TRUE(compressZFile(input.c_str(), z.c_str()));
  EXPECT_LT(std::filesystem::file_size(z), 2000u);
  ASSERT_TRUE(uncompressZFile(z.c_str(), output.c_str()));
  EXPECT_EQ(contents(output), text);
  EXPECT_EQ(contents(input), text);
  expectNoComplaint();
}

TEST_F(RoundTrip, ofWhatDoesNotShrinkFailsAndStillLeavesAGoodFile) {
  std::mt19937 generator(1);
  std::string noise(50'000, '\0');
  for (char &byte : noise)
    byte = static_cast<char>(generator());
  const std::string input = directory_.writeFile("noise", noise);
  const std::string z = path("z");
  EXPECT_FALSE(compressZFile(input.c_str(), z.c_str()));
  EXPECT_THAT(log_.logged, ElementsAre(input + " is already as compressed as it can get"));
  ASSERT_TRUE(uncompressZFile(z.c_str(), path("out").c_str()));
  EXPECT_EQ(contents(path("out")), noise);
}

TEST_F(RoundTrip, ofAnEmptyFile) {
  const std::string input = directory_.writeFile("empty", "");
  const std::string target = directory_.makeDirectory("target");
  ASSERT_TRUE(compressFile(input.c_str(), path("archive").c_str()));
  ASSERT_TRUE(uncompressFile(path("archive").c_str(), target.c_str()));
  EXPECT_EQ(contents(target + "/empty"), "");
  EXPECT_FALSE(compressZFile(input.c_str(), path("z").c_str())) << "it cannot shrink";
  EXPECT_TRUE(uncompressZFile(path("z").c_str(), path("out").c_str()));
  EXPECT_EQ(contents(path("out")), "");
}

TEST_F(RoundTrip, damagedArchivesAreFailures) {
  const StandardErrorCapture quiet;
  const std::string junk = directory_.writeFile("junk", "this is no archive at all");
  const std::string target = directory_.makeDirectory("target");
  EXPECT_FALSE(uncompressFile(junk.c_str(), target.c_str()));
  EXPECT_FALSE(uncompressZFile(junk.c_str(), path("out").c_str()));
  EXPECT_FALSE(unarchiveTarFile(junk.c_str(), target.c_str()));
  EXPECT_FALSE(uncompressFile(target.c_str(), target.c_str())) << "a directory";
  EXPECT_THAT(snapshotOf(target), testing::SizeIs(1));
  EXPECT_EQ(contents(junk), "this is no archive at all");
}

TEST_F(RoundTrip, aMissingSourceIsAFailure) {
  const StandardErrorCapture quiet;
  const std::string missing = path("missing");
  EXPECT_FALSE(compressFile(missing.c_str(), path("out").c_str()));
  EXPECT_FALSE(exists(path("out")));
  EXPECT_THAT(log_.logged, ElementsAre("Error while executing /usr/bin/tar"));
  EXPECT_FALSE(archiveTarFile(missing.c_str(), path("archive").c_str()));
}

class MappedFile {
public:
  explicit MappedFile(const std::string &path)
      : size_(static_cast<std::size_t>(std::filesystem::file_size(path))) {
    const int file = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    bytes_ = ::mmap(nullptr, size_, PROT_READ, MAP_PRIVATE, file, 0);
    ::close(file);
  }
  ~MappedFile() { ::munmap(bytes_, size_); }
  MappedFile(const MappedFile &) = delete;
  MappedFile &operator=(const MappedFile &) = delete;
  bool operator==(const MappedFile &other) const {
    return size_ == other.size_ && std::memcmp(bytes_, other.bytes_, size_) == 0;
  }

private:
  std::size_t size_;
  void *bytes_;
};

class LargeFile : public RoundTrip {
protected:
  // 200 MB with noise in several places, and holes before and between them.
  std::string makeLargeFile() {
    constexpr off_t size = 200'000'000;
    std::mt19937 generator(2);
    std::string noise(100'000, '\0');
    for (char &byte : noise)
      byte = static_cast<char>(generator());
    const std::string file = directory_.writeFile("large", "");
    const int descriptor = ::open(file.c_str(), O_WRONLY | O_CLOEXEC);
    EXPECT_EQ(::ftruncate(descriptor, size), 0);
    for (const off_t place : {off_t{12'345'678}, size / 2, size - 100'000})
      EXPECT_EQ(::pwrite(descriptor, noise.data(), noise.size(), place), 100'000);
    ::close(descriptor);
    return file;
  }

  // Packs the file, and unpacks it by the path that makes it target/large.
  void expectBack(PairFunction pack, PairFunction unpack, const std::string &into) {
    const std::string large = makeLargeFile();
    directory_.makeDirectory("target");
    ASSERT_TRUE(pack(large.c_str(), path("packed").c_str()));
    ASSERT_TRUE(unpack(path("packed").c_str(), into.c_str()));
    EXPECT_TRUE(MappedFile(large) == MappedFile(path("target/large")));
  }
};

TEST_F(LargeFile, comesBackFromCompressAndUncompress) {
  expectBack(compressFile, uncompressFile, directory_.path("target"));
}
TEST_F(LargeFile, comesBackFromTar) {
  expectBack(archiveTarFile, unarchiveTarFile, directory_.path("target"));
}
TEST_F(LargeFile, comesBackFromCompressZAndBack) {
  expectBack(compressZFile, uncompressZFile, directory_.path("target/large"));
}

} // namespace
