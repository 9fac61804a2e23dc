#include "tests/fileops/FileOperationsTest.h"

#include "filesystem/BuiltInDefaults.h"
#include "platform/foundation/NSUserDefaults.h"

#include <cstdint>
#include <cstdlib>
#include <dirent.h>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <sys/mman.h>
#include <sys/statvfs.h>
#include <sys/wait.h>
#include <unistd.h>

namespace tesker::test {

namespace {

// The defaults as a Debian system has them, and a domain that goes before them for the tests.
void setUpDefaults() {
  static const TemporaryDirectory configuration;
  configuration.makeLink("tesker/defaults/Tesker.plist", TESKER_DEBIAN_DEFAULTS_FILE);
  ::setenv("XDG_CONFIG_DIRS", configuration.path().c_str(), 1);
  ::setenv("XDG_CONFIG_HOME", configuration.path("none").c_str(), 1);
  registerTeskerDefaults();
  NSUserDefaults &defaults = NSUserDefaults::standardUserDefaults();
  std::vector<NSString> searchList = defaults.searchList();
  searchList.insert(searchList.begin(), NSString::create(NSArgumentDomain));
  defaults.setSearchList(std::move(searchList));
}

// Trees of ten thousand files are made much faster in memory, where that has room for all.
[[maybe_unused]] const bool worksInMemory = [] {
  struct statvfs room {};
  if (::statvfs("/dev/shm", &room) != 0 || ::access("/dev/shm", W_OK) != 0 ||
      room.f_bavail < (std::uint64_t{1} << 30) / room.f_frsize)
    return false;
  return ::setenv("TMPDIR", "/dev/shm", 0) == 0;
}();

} // namespace

std::string contents(const std::string &path) {
  std::ifstream in(path, std::ios::binary);
  EXPECT_TRUE(in.is_open()) << path;
  return {std::istreambuf_iterator<char>(in), {}};
}

bool exists(const std::string &path) { return ::access(path.c_str(), F_OK) == 0; }

std::set<int> openDescriptorNumbers(bool inheritable) {
  std::set<int> found;
  DIR *directory = ::opendir("/proc/self/fd");
  while (const dirent *entry = ::readdir(directory)) {
    const int descriptor = std::atoi(entry->d_name);
    if (entry->d_name[0] == '.' || descriptor == ::dirfd(directory))
      continue;
    if (!inheritable || (::fcntl(descriptor, F_GETFD) & FD_CLOEXEC) == 0)
      found.insert(descriptor);
  }
  ::closedir(directory);
  return found;
}

bool hasChildren() { return ::waitpid(-1, nullptr, WNOHANG | __WALL) != -1 || errno != ECHILD; }

StandardErrorCapture::StandardErrorCapture()
    : file_(::memfd_create("standard error", MFD_CLOEXEC)),
      before_(::fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0)) {
  // Two children may write at the same moment. The system keeps the writers of a file in memory
  // apart only where each appends; else the lines may land on each other.
  ::fcntl(file_, F_SETFL, O_APPEND);
  ::dup2(file_, STDERR_FILENO);
}

StandardErrorCapture::~StandardErrorCapture() {
  ::dup2(before_, STDERR_FILENO);
  ::close(before_);
  ::close(file_);
}

std::string StandardErrorCapture::text() const {
  return contents("/proc/self/fd/" + std::to_string(file_));
}

WorkingDirectory::WorkingDirectory(const std::string &path)
    : before_(::open(".", O_PATH | O_CLOEXEC)) {
  EXPECT_EQ(::chdir(path.c_str()), 0);
}

WorkingDirectory::~WorkingDirectory() {
  EXPECT_EQ(::fchdir(before_), 0);
  ::close(before_);
}

FileOperationsTest::FileOperationsTest() {
  [[maybe_unused]] static const bool once = (setUpDefaults(), true);
  NSUserDefaults::standardUserDefaults().setVolatileDomain(*programs_, NSArgumentDomain);
  SystemCalls::current() = {};
}

void FileOperationsTest::useProgram(const std::string &key, const std::string &path) {
  programs_->setObjectForKey(NSString::create(path), NSString::create(key));
  NSUserDefaults::standardUserDefaults().setVolatileDomain(*programs_, NSArgumentDomain);
}

std::string FileOperationsTest::useFake(const std::string &key, std::string_view steps) {
  if (!exists(fake(key)))
    directory_.makeLink("fakes/" + key, TESKER_FAKE_PROGRAM);
  directory_.writeFile("fakes/" + key + ".script", steps);
  useProgram(key, fake(key));
  return fake(key);
}

void FileOperationsTest::useFakes(std::string_view steps) {
  for (const char *key : {"rm", "tar", "compress", "uncompress"})
    useFake(key, steps);
}

std::vector<FakeRun> FileOperationsTest::runs(const std::string &key) const {
  std::vector<FakeRun> found;
  std::ifstream record(fake(key) + ".record");
  for (std::string line; std::getline(record, line);) {
    const std::string verb = line.substr(0, line.find(' '));
    const std::string rest = line.size() > verb.size() ? line.substr(verb.size() + 1) : "";
    if (verb == "run")
      found.emplace_back();
    else if (verb == "directory")
      found.back().directory = rest;
    else if (verb == "argument")
      found.back().arguments.push_back(rest);
    else if (verb == "descriptor")
      found.back().descriptors.insert(std::stoi(rest));
    else if (verb == "blocked")
      found.back().blocked.insert(std::stoi(rest));
    else if (verb == "sigpipe")
      found.back().sigpipeIsDefault = rest == "default";
  }
  for (FakeRun &run : found) {
    EXPECT_EQ(run.arguments.front(), fake(key)) << "argument zero is the program's path";
    run.arguments.erase(run.arguments.begin());
  }
  return found;
}

FakeRun FileOperationsTest::onlyRun(const std::string &key) const {
  const auto all = runs(key);
  EXPECT_EQ(all.size(), 1u) << key;
  return all.size() == 1 ? all.front() : FakeRun{};
}

} // namespace tesker::test
