// FileOperationsTest.h - what the tests of the file operations stand on.
#pragma once

#include "fileops/FileOperations.h"
#include "platform/foundation/NSDictionary.h"
#include "tests/fileops/SystemCalls.h"
#include "tests/support/LogCapture.h"
#include "tests/support/TemporaryDirectory.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace tesker::test {

// The two shapes of operations.
using PairFunction = bool (*)(const char *, const char *);

std::string contents(const std::string &path);
bool exists(const std::string &path);
// The numbers of this process's open descriptors; with inheritable, only of those that a child's
// program gets to see.
std::set<int> openDescriptorNumbers(bool inheritable = false);
// Whether this process has any child, running or ended.
bool hasChildren();

// Keeps what is written to standard error, by children too, while it lives.
class StandardErrorCapture {
public:
  StandardErrorCapture();
  ~StandardErrorCapture();
  StandardErrorCapture(const StandardErrorCapture &) = delete;
  StandardErrorCapture &operator=(const StandardErrorCapture &) = delete;
  std::string text() const;

private:
  int file_;
  int before_;
};

// Makes the directory the working one while it lives.
class WorkingDirectory {
public:
  explicit WorkingDirectory(const std::string &path);
  ~WorkingDirectory();
  WorkingDirectory(const WorkingDirectory &) = delete;
  WorkingDirectory &operator=(const WorkingDirectory &) = delete;

private:
  int before_;
};

// The disposition of a signal, put back at the end.
class Disposition {
public:
  Disposition(int signal, void (*handler)(int))
      : signal_(signal), before_(std::signal(signal, handler)) {}
  ~Disposition() { std::signal(signal_, before_); }
  Disposition(const Disposition &) = delete;
  Disposition &operator=(const Disposition &) = delete;

private:
  int signal_;
  void (*before_)(int);
};

// One run of a fake program, as it saw it.
struct FakeRun {
  std::string directory;
  std::vector<std::string> arguments; // without argument zero
  std::set<int> descriptors;
  std::set<int> blocked; // signals
  bool sigpipeIsDefault = false;
};

// The programs are those of Debian, until a test names others. The log is kept.
class FileOperationsTest : public ::testing::Test {
protected:
  FileOperationsTest();

  // Names the program of the key from now on.
  void useProgram(const std::string &key, const std::string &path);
  // The same with a fake, which takes the steps (FakeProgram.cpp, one a line). Its path.
  std::string useFake(const std::string &key, std::string_view steps = "");
  void useFakes(std::string_view steps = ""); // for all keys
  // All runs of the key's fake.
  std::vector<FakeRun> runs(const std::string &key) const;
  // The only run.
  FakeRun onlyRun(const std::string &key) const;
  std::string fake(const std::string &key) const { return directory_.path("fakes/" + key); }
  std::string path(std::string_view name) const { return directory_.path(name); }
  // The line about the program of the key that ended without success.
  std::string errorWhileExecuting(const std::string &key) const {
    return "Error while executing " + fake(key);
  }

  TemporaryDirectory directory_;
  LogCapture log_;

private:
  Ref<NSDictionary> programs_ = NSDictionary::create();
};

} // namespace tesker::test
